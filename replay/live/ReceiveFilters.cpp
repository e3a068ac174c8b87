#include "live/ReceiveFilters.h"

#include "trace/CanFrame.h"

#include <linux/can/raw.h>
#include <set>

namespace rksignal {

std::vector<can_filter> receiveFilters(const Catalog& catalog, std::uint8_t channel) {
    std::set<std::uint32_t> ids;
    for (const MessageDefinition& message : catalog.messages()) {
        if (message.kind != SignalKind::Can || message.channel.value_or(channel) != channel) {
            continue;
        }
        if (message.isParameterGroup) {
            return {};
        }
        ids.insert(message.id | (message.extended ? CAN_EFF_FLAG : 0));
    }
    if (ids.size() > CAN_RAW_FILTER_MAX) {
        return {};
    }
    std::vector<can_filter> filters;
    for (const std::uint32_t id : ids) {
        const bool isExtended = (id & CAN_EFF_FLAG) != 0;
        filters.push_back({id, CAN_EFF_FLAG | CAN_RTR_FLAG | greatestCanId(isExtended)});
    }
    return filters;
}

} // namespace rksignal
