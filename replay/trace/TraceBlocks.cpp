#include "trace/TraceBlocks.h"

#include "file/InputFile.h"
#include "trace/TraceMerge.h"

#include <algorithm>
#include <cstring>
#include <system_error>
#include <thread>
#include <utility>

namespace rksignal {

TraceBlocks::TraceBlocks(Trace& trace, Cut cut, std::size_t threads)
    : trace(trace), whole(cut == Cut::LinesIfPossible ? trace.dividedLog(distance) : nullptr),
      hasCores(threads <= std::thread::hardware_concurrency()) {
    trace.beginAhead();
    if (whole != nullptr) {
        whole->startBlocks();
    }
}

/// Threads wait for less than the time of a block, mostly, and it takes longer to wake one that sleeps. So
/// one that has a core for itself looks again and again before it sleeps.
template <class Condition>
void TraceBlocks::waitShortly(Condition&& isMet) const {
    constexpr int maxLooks = 2000; // some 30 to 100 microseconds
    for (int looks = 0; hasCores && looks < maxLooks && !isMet(); ++looks) {
#if defined(__x86_64__)
        __builtin_ia32_pause();
#endif
    }
}

bool TraceBlocks::take(Block& block, const std::function<void()>& replayBlock) {
    waitShortly([this] { return !isReading.load(std::memory_order_relaxed); });
    const std::lock_guard guard(reading);
    isReading.store(true, std::memory_order_relaxed);
    const bool isTaken = takeNext(block, replayBlock);
    isReading.store(false, std::memory_order_relaxed);
    return isTaken;
}

bool TraceBlocks::takeNext(Block& block, const std::function<void()>& replayBlock) {
    block.size = 0;
    block.messages.clear();
    if (isFinished || trace.isStopped()) {
        return false;
    }
    block.number = taken++;
    try {
        whole != nullptr ? readLines(block) : readMessages(block, replayBlock);
    } catch (const ReadingStopped&) { // as at the end
        block.size = 0;
        finish();
    } catch (...) { // what came before is used
        block.size = 0;
        readError = std::current_exception();
        finish();
    }
    trace.beforeWait(nullptr);
    return !block.empty();
}

/// Bytes up to the last line end. A line that is longer than a block, of which a reader uses the start at
/// most, is cut off.
void TraceBlocks::readLines(Block& block) {
    block.bytes.resize(blockSize);
    const std::size_t count = whole->file().readAt(at, block.bytes.data(), blockSize);
    block.size = count;
    at += count;
    if (count < blockSize) {
        finish();
        return;
    }
    const void* const lineEnd = memrchr(block.bytes.data(), '\n', count);
    if (lineEnd == nullptr) {
        if (!skipLine()) {
            finish();
        }
        block.bytes.back() = '\n';
        return;
    }
    const auto size = static_cast<std::size_t>(static_cast<const char*>(lineEnd) - block.bytes.data()) + 1;
    at -= count - size;
    block.size = size;
}

/// Goes on behind the next line end. \return false if there is none
bool TraceBlocks::skipLine() {
    std::vector<char> bytes(blockSize);
    for (std::size_t count = 1; count > 0;) {
        count = whole->file().readAt(at, bytes.data(), bytes.size());
        const void* const lineEnd = std::memchr(bytes.data(), '\n', count);
        if (lineEnd != nullptr) {
            at += static_cast<std::size_t>(static_cast<const char*>(lineEnd) - bytes.data()) + 1;
            return true;
        }
        at += count;
    }
    return false;
}

/// What there is when a pipe makes the thread wait shall not wait with it.
void TraceBlocks::readMessages(Block& block, const std::function<void()>& replayBlock) {
    MessageBatch& messages = block.messages;
    trace.beforeWait([&] {
        if (!messages.empty()) {
            try {
                replayBlock();
            } catch (...) { // behind what reads there may be code that knows no exceptions but its own
                abandon(std::current_exception());
                messages.clear();
                throw ReadingStopped();
            }
            messages.clear();
            block.number = taken++;
        }
    });
    while (!messages.isFull() && !isFinished) {
        if (!trace.next()) {
            finish();
            return;
        }
        trace.deliver(messages);
        if (messages.endsWithRecord()) {
            messages.placeRecord(trace.source(), trace.recordNumber());
        }
    }
}

void TraceBlocks::await(std::uint64_t number) {
    waitShortly([this, number] { return turn.load(std::memory_order_acquire) == number; });
    std::unique_lock lock(ending);
    ended.wait(lock, [&] { return turn == number || reasonToAbandon != nullptr; });
    if (reasonToAbandon != nullptr) {
        throw Abandoned();
    }
}

void TraceBlocks::end(const Block& block, const CandumpTrace* part) {
    const std::lock_guard guard(ending);
    if (part != nullptr) {
        whole->add(*part);
    }
    for (const MessageBatch::RefusedRecord& record : block.messages.refused()) {
        trace.countRefused(record.trace, record.number);
    }
    turn = block.number + 1;
    ended.notify_all();
}

void TraceBlocks::abandon(std::exception_ptr reason) {
    finish();
    const std::lock_guard guard(ending);
    if (reasonToAbandon == nullptr) {
        reasonToAbandon = std::move(reason);
    }
    ended.notify_all();
}

void TraceBlocks::conclude() {
    for (const std::exception_ptr& error : {reasonToAbandon, readError}) {
        if (error != nullptr) {
            std::rethrow_exception(error);
        }
    }
    trace.endAhead();
}

void runInThreads(std::size_t count, const std::function<void(std::size_t)>& work) {
    std::vector<std::jthread> threads; // each is waited for at the end of the scope
    try {
        for (std::size_t i = 1; i < count; ++i) {
            threads.emplace_back(work, i);
        }
    } catch (const std::system_error&) { // the system has no more threads: those that there are do it all
    }
    work(0);
}

void Trace::runAhead(MessageSink& sink, const std::function<void()>& handedOn) {
    if (!TraceBlocks::isLong(*this)) {
        run(sink);
        return;
    }
    constexpr std::size_t threads = 2;
    TraceBlocks blocks(*this, TraceBlocks::Cut::Messages, threads);
    runInThreads(threads, [&](std::size_t) {
        try {
            TraceBlockReader reader(blocks);
            reader.run([&] {
                reader.awaitTurn();
                reader.deliver(sink);
                if (handedOn) {
                    handedOn();
                }
                if (sink.closed()) {
                    blocks.finish();
                }
                reader.end();
            });
        } catch (...) {
            blocks.abandon(std::current_exception());
        }
    });
    blocks.conclude();
}

TraceBlockReader::TraceBlockReader(TraceBlocks& blocks) : blocks(blocks) {
    if (blocks.log() != nullptr) {
        part.emplace(*blocks.log(), [this] { awaitTurn(); });
    }
}

void TraceBlockReader::deliver(MessageSink& sink) {
    if (!part) {
        block.messages.deliver(sink);
        return;
    }
    part->startBlock(block.lines(), block.number == 0);
    const std::int64_t shift = blocks.shift();
    while (!sink.closed() && part->next()) {
        part->handOver(sink, shift == 0 ? part->timestamp() : shifted(part->timestamp(), shift));
        if (shift == 0) {
            part->handOverAhead(sink);
        }
    }
}

} // namespace rksignal
