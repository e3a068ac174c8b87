#include "trace/mdf/MdfTrace.h"

#include "file/TemporaryCopy.h"
#include "text/Error.h"

#include <algorithm>
#include <utility>

namespace rksignal {

MdfTrace::MdfTrace(std::unique_ptr<InputFile> file)
    : TraceSource(withRandomAccess(std::move(file))), blocks(input()) {
    try {
        open();
    } catch (const MdfDamage& damage) {
        throw Error(path() + ": " + damage.text);
    }
}

void MdfTrace::open() {
    constexpr std::size_t wholeBuffer = std::size_t{1} << 18;
    constexpr std::size_t sharedBuffer = std::size_t{1} << 16;
    contents = readContents(blocks);
    if (contents.dataGroups.empty()) {
        throw MdfDamage{!contents.damage.empty()      ? contents.damage.front()
                        : contents.measuredGroups > 0 ? "an MF4 file with measured channels, no bus frames"
                                                      : "an MF4 file without data"};
    }
    for (const std::string& text : contents.damage) {
        remark(text);
    }
    if (contents.measuredGroups > 0) {
        found.remarks.add({path(), Severity::Note,
                           "measured channels are not read: channel groups with them: " +
                               std::to_string(contents.measuredGroups)});
    }
    const std::size_t size = contents.dataGroups.size() == 1 ? wholeBuffer : sharedBuffer;
    for (const MdfDataGroup& group : contents.dataGroups) {
        inputs.push_back({std::make_unique<MdfRecords>(blocks, contents, group, size), 0});
    }
}

bool MdfTrace::next() {
    const auto later = [this](std::size_t a, std::size_t b) { return isLater(a, b); };
    if (!std::exchange(isStarted, true)) {
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            if (advance(i)) {
                waiting.push_back(i);
            }
        }
        std::make_heap(waiting.begin(), waiting.end(), later);
        return takeEarliest();
    }
    if (!advance(current)) {
        return takeEarliest();
    }
    if (!waiting.empty() && isLater(current, waiting.front())) {
        waiting.push_back(current);
        std::push_heap(waiting.begin(), waiting.end(), later);
        return takeEarliest();
    }
    now = inputs[current].records->timestamp();
    return true;
}

/// Reads the next event of a data group. \return whether there is one
bool MdfTrace::advance(std::size_t input) {
    Input& group = inputs[input];
    if (!group.records->next()) {
        return false;
    }
    group.turn = std::max(group.turn, group.records->timestamp());
    return true;
}

bool MdfTrace::isLater(std::size_t left, std::size_t right) const {
    return inputs[left].turn != inputs[right].turn ? inputs[left].turn > inputs[right].turn : left > right;
}

/// Makes the earliest of the waiting events the current one. \return whether there is one
bool MdfTrace::takeEarliest() {
    if (waiting.empty()) {
        conclude();
        return false;
    }
    std::pop_heap(waiting.begin(), waiting.end(),
                  [this](std::size_t a, std::size_t b) { return isLater(a, b); });
    current = waiting.back();
    waiting.pop_back();
    now = inputs[current].records->timestamp();
    return true;
}

void MdfTrace::deliver(MessageSink& sink, std::uint64_t time) {
    deliverContent(inputs[current].records->content(), sink, time);
}

void MdfTrace::completeReport() {
    std::string first;
    for (const Input& group : inputs) {
        found.damagedRecords += group.records->malformed();
        first = first.empty() ? group.records->firstMalformed() : first;
        if (!group.records->failure().empty()) {
            remark("not understood further: " + group.records->failure());
        }
    }
    if (found.damagedRecords > 0) {
        remark("malformed records: " + std::to_string(found.damagedRecords) + ", the first is " + first);
    }
}

} // namespace rksignal
