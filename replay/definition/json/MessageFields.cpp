#include "definition/json/MessageFields.h"

#include "definition/json/SharedFields.h"

#include <iterator>
#include <utility>

namespace rksignal {
namespace {

using MessageFields = Fields<MessageDefinition>;

Field<MessageDefinition> messageIdField(IdentifierCodec codec, const char* description) {
    return required(field<MessageDefinition>("msgId", &MessageDefinition::id, codec, description));
}

/// The fields of messages of CAN alone.
MessageFields canMessageFields() {
    using Message = MessageDefinition;
    return {messageIdField({greatestExtendedId}, msgIdText),
            field<Message>("extended", &Message::extended, FlagCodec{}, extendedText),
            field<Message>("canFD", &Message::canFd, FlagCodec{}, canFdText),
            field<Message>("j1939", &Message::isParameterGroup, FlagCodec{}, j1939Text),
            field<Message>("pduId", &Message::pduId, IdentifierCodec{max32}, pduIdText),
            field<Message>("pduHeader", &Message::pduHeader, pduHeaders(), pduHeaderText)};
}

/// \param own those that identify messages of the kind
MessageFields fieldsOf(SignalKind kind, std::uint64_t longest, MessageFields own) {
    using Message = MessageDefinition;
    const std::string name(kindName(kind));
    Field<Message> kindField =
        field<Message>("kind", &Message::kind, ChoiceCodec<SignalKind>{{{name, kind}}}, "Bus of the message");
    kindField.required = kind != SignalKind::Can;
    MessageFields fields = {std::move(kindField)};
    std::move(own.begin(), own.end(), std::back_inserter(fields));
    const MessageFields common = {
        field<Message>("channel", &Message::channel, IntegerCodec{0, max8}, busChannelText),
        field<Message>("message", &Message::name, TextCodec{}, messageText),
        field<Message>("length", &Message::length, IntegerCodec{0, longest},
                       "Bytes of the message, by which shorter ones are noticed; 0: unknown"),
        field<Message>("sender", &Message::sender, TextCodec{}, senderText),
        field<Message>("cycleTime", &Message::cycleTime, NumberCodec{}, "Milliseconds between messages"),
        field<Message>("comment", &Message::comment, TextCodec{}, "Comment"),
    };
    fields.insert(fields.end(), common.begin(), common.end());
    return fields;
}

} // namespace

const Fields<MessageDefinition>& messageFields(SignalKind kind) {
    static const MessageFields fields[] = {
        fieldsOf(SignalKind::Can, longestParameterGroup, canMessageFields()),
        fieldsOf(SignalKind::Lin, longestLinFrame, {messageIdField({greatestLinId}, linIdText)}),
        fieldsOf(SignalKind::FlexRay, longestFlexRayFrame,
                 {messageIdField({greatestSlot}, "Slot of the frame")}),
        fieldsOf(SignalKind::Ethernet, max16, {}),
    };
    return fields[static_cast<std::size_t>(kind)];
}

std::string checkMessage(const MessageDefinition& message) {
    if (message.kind != SignalKind::Can) {
        return "";
    }
    if (message.length > longestFrame && !message.isParameterGroup) {
        return "expected a length of at most 64, but for a parameter group of J1939, found " +
               std::to_string(message.length);
    }
    if (message.canFd && message.isParameterGroup) {
        return "expected canFD or j1939, found both";
    }
    if (std::string wrong = checkPdu(message.pduId, message.pduHeader, message.canFd); !wrong.empty()) {
        return wrong;
    }
    return checkIdentifier(message.id, message.extended, message.isParameterGroup);
}

std::string namelessCalled(const MessageDefinition& message) {
    return message.kind == SignalKind::Can ? identifierText(message) : std::string(kindName(message.kind));
}

std::string checkIdentifier(std::uint32_t id, bool extended, bool j1939) {
    if (j1939 && !extended) {
        return "expected extended to be true of a parameter group of J1939";
    }
    return id <= greatestStandardId || extended
               ? ""
               : "expected an 11-bit msgId unless extended is true, found " + std::to_string(id);
}

std::string checkPdu(std::optional<std::uint32_t> pduId, PduHeader header, bool canFd) {
    if (pduId && !canFd) {
        return "expected pduId where canFD is true only, found " + std::to_string(*pduId);
    }
    if (header == PduHeader::Long && !pduId) {
        return "expected pduHeader of a PDU only";
    }
    if (header == PduHeader::Short && pduId && *pduId > maxPduId) {
        return "expected a pduId of at most 24 bits behind a short header, found " + std::to_string(*pduId);
    }
    return "";
}

} // namespace rksignal
