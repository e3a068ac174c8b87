/// \file
/// Hands on the messages that are wanted.
#pragma once

#include "catalog/Catalog.h"
#include "convert/FrameIds.h"
#include "trace/MessageSink.h"
#include "value/Replay.h"
#include "value/ValueSink.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

/// Takes the messages of `catalog` whose name, or one of whose instance names, matches one of the patterns of
/// the shell; of kinds other than CAN only the signals that match. \throws UsageError if a pattern matches
/// nothing
std::vector<MessageDefinition> selectMessages(const Catalog& catalog,
                                              const std::vector<std::string>& patterns);

/// Chooses messages by identifier, and by whether a replay decodes them. What is only counted is not handed
/// on.
class FrameSelector final : public MessageSink {
  public:
    /// A message goes to `target` if `ids` contain it, or if it, or a part of it, belongs to one of
    /// `messages`. References must outlive the selector.
    FrameSelector(MessageSink& target, const FrameIds& ids, std::vector<MessageDefinition> messages);

    void receive(const CANExtTraceMessage& frame) override { select(frame); }
    void receive(const LINTraceMessage& frame) override { select(frame); }
    void receive(const FlexRayExtTraceMessage& frame) override { select(frame); }
    void receive(const MIITraceMessage& frame) override { select(frame); }
    void receive(const EthernetTraceMessage& frame) override { select(frame); }
    void receive(const GpioTraceMessage& message) override { select(message); }
    void receive(const AnalogTraceMessage& message) override { select(message); }
    void receive(const KeyboardMessage& message) override { select(message); }
    void receive(const SystemMessage& message) override { select(message); }
    void receive(const GPSTraceMessage& message) override { select(message); }
    bool receiveRecord(std::span<const std::uint8_t> record, std::uint64_t timestamp) override;
    void pass(PassedMessage kind, std::uint64_t timestamp) override;
    bool closed() const override { return target.closed(); }

    /// The messages that were not handed on.
    std::uint64_t leftOut() const { return others; }

  private:
    /// Notes whether the replay has decoded a message.
    struct Decoded : ValueSink {
        void written(const MessageInfo& /*message*/, std::span<const unsigned long> /*ids*/) override {
            any = true;
        }
        void decoded(const MessageInfo& /*message*/) override { any = true; }

        bool any = false;
    };

    template <class Message>
    void select(const Message& message);

    MessageSink& target;
    const FrameIds& ids;
    Catalog catalog;
    Decoded noted;
    std::unique_ptr<Replay> replay;       ///< null: nothing is chosen by definitions
    std::span<const std::uint8_t> record; ///< from which the message comes; empty: from none
    std::uint64_t recordTime = 0;
    std::uint64_t others = 0;
};

} // namespace rksignal
