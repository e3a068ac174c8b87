#include "signal/FrameProgram.h"

#include <limits>
#include <memory>

ChangeCounter& ChangeCounter::classWide() {
    static constinit ChangeCounter counter; // there before any table and after every signal
    return counter;
}

void FrameProgramDeleter::operator()(FrameProgram* program) const {
    if (--program->users == 0) {
        ::operator delete(program, FrameProgram::cacheLine);
    }
}

namespace {

/// Behind the last byte of all ranges.
std::uint32_t endOf(std::span<const FieldWriter> writers) {
    std::uint32_t end = 0;
    for (const FieldWriter& writer : writers) {
        end = std::max(end, writer.place.end());
    }
    return end;
}

/// Whether each signal has a slot of its own, so that it does not matter which is stored last.
bool haveOwnSlots(std::span<const FieldWriter> writers) {
    std::vector<const signalSlot_t*> slots;
    for (const FieldWriter& writer : writers) {
        slots.push_back(writer.slot);
    }
    std::sort(slots.begin(), slots.end());
    return std::adjacent_find(slots.begin(), slots.end()) == slots.end();
}

/// The form of a frame of direct signals some of which are conditional.
FrameProgram::Form searchedForm(std::span<const FieldWriter> writers) {
    using enum FrameProgram::Form;
    const auto all = [&writers](auto&& holds) { return std::all_of(writers.begin(), writers.end(), holds); };
    if (!all([](const FieldWriter& each) { return !each.place.wholeFrame && !each.place.selects; })) {
        return Mixed;
    }
    if (!haveOwnSlots(writers)) {
        return Mixed;
    }
    return all([](const FieldWriter& each) { return each.hasOwnRecord(); }) ? Searched : OtherSearched;
}

/// Builds the fields from `field` on, in their order.
void placeFields(std::span<const FieldWriter> writers, bool inWord, PrivateField* field) {
    for (const FieldWriter& writer : writers) {
        const PrivateField own = writer.privateField();
        new (field++) PrivateField(inWord ? own.inWordOfRanges() : own);
    }
}
/// The same in the order of storing: those of a run whose ranges lie in one word as fields of that word.
void placeFields(std::span<const FieldWriter> writers, const StoringOrder& order, PrivateField* field) {
    const FieldRun* run = order.runs.data();
    for (std::uint32_t stored = 0; stored < writers.size(); ++stored) {
        run += run[1].first == stored ? 1 : 0;
        const PrivateField own = writers[order.places[stored]].privateField();
        new (field++) PrivateField(run->isInWord() ? own.inWordOfRanges() : own);
    }
}

} // namespace

bool FrameProgram::isPrivate(Form form) {
    return form == Form::WholeFrame || form == Form::Selecting || form == Form::RangesInWord ||
           form == Form::Ranges || form == Form::Searched;
}

FrameProgram::Form FrameProgram::formOf(std::span<const FieldWriter> writers) {
    const auto all = [&writers](auto&& holds) { return std::all_of(writers.begin(), writers.end(), holds); };
    if (writers.empty() || !all([](const FieldWriter& each) { return each.isDirect(); })) {
        return Form::Mixed;
    }
    if (!all([](const FieldWriter& each) { return !each.place.conditional; })) {
        return searchedForm(writers);
    }
    const bool whole = all([](const FieldWriter& each) { return each.place.wholeFrame; });
    const bool ranges = all([](const FieldWriter& each) { return !each.place.wholeFrame; });
    const bool plain = all([](const FieldWriter& each) { return each.place.isPlain(); });
    if (all([](const FieldWriter& each) { return each.hasOwnRecord(); })) {
        if (whole) {
            return plain ? Form::WholeFrame : Form::Selecting;
        }
        return !ranges || !plain ? Form::Mixed : endOf(writers) <= 8 ? Form::RangesInWord : Form::Ranges;
    }
    if (plain && all([](const FieldWriter& each) { return each.isShared(); })) {
        return whole ? Form::SharedWholeFrame : ranges ? Form::SharedRanges : Form::Mixed;
    }
    return Form::Mixed;
}

FrameBrief FrameProgram::brief() const {
    if (count > std::numeric_limits<std::uint16_t>::max()) {
        return {};
    }
    const auto briefCount = static_cast<std::uint16_t>(count);
    switch (ownForm) {
    case Form::WholeFrame:
        return {briefCount, 0}; // bytes that were not received count as zero
    case Form::RangesInWord:
        return {briefCount, static_cast<std::uint8_t>(rangesEnd)};
    default:
        return {};
    }
}

FrameProgram* FrameProgram::assembled(std::span<const FieldWriter> writers) {
    const Form form = formOf(writers);
    const bool isSearched = form == Form::Searched || form == Form::OtherSearched;
    const StoringOrder order = isSearched ? StoringOrder(writers, form == Form::Searched) : StoringOrder();
    const std::size_t runCount = isSearched ? order.runs.size() - 1 : 0;
    const std::size_t fieldCount = isPrivate(form) ? writers.size() : 0;
    const std::size_t size =
        sizeof(FrameProgram) + fieldCount * sizeof(PrivateField) + orderBytes(runCount, writers.size()) +
        idblocks::roundedUp(writers.size()) * sizeof(unsigned long) + writers.size() * sizeof(FieldWriter);
    auto* const program = new (::operator new(size, cacheLine)) FrameProgram;
    program->count = static_cast<std::uint32_t>(writers.size());
    program->fieldCount = static_cast<std::uint32_t>(fieldCount);
    program->runCount = static_cast<std::uint32_t>(runCount);
    program->ownForm = form;
    program->rangesEnd = endOf(writers);
    auto* id = const_cast<unsigned long*>(program->ids().data());
    for (const FieldWriter& writer : writers) {
        new (id++) unsigned long(writer.signal->id);
    }
    std::uninitialized_fill_n(id, idblocks::roundedUp(writers.size()) - writers.size(), 0UL);
    auto* const field = const_cast<PrivateField*>(program->fields().data());
    if (isSearched) {
        std::uninitialized_copy(order.runs.begin(), order.runs.end(),
                                const_cast<FieldRun*>(program->runs().data()));
        std::uninitialized_copy(order.places.begin(), order.places.end(),
                                const_cast<std::uint32_t*>(program->places().data()));
    }
    if (form == Form::Searched) {
        placeFields(writers, order, field);
    } else if (isPrivate(form)) {
        placeFields(writers, form == Form::RangesInWord, field);
    }
    std::uninitialized_copy(writers.begin(), writers.end(),
                            const_cast<FieldWriter*>(program->writers().data()));
    return program;
}
