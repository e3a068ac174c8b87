#include "shm/ShmCommand.h"

#include "command/UsageError.h"
#include "shm/SlotRows.h"
#include "text/PrintableText.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstring>
#include <fnmatch.h>
#include <iostream>
#include <map>
#include <memory>
#include <ostream>
#include <unistd.h>

namespace rksignal {
namespace {

std::uint64_t clockNow() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

bool isReleasable(const SlotRecord& slot) {
    return slot.has(SlotFault::HolderGone) || slot.has(SlotFault::HolderUnknown);
}

/// What can be done about a slot.
struct Repair {
    const char* task;      ///< `release`
    const char* done;      ///< `released`
    const char* condition; ///< what the slots have in common, in the question
    bool (*concerns)(const SlotRecord&);
    int (*perform)(const SlotRecord&);
};

constexpr Repair releasing{"release", "released",
                           "locked by threads that are gone or unknown, their values get lost", isReleasable,
                           SlotInventory::release};
constexpr Repair removing{"remove", "removed", "left over, their values get lost",
                          [](const SlotRecord& slot) { return slot.has(SlotFault::LeftOver); },
                          SlotInventory::remove};

std::string nameOf(const SlotRecord& slot) {
    const std::string& name = slot.instance.empty() ? slot.signal : slot.instance;
    return printable(name) + " (segment " + std::to_string(slot.shmId) + ")";
}

std::string repairFailure(int error) {
    return error == EBUSY    ? "it has come into use meanwhile"
           : error == EAGAIN ? "another process holds the lock of /tmp"
                             : std::strerror(error); // NOLINT(concurrency-mt-unsafe): one thread
}

/// One run of the command.
class ShmRun {
  public:
    ShmRun(const ShmOptions& options, const Console& console) : options(options), console(console) {
        ChannelMap channels;
        InputSet inputs; // nothing is written
        loadDefinitions(options, channels, catalog, inputs);
        for (const Remark& remark : catalog.remarks()) {
            if (remark.severity == Severity::Error) {
                console.messages << remark << '\n';
            }
        }
        for (const auto& signal : catalog.signals()) {
            expected.push_back({signal->def.instance, signal->def.signal});
        }
    }

    ExitStatus run() {
        const std::vector<SlotRecord> slots = look();
        write(slots);
        bool isChanged = options.release && perform(releasing, slots);
        isChanged = (options.remove && perform(removing, slots)) || isChanged;
        return summarise(isChanged ? look() : slots) && !hasFailed ? Clean : Damaged;
    }

  private:
    std::vector<SlotRecord> look() const {
        std::vector<SlotRecord> slots = SlotInventory(expected).slots();
        std::erase_if(slots, [this](const SlotRecord& slot) { return !isWanted(slot); });
        return slots;
    }

    bool isWanted(const SlotRecord& slot) const {
        return options.patterns.empty() ||
               std::any_of(options.patterns.begin(), options.patterns.end(),
                           [&slot](const std::string& pattern) {
                               return fnmatch(pattern.c_str(), slot.instance.c_str(), 0) == 0;
                           });
    }

    void write(std::vector<SlotRecord> slots) {
        if (options.faultyOnly) {
            std::erase_if(slots, [](const SlotRecord& slot) { return slot.faults.empty(); });
        }
        OutputBuffer out(console.output);
        if (options.form == ShmForm::Csv) {
            writeSlotCsv(slots, out);
        } else if (options.form == ShmForm::Json) {
            writeSlotJson(slots, out);
        } else if (!slots.empty()) {
            writeSlotTable(slots, catalog, clockNow(), out);
        }
        out.finish(); // a reader that has gone has seen enough
    }

    /// \return whether anything was changed
    bool perform(const Repair& repair, const std::vector<SlotRecord>& slots) {
        const auto count = std::count_if(slots.begin(), slots.end(), repair.concerns);
        if (count == 0) {
            console.messages << "there is nothing to " << repair.task << '\n';
            return false;
        }
        if (!options.yes && !isAgreed(repair, static_cast<std::size_t>(count))) {
            return false;
        }
        for (const SlotRecord& slot : slots) {
            if (repair.concerns(slot)) {
                perform(repair, slot);
            }
        }
        return true;
    }

    void perform(const Repair& repair, const SlotRecord& slot) {
        const int error = repair.perform(slot);
        hasFailed = hasFailed || error != 0;
        if (error == 0) {
            console.messages << repair.done << ' ' << nameOf(slot) << '\n';
        } else {
            console.messages << "cannot " << repair.task << ' ' << nameOf(slot) << ": "
                             << repairFailure(error) << '\n';
        }
    }

    bool isAgreed(const Repair& repair, std::size_t count) const {
        console.messages << repair.task << ' ' << count << (count == 1 ? " slot" : " slots") << " ("
                         << repair.condition << ")? [y/N] " << std::flush;
        std::string answer;
        std::getline(std::cin, answer);
        return answer == "y" || answer == "Y" || answer == "yes";
    }

    /// \return whether nothing is wrong
    bool summarise(const std::vector<SlotRecord>& slots) const {
        std::map<SlotFault, std::size_t> counts;
        std::size_t faulty = 0;
        for (const SlotRecord& slot : slots) {
            faulty += slot.faults.empty() ? 0 : 1;
            for (const SlotFault fault : slot.faults) {
                ++counts[fault];
            }
        }
        console.messages << slots.size() << (slots.size() == 1 ? " slot" : " slots")
                         << ", something is wrong with " << (faulty == 0 ? "none" : std::to_string(faulty));
        const char* separator = ": ";
        for (const auto& [fault, count] : counts) {
            console.messages << separator << count << ' ' << faultName(fault);
            separator = ", ";
        }
        console.messages << '\n';
        return faulty == 0;
    }

    const ShmOptions& options;
    const Console& console;
    Catalog catalog;
    std::vector<ExpectedSlot> expected;
    bool hasFailed = false;
};

} // namespace

ExitStatus shm(const ShmOptions& options, const Console& console) {
    if ((options.release || options.remove) && !options.yes && isatty(STDIN_FILENO) != 1) {
        throw UsageError(
            "standard input is no terminal on which to ask before something is changed: give --yes");
    }
    return ShmRun(options, console).run();
}

void addShmCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<ShmOptions>();
    CLI::App& command =
        *program.add_subcommand("shm", "List the slots in shared memory, and mend what is wrong with them");
    addDefinitionArguments(command, *options);
    command.add_option("--only", options->patterns, "Only slots whose instance matches, e.g. 'Engine.*'")
        ->type_name("GLOB")
        ->allow_extra_args(false);
    command.add_flag("--faulty", options->faultyOnly, "List only slots with which something is wrong");
    command.add_flag("--release", options->release,
                     "Free locks of threads that are gone; the values become invalid");
    command.add_flag("--remove", options->remove,
                     "Remove slots that nobody is attached to and no definition names");
    command.add_flag("--yes", options->yes, "Do not ask before --release and --remove");
    const auto setForm = [options](const std::string& name) {
        static const std::map<std::string, ShmForm> forms = {
            {"table", ShmForm::Table}, {"csv", ShmForm::Csv}, {"jsonl", ShmForm::Json}};
        options->form = forms.at(name);
    };
    command.add_option_function<std::string>("--format", setForm, "Form of the list")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"table", "csv", "jsonl"}));
    command.footer("Examples:\n  rksignal shm\n  rksignal shm --dbc drive.dbc --faulty\n"
                   "  rksignal shm --release --remove --only 'Engine.*'");
    command.callback([options, &console, &status] { status = shm(*options, console); });
}

} // namespace rksignal
