#include "signal/FrameProgram.h"

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

/// The form of a frame of direct signals some of which are conditional.
FrameProgram::Form searchedForm(std::span<const FieldWriter> writers) {
    using enum FrameProgram::Form;
    const auto all = [&writers](auto&& holds) { return std::all_of(writers.begin(), writers.end(), holds); };
    if (!all([](const FieldWriter& each) { return !each.place.wholeFrame && !each.place.selects; })) {
        return Mixed;
    }
    return all([](const FieldWriter& each) { return each.hasOwnRecord(); }) ? Searched : OtherSearched;
}

std::vector<FieldRun> runsOf(std::span<const FieldWriter> writers) {
    std::vector<FieldRun> runs;
    for (const FieldWriter& writer : writers) {
        const FieldPlace& place = writer.place;
        if (runs.empty() || runs.back().conditional != place.conditional ||
            runs.back().search != place.search || runs.back().sought != place.sought) {
            runs.push_back({place.sought, 0, 0, 0, place.search, place.conditional});
        }
        FieldRun& run = runs.back();
        ++run.count;
        run.end = std::max(run.end, place.end());
        run.lastStart = std::max(run.lastStart, place.startByte);
    }
    return runs;
}

/// Builds the fields from `field` on: those whose ranges lie in one word as fields of that word.
void placeFields(FrameProgram::Form form, std::span<const FieldWriter> writers,
                 std::span<const FieldRun> runs, PrivateField* field) {
    std::size_t run = 0;
    std::uint32_t left = runs.empty() ? 0 : runs[0].count;
    for (const FieldWriter& writer : writers) {
        if (left == 0 && !runs.empty()) {
            left = runs[++run].count;
        }
        --left;
        const bool inWord =
            form == FrameProgram::Form::RangesInWord || (!runs.empty() && runs[run].isInWord());
        const PrivateField own = writer.privateField();
        new (field++) PrivateField(inWord ? own.inWordOfRanges() : own);
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

FrameProgram* FrameProgram::assembled(std::span<const FieldWriter> writers) {
    const Form form = formOf(writers);
    const bool isSearched = form == Form::Searched || form == Form::OtherSearched;
    const std::vector<FieldRun> runs = isSearched ? runsOf(writers) : std::vector<FieldRun>();
    const std::size_t fieldCount = isPrivate(form) ? writers.size() : 0;
    const std::size_t size = sizeof(FrameProgram) + fieldCount * sizeof(PrivateField) +
                             runs.size() * sizeof(FieldRun) +
                             writers.size() * (sizeof(unsigned long) + sizeof(FieldWriter));
    auto* const program = new (::operator new(size, cacheLine)) FrameProgram;
    program->count = static_cast<std::uint32_t>(writers.size());
    program->fieldCount = static_cast<std::uint32_t>(fieldCount);
    program->runCount = static_cast<std::uint32_t>(runs.size());
    program->ownForm = form;
    program->rangesEnd = endOf(writers);
    auto* id = const_cast<unsigned long*>(program->ids().data());
    for (const FieldWriter& writer : writers) {
        new (id++) unsigned long(writer.signal->id);
    }
    if (isPrivate(form)) {
        placeFields(form, writers, runs, const_cast<PrivateField*>(program->fields().data()));
    }
    std::uninitialized_copy(runs.begin(), runs.end(), const_cast<FieldRun*>(program->runs().data()));
    std::uninitialized_copy(writers.begin(), writers.end(),
                            const_cast<FieldWriter*>(program->writers().data()));
    return program;
}
