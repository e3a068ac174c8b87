#include "serve/LiveValues.h"

namespace rksignal {

void LiveValues::written(const MessageInfo& /*message*/, std::span<const unsigned long> ids) {
    for (const unsigned long id : ids) {
        const std::size_t index = catalog.indexOf(id);
        LiveValue& value = values[index];
        unsigned long raw = 0;
        unsigned long timestamp = 0;
        if (catalog.signals()[index]->read(raw, timestamp)) {
            value.changes += value.hasValue && raw != value.raw ? 1U : 0U;
            value.raw = raw;
            value.timestamp = timestamp;
            value.hasValue = true;
            ++value.updates;
            value.version = current;
        }
    }
}

void LiveValues::withdrawn(const MessageInfo& /*message*/, std::span<const unsigned long> ids) {
    for (const unsigned long id : ids) {
        LiveValue& value = values[catalog.indexOf(id)];
        value.hasValue = false;
        value.version = current;
    }
}

bool LiveValues::endPoll(const SlotReplay& slots) {
    bool isNew = false;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const SlotReplay::Connection connection = slots.connection(i);
        if (connection != values[i].connection) {
            values[i].connection = connection;
            values[i].connectionVersion = current;
        }
        isNew = isNew || values[i].version == current || values[i].connectionVersion == current;
    }
    return isNew;
}

} // namespace rksignal
