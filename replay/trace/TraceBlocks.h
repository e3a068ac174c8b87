/// \file
/// Traces that several threads read, block by block.
#pragma once

#include "trace/MessageBatch.h"
#include "trace/MessageSink.h"
#include "trace/Trace.h"
#include "trace/log/CandumpTrace.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

namespace rksignal {

/// Cuts traces into blocks. Each thread takes the next block and waits for its turn to hand on what it has
/// found: blocks end in the order in which they were taken. So what the threads do together depends on
/// nothing but the traces, and at most one block a thread is in memory.
///
/// One large log of which each line stands for itself is cut into whole lines, which each thread reads by
/// itself. Of everything else a block holds messages: whoever takes it reads them, with all other threads
/// waiting who want to read.
///
/// All operations are for any thread.
class TraceBlocks {
  public:
    /// Of lines. Bounds what a thread has to hold, and how long it makes others wait. Has fewer lines than
    /// UnknownMessages::maxIdentifiers.
    static constexpr std::size_t blockSize = std::size_t{128} << 10;

    struct Block {
        std::uint64_t number = 0; ///< from 0
        std::vector<char> bytes;  ///< the first `size` are lines, or
        std::size_t size = 0;
        MessageBatch messages;
        std::string_view lines() const { return {bytes.data(), size}; }
        bool empty() const { return size == 0 && messages.empty(); }
    };

    /// Whether the traces are long enough for several threads; pipes may be.
    static bool isLong(const Trace& trace) { return trace.size() == 0 || trace.size() > blockSize; }

    enum class Cut : std::uint8_t {
        Messages,
        LinesIfPossible,
    };
    /// Begins with the first message of the window, also if that has been read already. `threads` will take
    /// blocks.
    TraceBlocks(Trace& trace, Cut cut, std::size_t threads);

    /// Reads the next block. When reading has to wait for a pipe, what there is of the block is one, for
    /// which `replayBlock` is called; another one follows. \return false if there is none, or after finish()
    bool take(Block& block, const std::function<void()>& replayBlock);
    /// Waits until all blocks before `number` have ended.
    void await(std::uint64_t number);
    /// The block has ended; `part` has read it if it was lines. REQUIRES: await(number)
    void end(const Block& block, const CandumpTrace* part);
    /// No further blocks are taken.
    void finish() { isFinished = true; }
    /// Ends everything: those who wait get an exception. The first call counts.
    void abandon(std::exception_ptr reason);
    /// Whether reading, or a thread, has thrown something. REQUIRES here and below: all threads have ended.
    bool hasFailed() const { return readError != nullptr || reasonToAbandon != nullptr; }
    std::uint64_t count() const { return taken; } ///< of blocks
    /// \throws what reading or a thread has thrown
    void conclude();

    /// That is cut into lines; null if blocks are messages.
    CandumpTrace* log() { return whole; }
    std::int64_t shift() const { return distance; }

  private:
    struct Abandoned {};

    bool takeNext(Block& block, const std::function<void()>& replayBlock);
    template <class Condition>
    void waitShortly(Condition&& isMet) const;
    void readLines(Block& block);
    bool skipLine();
    void readMessages(Block& block, const std::function<void()>& replayBlock);

    Trace& trace;
    std::int64_t distance = 0;
    CandumpTrace* whole;
    const bool hasCores; ///< for all threads
    std::atomic<bool> isFinished = false;
    std::atomic<bool> isReading = false; ///< `reading` is held, or about to be

    std::mutex reading; ///< guards what follows, and reading from `trace`
    std::uint64_t at = 0;
    std::uint64_t taken = 0;
    std::exception_ptr readError;

    std::mutex ending; ///< guards changes of what follows
    std::condition_variable ended;
    std::atomic<std::uint64_t> turn = 0;
    std::exception_ptr reasonToAbandon;
};

/// Calls `work` in as many threads as the system has of `count`, with their numbers from 0 on, and waits for
/// them. The first one is the calling thread.
void runInThreads(std::size_t count, const std::function<void(std::size_t)>& work);

/// One thread's way through the blocks.
class TraceBlockReader {
  public:
    explicit TraceBlockReader(TraceBlocks& blocks);
    TraceBlockReader(const TraceBlockReader&) = delete;
    TraceBlockReader& operator=(const TraceBlockReader&) = delete;

    /// Calls `replayBlock` for each block that this thread takes: it calls deliver(), awaitTurn() and end().
    void run(const std::function<void()>& replayBlock) {
        while (blocks.take(block, replayBlock)) {
            replayBlock();
        }
    }
    std::uint64_t number() const { return block.number; }
    /// Delivers all messages of the block, until the sink is closed.
    void deliver(MessageSink& sink);
    /// \throws an exception for the thread's end if another thread has failed
    void awaitTurn() { blocks.await(block.number); }
    /// REQUIRES: awaitTurn()
    void end() { blocks.end(block, part ? &*part : nullptr); }

  private:
    TraceBlocks& blocks;
    TraceBlocks::Block block;
    std::optional<CandumpTrace> part;
};

} // namespace rksignal
