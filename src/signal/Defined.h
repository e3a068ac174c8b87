/// \file
/// Where a signal of a bus or input keeps its definition.
#pragma once

/// The definition of a signal with the fields of its kind. A base of the signal's class that comes before
/// `BaseSignal` and is therefore built first: `BaseSignal::def` refers to it, so that its strings exist once.
template <class Definition>
struct Defined {
    Definition definition; ///< with its derived fields
};
