#include "signal/FrameProgram.h"

ChangeCounter& ChangeCounter::classWide() {
    static constinit ChangeCounter counter; // there before any table and after every signal
    return counter;
}

void FrameProgramDeleter::operator()(FrameProgram* program) const {
    ::operator delete(program, FrameProgram::cacheLine);
}

void FrameProgram::classify() {
    if (count == 0) {
        return;
    }
    const FieldWriter& first = writers().front();
    const bool uniform = std::all_of(writers().begin(), writers().end(), [&first](const FieldWriter& writer) {
        return writer.isDirect() && writer.place.isPlain() && writer.isShared() == first.isShared() &&
               writer.place.wholeFrame == first.place.wholeFrame;
    });
    if (uniform) {
        ownForm = first.place.wholeFrame ? Form::WholeFrame : Form::Ranges;
    }
    shared = first.isShared();
    for (const FieldWriter& writer : writers()) {
        rangesEnd = std::max(rangesEnd, std::uint32_t{writer.place.startByte} + writer.place.numBytes);
    }
}
