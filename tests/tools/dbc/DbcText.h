/// \file
/// Short ways to read DBC text in tests and to look into the result.
#pragma once

#include "dbc/DbcFile.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace rksignal {

inline DbcFile parse(const std::string& text) {
    return parseDbc(text, "t.dbc");
}

/// The notes as they are printed, each with a letter for its severity in front.
inline std::vector<std::string> noteLines(const DbcFile& file) {
    std::vector<std::string> lines;
    for (const DbcNote& note : file.notes) {
        std::ostringstream line;
        line << "GDE"[static_cast<int>(note.severity)] << ' ' << note;
        lines.push_back(line.str());
    }
    return lines;
}

/// The signal of this name, in whichever message it is.
inline const DbcSignal& signalNamed(const DbcFile& file, const std::string& name) {
    for (const DbcMessage& message : file.messages)
        for (const DbcSignal& signal : message.signals)
            if (signal.name == name)
                return signal;
    throw std::runtime_error("there is no signal " + name);
}

inline std::vector<std::string> signalNames(const DbcMessage& message) {
    std::vector<std::string> names;
    for (const DbcSignal& signal : message.signals)
        names.push_back(signal.name);
    return names;
}

} // namespace rksignal
