#include "rkutil/LogUtil.h"

#include <ostream>
#include <system_error>
#include <utility>

namespace {

/// Never destroyed: signals of static lifetime may write lines after any other object of static lifetime is
/// gone.
LogReceiver& currentReceiver() {
    static auto& receiver = *new LogReceiver;
    return receiver;
}

} // namespace

std::recursive_mutex LogUtil::logMutex;

void LogUtil::printError(std::ostream& out, int error) {
    out << ": " << std::generic_category().message(error) << std::endl;
}

void LogUtil::setReceiver(LogReceiver receiver) {
    const std::lock_guard guard(logMutex);
    currentReceiver() = std::move(receiver);
}

const LogReceiver& LogUtil::receiver() {
    return currentReceiver();
}
