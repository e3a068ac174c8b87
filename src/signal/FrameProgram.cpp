#include "signal/FrameProgram.h"

#include <memory>

ChangeCounter& ChangeCounter::classWide() {
    static constinit ChangeCounter counter; // there before any table and after every signal
    return counter;
}

void FrameProgramDeleter::operator()(FrameProgram* program) const {
    ::operator delete(program, FrameProgram::cacheLine);
}

namespace {

/// Behind the last byte of all ranges.
std::uint32_t endOf(std::span<const FieldWriter> writers) {
    std::uint32_t end = 0;
    for (const FieldWriter& writer : writers) {
        end = std::max(end, std::uint32_t{writer.place.startByte} + writer.place.numBytes);
    }
    return end;
}

} // namespace

bool FrameProgram::isPrivate(Form form) {
    return form == Form::WholeFrame || form == Form::Selecting || form == Form::RangesInWord ||
           form == Form::Ranges;
}

FrameProgram::Form FrameProgram::formOf(std::span<const FieldWriter> writers) {
    const auto all = [&writers](auto&& holds) { return std::all_of(writers.begin(), writers.end(), holds); };
    const auto isFixed = [](const FieldWriter& each) { return each.isDirect() && !each.place.conditional; };
    if (writers.empty() || !all(isFixed)) {
        return Form::Mixed;
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
    const std::size_t fieldCount = isPrivate(form) ? writers.size() : 0;
    const std::size_t size = sizeof(FrameProgram) + fieldCount * sizeof(PrivateField) +
                             writers.size() * (sizeof(unsigned long) + sizeof(FieldWriter));
    auto* const program = new (::operator new(size, cacheLine)) FrameProgram;
    program->count = static_cast<std::uint32_t>(writers.size());
    program->fieldCount = static_cast<std::uint32_t>(fieldCount);
    program->ownForm = form;
    program->rangesEnd = endOf(writers);
    auto* field = const_cast<PrivateField*>(program->fields().data());
    auto* id = const_cast<unsigned long*>(program->ids().data());
    for (const FieldWriter& writer : writers) {
        if (isPrivate(form)) {
            new (field++) PrivateField(form == Form::RangesInWord ? writer.privateField().inWordOfRanges()
                                                                  : writer.privateField());
        }
        new (id++) unsigned long(writer.signal->id);
    }
    std::uninitialized_copy(writers.begin(), writers.end(),
                            const_cast<FieldWriter*>(program->writers().data()));
    return program;
}
