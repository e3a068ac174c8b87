/// \file
/// The fields of messages, as far as their signals do not say them.
#pragma once

#include "definition/Definition.h"
#include "definition/json/Field.h"

#include <cstdint>
#include <optional>
#include <string>

namespace rksignal {

/// The buses whose messages have fields of their own.
constexpr SignalKind messageKinds[] = {SignalKind::Can, SignalKind::Lin, SignalKind::FlexRay,
                                       SignalKind::Ethernet};

constexpr bool hasMessages(SignalKind kind) {
    return kind <= SignalKind::Ethernet;
}

/// Messages of such a kind, as far as their signals do not say it.
const Fields<MessageDefinition>& messageFields(SignalKind kind);

/// What is wrong with such a message; empty if nothing.
std::string checkMessage(const MessageDefinition& message);

/// How a message without a name is called: by its identifier if it is one of CAN, else by its kind.
std::string namelessCalled(const MessageDefinition& message);

/// What is wrong with how a message of CAN, or a signal of it, is identified; empty if nothing.
std::string checkIdentifier(std::uint32_t id, bool extended, bool j1939);
std::string checkPdu(std::optional<std::uint32_t> pduId, PduHeader header, bool canFd);

} // namespace rksignal
