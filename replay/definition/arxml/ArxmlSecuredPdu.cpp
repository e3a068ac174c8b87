#include "definition/arxml/ArxmlSecuredPdu.h"

#include <algorithm>
#include <utility>

namespace rksignal {
namespace {

/// Adds `bits` bits from the `first` one on, counted from the most significant of each byte, as signals that
/// touch up to 8 bytes: NAME, NAME_2, NAME_3 ...
void addRawBits(ArxmlModel& model, pugi::xml_node secured, const std::string& name, std::uint64_t first,
                std::uint32_t bits, ArxmlPdu& pdu) {
    constexpr unsigned mostPieces = 64;
    for (unsigned piece = 1; bits > 0; ++piece) {
        const auto startBit = movedStartBit(7 - first % 8, first / 8);
        if (!startBit || piece > mostPieces) {
            return model.leftOut(secured, name + " is too long, and not decoded to its end");
        }
        const auto width = std::min<std::uint32_t>(bits, 64 - static_cast<std::uint32_t>(first % 8));
        ArxmlSignal signal;
        signal.common.signal = piece == 1 ? name : name + "_" + std::to_string(piece);
        signal.common.startbit = *startBit;
        signal.common.bits = static_cast<std::uint8_t>(width);
        signal.common.endian = true;
        signal.place = model.placeOf(secured);
        pdu.signals.push_back(std::move(signal));
        first += width;
        bits -= width;
    }
}

} // namespace

pugi::xml_node securedPayload(ArxmlModel& model, pugi::xml_node secured) {
    return model.target(model.target(secured, {"PAYLOAD-REF"}), {"I-PDU-REF"});
}

std::uint32_t securedHeaderBytes(pugi::xml_node secured) {
    const std::string_view header = arxmlText(secured, {"USE-SECURED-PDU-HEADER"});
    return header == "SECURED-PDU-HEADER-08-BIT"   ? 1
           : header == "SECURED-PDU-HEADER-16-BIT" ? 2
           : header == "SECURED-PDU-HEADER-32-BIT" ? 4
                                                   : 0;
}

/// There are no gaps, and the most significant bits come first.
void addSecuredFooter(ArxmlModel& model, pugi::xml_node secured, std::uint32_t payloadLength,
                      const std::string& message, ArxmlPdu& pdu) {
    const pugi::xml_node freshness = model.target(secured, {"FRESHNESS-PROPS-REF"});
    const pugi::xml_node authentication = model.target(secured, {"AUTHENTICATION-PROPS-REF"});
    const pugi::xml_node properties = secured.child("SECURE-COMMUNICATION-PROPS"); // until AUTOSAR 4.3
    const std::uint32_t freshnessBits =
        arxmlCount(freshness ? freshness : properties, {"FRESHNESS-VALUE-TX-LENGTH"});
    const std::uint32_t authenticatorBits =
        arxmlCount(authentication ? authentication : properties, {"AUTH-INFO-TX-LENGTH"});
    const std::uint64_t first = (std::uint64_t{payloadLength} + securedHeaderBytes(secured)) * 8;
    addRawBits(model, secured, message + "_Freshness", first, freshnessBits, pdu);
    addRawBits(model, secured, message + "_Authenticator", first + freshnessBits, authenticatorBits, pdu);
}

} // namespace rksignal
