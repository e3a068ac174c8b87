#include "definition/arxml/ArxmlPositions.h"

#include "signal/BitField.h"

namespace rksignal {

bool canHavePositions(const ArxmlReading& reading, const ArxmlPdu& pdu, const ArxmlSignal& signal) {
    const baseSignalDef_t& record = signal.common;
    const bool isWide =
        bitfield::byteRange(record.startbit, record.bits, record.endian).numBytes > bitfield::maxRangeBytes;
    if (signal.multiplexing || isWide) {
        reading.model.leftOut(signal.element ? signal.element : pdu.element,
                              record.signal + (isWide ? ": touches more than 8 bytes, not decoded"
                                                      : ": multiplexed signals are decoded of CAN only"));
        return false;
    }
    return record.bits != 0;
}

} // namespace rksignal
