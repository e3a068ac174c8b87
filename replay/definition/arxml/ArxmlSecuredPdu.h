/// \file
/// Secured I-PDUs (AUTOSAR SWS SecureOnboardCommunication): a header if there is one, the payload, the
/// freshness value and the authenticator, as far as they are sent.
#pragma once

#include "definition/arxml/ArxmlModel.h"
#include "definition/arxml/ArxmlPdu.h"

#include <pugixml.hpp>

#include <cstdint>
#include <string>

namespace rksignal {

/// The PDU that is secured, or null.
pugi::xml_node securedPayload(ArxmlModel& model, pugi::xml_node secured);

/// The bytes in front of the payload; 0 for other PDUs.
std::uint32_t securedHeaderBytes(pugi::xml_node secured);

/// Adds freshness value and authenticator as signals of `pdu`, whose names begin with `message`.
void addSecuredFooter(ArxmlModel& model, pugi::xml_node secured, std::uint32_t payloadLength,
                      const std::string& message, ArxmlPdu& pdu);

} // namespace rksignal
