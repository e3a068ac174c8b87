#include "expression/ExpError.h"

#include <ostream>

std::ostream& operator<<(std::ostream& out, const ExpError& error) {
    if (error.kind == ExpError::Kind::UnknownSignal) {
        return out << "ExpParser::add: " << error.message << ": " << error.name;
    }
    // std::to_string: a stream may group the digits as its locale has it
    return out << "expression parser: line " << std::to_string(error.line) << ' ' << error.message << " at '"
               << error.excerpt << "'";
}
