#include "rkutil/LogUtil.h"

#include <ostream>
#include <system_error>

std::recursive_mutex LogUtil::logMutex;

void LogUtil::printError(std::ostream& out, int error) {
    out << ": " << std::generic_category().message(error) << std::endl;
}
