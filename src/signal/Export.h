/// \file
/// Marks what the signal library exports; everything else is hidden.
#pragma once

#define RKSIGNAL_EXPORT [[gnu::visibility("default")]]
/// A member of an exported class that only the library itself calls.
#define RKSIGNAL_HIDDEN [[gnu::visibility("hidden")]]
