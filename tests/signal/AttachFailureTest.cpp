/// \file
/// Shared signals whose segment exists and cannot be attached.
#include "signal/SharedMemoryTest.h"

#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

namespace {

using SharedAttaching = SharedMemoryTest;

/// From now on shmat fails with "permission denied" in this process.
void forbidAttaching() {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_shmat, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EACCES),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{.len = std::size(program), .filter = program};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter);
}

TEST_F(SharedAttaching, FailureIsReportedAndAFoundSlotIsNeverInitialised) {
    const baseSignalDef_t fresh = definition("fresh"), found = definition("found");
    CapturedOutput output;
    const auto build = [&output](const baseSignalDef_t& def) {
        BaseSignal::detachOnly = true;
        const BaseSignal signal(def, true);
        std::ostringstream answer;
        answer << output.err.take() << (signal.slot == &signal.privateSlot) << signal.shmem << " "
               << signal.slot->size << " '" << signal.slot->name << "' " << signal.slot->raw;
        return answer.str();
    };
    const auto line = [](const char* operation, const char* call, const baseSignalDef_t& def,
                         const char* error) {
        return std::string("[ERROR] BaseSignal::") + operation + "() " + call + " (" + def.instance +
               "): " + error + "\n";
    };
    Peer peer({[&] {
                   forbidAttaching();
                   return build(fresh);
               },
               [&] { return output.err.take(); }, [&] { return build(found); }});
    const BaseSignal signal(found, true);
    EXPECT_EQ(peer.step(),
              line("createSharedMemory", "shmat", fresh, "Permission denied") + "11 104 'Signal' 2863311530");
    EXPECT_EQ(peer.step(), line("~BaseSignal", "shmdt", fresh, "Invalid argument"));
    EXPECT_EQ(peer.step(), line("createSharedMemory", "shmat", found, "Permission denied") + "11 0 '' 0");
}

} // namespace
