#include "trace/mdf/MdfRecords.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t maxWaiting = 16384; // records
constexpr std::size_t maxWaitingBytes = std::size_t{1} << 20;

} // namespace

MdfRecords::MdfRecords(MdfFile& file, const MdfContents& contents, const MdfDataGroup& data,
                       std::size_t bufferSize)
    : file(file), contents(contents), data(data), stream(file, data.data, contents.unfinished),
      buffer(std::max<std::size_t>(bufferSize, std::size_t{2} * MdfContents::maxRecord) + MdfField::slack) {
    for (const MdfGroup& group : data.groups) {
        kinds.push_back({&group});
    }
    std::stable_sort(kinds.begin(), kinds.end(),
                     [](const Kind& a, const Kind& b) { return a.group->id < b.group->id; });
    for (auto kind = kinds.rbegin(); kind != kinds.rend(); ++kind) {
        if (kind->group->id < byNumber.size()) {
            byNumber[kind->group->id] = &*kind;
        }
    }
    connectValues();
}

/// Gives the events whose data bytes lie elsewhere the values to look them up in.
void MdfRecords::connectValues() {
    for (Kind& kind : kinds) {
        if (!kind.group->layout) {
            continue;
        }
        const MdfBytes& bytes = kind.group->layout->bytes;
        if (bytes.place == MdfBytes::Place::Blocks) {
            values.push_back(std::make_unique<MdfValues>(
                std::make_unique<MdfStream>(file, bytes.values, contents.unfinished)));
            kind.values = values.back().get();
        } else if (bytes.place == MdfBytes::Place::Records) {
            const auto source = std::find_if(kinds.begin(), kinds.end(), [&bytes](const Kind& each) {
                return each.group->isValues && each.group->address == bytes.values;
            });
            if (source != kinds.end() && source->values == nullptr) {
                values.push_back(std::make_unique<MdfValues>());
                source->values = values.back().get();
            }
            kind.values = source != kinds.end() ? source->values : nullptr;
        }
    }
}

MdfRecords::Kind* MdfRecords::kindOf(std::uint64_t id) {
    if (data.idBytes == 0) {
        return &kinds.front();
    }
    if (id < byNumber.size()) {
        return byNumber[id];
    }
    const auto kind =
        std::lower_bound(kinds.begin(), kinds.end(), id,
                         [](const Kind& each, std::uint64_t id) { return each.group->id < id; });
    return kind != kinds.end() && kind->group->id == id ? &*kind : nullptr;
}

/// Reads on until so many bytes are there. REQUIRES: the buffer has room for them. \return whether they are
bool MdfRecords::need(std::size_t count) {
    if (end - begin >= count) {
        return true;
    }
    std::memmove(buffer.data(), buffer.data() + begin, end - begin);
    end -= std::exchange(begin, 0);
    while (end < count) {
        const std::size_t got = stream.read(buffer.data() + end, buffer.size() - MdfField::slack - end);
        if (got == 0) {
            return false;
        }
        end += got;
    }
    return true;
}

/// \return whether there were so many bytes
bool MdfRecords::skip(std::uint64_t count) {
    while (count > 0 && need(1)) {
        const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(count, end - begin));
        begin += part;
        position += part;
        count -= part;
    }
    return count == 0;
}

MdfRecords::Step MdfRecords::fail(const std::string& why) {
    reason = reason.empty() ? why : reason;
    return Step::End;
}

MdfRecords::Step MdfRecords::countMalformed(const Kind& kind, std::uint64_t number, const char* why) {
    if (malformedRecords++ == 0) {
        firstReason = "record " + std::to_string(number + 1) + " of " + kind.group->layout->name + ": " + why;
    }
    return Step::Nothing;
}

bool MdfRecords::next() {
    for (;;) {
        Step step = firstWaiting < waiting.size() ? takeWaiting() : Step::Waiting;
        if (step == Step::Waiting) {
            step = readRecord();
        }
        if (step == Step::End && firstWaiting < waiting.size()) { // what it waits for does not come
            const Waiting& first = waiting[firstWaiting];
            countMalformed(*first.kind, first.number, "its data bytes are missing");
            dropWaiting();
        } else if (step == Step::End || step == Step::Message) {
            return step == Step::Message;
        }
    }
}

MdfRecords::Step MdfRecords::cutOff() {
    return fail("the record " + std::to_string(recordStart) +
                " bytes behind the start of its data is cut off");
}

MdfRecords::Step MdfRecords::readRecord() {
    recordStart = position;
    if (!reason.empty() || !need(data.idBytes + std::size_t{1})) {
        return begin < end ? cutOff() : Step::End;
    }
    std::uint64_t id = 0;
    std::memcpy(&id, buffer.data() + begin, data.idBytes);
    Kind* const kind = kindOf(id);
    if (kind == nullptr) {
        return fail("the record " + std::to_string(position) +
                    " bytes behind the start of its data has the number " + std::to_string(id) +
                    ", which no channel group has");
    }
    if (!skip(data.idBytes)) {
        return cutOff();
    }
    if (kind->group->isValues) {
        return readValue(*kind);
    }
    if (kind->group->layout) {
        return readEvent(*kind);
    }
    return skip(kind->group->size) ? Step::Nothing : cutOff();
}

MdfRecords::Step MdfRecords::readValue(Kind& kind) {
    std::uint32_t length = 0;
    if (!need(MdfValues::lengthBytes)) {
        return cutOff();
    }
    std::memcpy(&length, buffer.data() + begin, MdfValues::lengthBytes);
    skip(MdfValues::lengthBytes);
    const std::size_t room = buffer.size() - MdfField::slack;
    const std::size_t kept = std::min<std::size_t>({length, room, MdfValues::maxLength});
    if (!need(kept)) {
        return cutOff();
    }
    if (kind.values != nullptr) {
        kind.values->add(length, {buffer.data() + begin, kept});
    }
    return skip(length) ? Step::Nothing : cutOff();
}

MdfRecords::Step MdfRecords::readEvent(Kind& kind) {
    const std::uint32_t size = kind.group->size;
    if (!need(size)) {
        return cutOff();
    }
    const std::uint8_t* const record = buffer.data() + begin;
    begin += size;
    position += size;
    if (firstWaiting < waiting.size() || kind.group->layout->bytes.place == MdfBytes::Place::Records) {
        wait(kind, record);
        return Step::Nothing;
    }
    return decode(kind, record, kind.records++);
}

void MdfRecords::wait(Kind& kind, const std::uint8_t* record) {
    if (waiting.size() - firstWaiting == maxWaiting || waitingBytes.size() > maxWaitingBytes) {
        const Waiting& first = waiting[firstWaiting];
        countMalformed(*first.kind, first.number, "its data bytes do not come in the records behind it");
        dropWaiting();
    }
    waiting.push_back({&kind, kind.records++, waitingBytes.size()});
    waitingBytes.insert(waitingBytes.end(), record, record + kind.group->size);
    waitingBytes.resize(waitingBytes.size() + MdfField::slack);
}

/// Decodes the first record that waits, if what it waits for has come.
MdfRecords::Step MdfRecords::takeWaiting() {
    const Waiting first = waiting[firstWaiting];
    const Step step = decode(*first.kind, waitingBytes.data() + first.at, first.number);
    if (step != Step::Waiting) {
        dropWaiting();
    }
    return step;
}

void MdfRecords::dropWaiting() {
    if (++firstWaiting == waiting.size()) {
        waiting.clear();
        waitingBytes.clear();
        firstWaiting = 0;
    } else if (firstWaiting == maxWaiting) { // half of what is there
        const std::size_t dropped = waiting[firstWaiting].at;
        waiting.erase(waiting.begin(), waiting.begin() + maxWaiting);
        waitingBytes.erase(waitingBytes.begin(), waitingBytes.begin() + static_cast<std::ptrdiff_t>(dropped));
        for (Waiting& each : waiting) {
            each.at -= dropped;
        }
        firstWaiting = 0;
    }
}

/// \return Step::Waiting if the data bytes have not come yet
MdfRecords::Step MdfRecords::decode(Kind& kind, const std::uint8_t* record, std::uint64_t number) {
    const MdfLayout& layout = *kind.group->layout;
    MdfFrames::Bytes bytes;
    const Step found = bytesOf(kind, record, bytes);
    if (found != Step::Message) {
        return found == Step::Waiting ? found : countMalformed(kind, number, "its data bytes are missing");
    }
    const auto passed = layout.time.of(record, number);
    const auto distance = static_cast<std::uint64_t>(passed.value_or(0));
    const bool isEarlier = passed.value_or(0) < 0;
    if (!passed || (isEarlier ? 0 - distance > contents.start : distance > ~contents.start)) {
        return countMalformed(kind, number, "impossible time");
    }
    const auto content = frames.read(layout, record, bytes);
    if (!content) {
        return countMalformed(kind, number, frames.malformed());
    }
    message = *content;
    time = contents.start + distance;
    return Step::Message;
}

/// Finds the data bytes. \return Step::Message if they are there, Step::Waiting if they may come, else
/// Step::Nothing
MdfRecords::Step MdfRecords::bytesOf(Kind& kind, const std::uint8_t* record, MdfFrames::Bytes& bytes) {
    const MdfLayout& layout = *kind.group->layout;
    const MdfBytes& place = layout.bytes;
    if (place.place == MdfBytes::Place::Record) {
        bytes = {record + place.offset, place.size};
        return Step::Message;
    }
    const bool inOrder = contents.unfinished.valueOffsets && place.place == MdfBytes::Place::Records;
    const bool isWanted = inOrder || MdfFrames::announced(layout, record).value_or(1) > 0;
    if (place.place == MdfBytes::Place::None || !isWanted) {
        return Step::Message;
    }
    const std::uint64_t offset = inOrder ? kind.nextReference : place.reference.of(record);
    const auto result = kind.values != nullptr ? kind.values->find(offset, bytes) : MdfValues::Result::Gone;
    if (result == MdfValues::Result::Found) {
        kind.nextReference += MdfValues::lengthBytes + bytes.size();
        return Step::Message;
    }
    const bool mayCome = result == MdfValues::Result::Ahead && place.place == MdfBytes::Place::Records;
    return mayCome ? Step::Waiting : Step::Nothing;
}

std::string MdfRecords::failure() const {
    if (!stream.failure().empty()) {
        return stream.failure();
    }
    for (const auto& each : values) {
        if (!each->failure().empty()) {
            return each->failure();
        }
    }
    return reason;
}

} // namespace rksignal
