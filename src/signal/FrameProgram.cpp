#include "signal/FrameProgram.h"

ChangeCounter& ChangeCounter::classWide() {
    static constinit ChangeCounter counter; // there before any table and after every signal
    return counter;
}

void FrameProgramDeleter::operator()(FrameProgram* program) const {
    delete program;
}
