/// \file
/// The processes of a soak run.
#pragma once

#include "reliability/SoakRecord.h"

#include <csignal>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>

namespace soak {

/// Decodes frames into all signals, which it creates, at their pace until it is told to end.
void write(Record& record, const std::string& prefix);

/// Reads all signals again and again, every second reader without a part in them.
void read(Record& record, const std::string& prefix, unsigned number);

/// Builds some signals, reads them for a while, and leaves.
void visit(Record& record, const std::string& prefix, unsigned first);

/// Runs `work` in a new process, which does not outlive this one.
template <class Work>
pid_t start(Work work) {
    const pid_t process = fork();
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        work();
        _exit(0);
    }
    return process;
}

} // namespace soak
