/// \file
/// The signals of one run of a command.
#pragma once

#include "Console.h"
#include "catalog/Catalog.h"

#include <memory>

namespace rksignal {

/// Owns a catalog and its storage. Where the process ends behind the command, both stay: to take a million
/// signals out of their tables one by one takes longer than the command.
class CommandSignals {
  public:
    explicit CommandSignals(const Console& console) : endsProcess(console.endsProcess) {}
    ~CommandSignals() {
        if (endsProcess) {
            [[maybe_unused]] static const Content* volatile left = nullptr; // what checks for leaks sees it
            left = content.release();
        }
    }
    CommandSignals(const CommandSignals&) = delete;
    CommandSignals& operator=(const CommandSignals&) = delete;

    Catalog& catalog() { return content->catalog; }
    const Catalog& catalog() const { return content->catalog; }
    SignalStorage& storage() { return content->storage; }

  private:
    struct Content {
        SignalStorage storage;
        Catalog catalog{storage};
    };

    bool endsProcess;
    std::unique_ptr<Content> content = std::make_unique<Content>();
};

} // namespace rksignal
