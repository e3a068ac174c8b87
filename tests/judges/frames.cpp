/// \file
/// `list_frames FILE...`: prints the frames of traces as support/FrameListing.h shows them. The exit status
/// is 1 if a trace has damage, told on standard error, and 2 if one cannot be read at all. judge.py prints
/// the same lines of other readers.
#include "support/FrameListing.h"

#include <iostream>

int main(int argc, char* argv[]) {
    std::ios::sync_with_stdio(false);
    try {
        rksignal::Trace trace;
        for (int i = 1; i < argc; ++i) {
            trace.addFile(argv[i]);
        }
        rksignal::FrameListing lines(std::cout);
        trace.run(lines);
        for (std::size_t i = 0; i < trace.count(); ++i) {
            for (const rksignal::Remark& remark : trace.report(i).remarks) {
                std::cerr << remark << '\n';
            }
        }
        return trace.isSound() ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 2;
    }
}
