// The one part of reading CAN interfaces that no test reaches where the system has no CAN: socket() and
// bind(), and the options in between, which only CAN sockets have. All that follows takes any descriptor.
#include "live/OpenCan.h"

#include "file/Descriptor.h"
#include "text/Error.h"

#include <cerrno>
#include <linux/can/error.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <sys/socket.h>

namespace rksignal {
namespace {

/// Of the kernel's books, in which a frame takes far more than its own bytes.
constexpr int receiveBuffer = 16 * 1024 * 1024;

/// \return whether the option was taken
bool setOption(int socket, int level, int option, const void* value, std::size_t size) {
    return setsockopt(socket, level, option, value, static_cast<socklen_t>(size)) == 0;
}

void enlarge(int socket) {
    if (!setOption(socket, SOL_SOCKET, SO_RCVBUFFORCE, &receiveBuffer, sizeof receiveBuffer)) {
        setOption(socket, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer); // as far as allowed
    }
}

} // namespace

int openCan(const std::string& interface, std::span<const can_filter> filters) {
    Descriptor opened(socket(PF_CAN, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, CAN_RAW));
    if (opened.get() < 0) {
        throw Error("cannot open " + interface + ": no CAN socket", errno);
    }
    const unsigned index = interface == "any" ? 0 : if_nametoindex(interface.c_str());
    if (index == 0 && interface != "any") {
        throw Error("cannot open " + interface + ": no such interface", errno);
    }
    const int on = 1;
    const can_err_mask_t allErrors = CAN_ERR_MASK;
    if (!setOption(opened.get(), SOL_CAN_RAW, CAN_RAW_FD_FRAMES, &on, sizeof on) ||
        !setOption(opened.get(), SOL_CAN_RAW, CAN_RAW_ERR_FILTER, &allErrors, sizeof allErrors) ||
        (!filters.empty() &&
         !setOption(opened.get(), SOL_CAN_RAW, CAN_RAW_FILTER, filters.data(), filters.size_bytes()))) {
        throw Error("cannot open " + interface + ": options of the CAN socket", errno);
    }
    enlarge(opened.get());
    sockaddr_can address{};
    address.can_family = AF_CAN;
    address.can_ifindex = static_cast<int>(index);
    if (bind(opened.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw Error("cannot open " + interface + ": bind", errno);
    }
    return opened.release();
}

} // namespace rksignal
