// A stream of columns behind the Arrow C stream interface.

#include "columns/ColumnStream.h"
#include "text/Error.h"

#include <cerrno>
#include <exception>
#include <new>
#include <string>
#include <utility>

namespace rksignal {
namespace {

struct ExportedStream {
    std::shared_ptr<ColumnStream> stream;
    std::string error;

    /// Calls `act`. \return 0, or an error number, and then `error` says what went wrong
    template <class Act>
    int guarded(Act&& act) noexcept {
        try {
            error.clear();
            act();
            return error.empty() ? 0 : ECANCELED;
        } catch (const std::bad_alloc&) {
            return ENOMEM;
        } catch (const std::exception& failure) {
            return fail(failure.what());
        }
    }

    void next(ArrowArray& out) {
        const auto table = stream->next(out);
        if (!table && stream->trace().isStopped()) {
            error = "reading was stopped";
        } else if (table.value_or(0) != 0) {
            out.release(&out);
            throw Error("a further sender of " + stream->tables().front().name + " has a table of its own");
        }
    }

  private:
    int fail(const char* text) noexcept {
        try {
            error = text;
        } catch (const std::bad_alloc&) {
            return ENOMEM;
        }
        return EIO;
    }
};

ExportedStream& exported(ArrowArrayStream* stream) {
    return *static_cast<ExportedStream*>(stream->private_data);
}

int getSchema(ArrowArrayStream* stream, ArrowSchema* out) {
    ExportedStream& source = exported(stream);
    return source.guarded([&] { source.stream->schema(0, *out); });
}

int getNext(ArrowArrayStream* stream, ArrowArray* out) {
    ExportedStream& source = exported(stream);
    return source.guarded([&] { source.next(*out); });
}

const char* getLastError(ArrowArrayStream* stream) {
    const std::string& error = exported(stream).error;
    return error.empty() ? nullptr : error.c_str();
}

void releaseStream(ArrowArrayStream* stream) {
    delete &exported(stream);
    stream->release = nullptr;
}

} // namespace

void exportStream(std::shared_ptr<ColumnStream> stream, ArrowArrayStream& out) {
    if (stream->tables().size() != 1) {
        throw Error("a stream of " + std::to_string(stream->tables().size()) +
                    " tables cannot be given away as one: it takes the signals of one message");
    }
    auto* const source = new ExportedStream{std::move(stream), {}};
    out = {getSchema, getNext, getLastError, releaseStream, source};
}

} // namespace rksignal
