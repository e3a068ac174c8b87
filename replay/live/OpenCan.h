/// \file
/// Opens a CAN interface of Linux.
#pragma once

#include "text/Export.h"

#include <linux/can.h>
#include <span>
#include <string>

namespace rksignal {

/// Opens a raw CAN socket for a SocketCanSource and binds it to an interface, such as `can0`; `any` stands
/// for all of them. It gives classic and CAN FD frames as the filters let through (nothing: all), error
/// frames, and room for about a second of frames at 20,000 a second as far as the system allows it.
/// \return the descriptor, which belongs to the caller
/// \throws Error that names the interface and says which step failed
RKREPLAY_EXPORT int openCan(const std::string& interface, std::span<const can_filter> filters);

} // namespace rksignal
