// The columns of traces for a program that only knows the Arrow C data interface: three functions in C.

#include "columns/ColumnStream.h"
#include "text/Error.h"

#include <iostream>

namespace {

/// A stream and all that it needs.
struct Session {
    rksignal::Catalog catalog;
    rksignal::Trace trace;
    std::optional<rksignal::ColumnStream> stream;
};

} // namespace

extern "C" {

/// Opens files that are separated by line feeds, definitions as `FILE` or `CHANNEL=FILE` with a channel of
/// one digit. `layout` is that of ColumnLayout. \return null on an error, which has been printed
[[gnu::visibility("default")]] Session* openColumns(int layout, std::size_t batchRows,
                                                    const char* definitions, const char* traces) {
    const auto forEachLine = [](std::string_view text, auto&& act) {
        while (!text.empty()) {
            const std::size_t end = std::min(text.find('\n'), text.size());
            act(std::string(text.substr(0, end)));
            text.remove_prefix(std::min(end + 1, text.size()));
        }
    };
    try {
        auto session = std::make_unique<Session>();
        std::vector<rksignal::DefinitionSource> sources;
        forEachLine(definitions, [&](const std::string& file) {
            const bool isBound = file.size() > 2 && file[1] == '=';
            sources.push_back(isBound
                                  ? rksignal::DefinitionSource{file.substr(2), std::uint8_t(file[0] - '0')}
                                  : rksignal::DefinitionSource{file, {}});
        });
        session->catalog.addDefinitions(sources);
        forEachLine(traces, [&](const std::string& path) { session->trace.addFile(path); });
        session->stream.emplace(
            session->catalog, session->trace,
            rksignal::ColumnSettings{
                .layout = static_cast<rksignal::ColumnLayout>(layout), .batchRows = batchRows, .raw = true});
        return session.release();
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return nullptr;
    }
}

[[gnu::visibility("default")]] const char* tableName(Session* session, std::size_t table) {
    return session->stream->tables()[table].name.c_str();
}

/// The next batch with its schema. \return its table, -1 at the end, -2 on an error, which has been printed
[[gnu::visibility("default")]] int nextColumns(Session* session, ArrowArray* array, ArrowSchema* schema) {
    try {
        const auto table = session->stream->next(*array);
        if (!table) {
            return -1;
        }
        session->stream->schema(*table, *schema);
        return static_cast<int>(*table);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return -2;
    }
}

/// Gives the stream away, and the session with it. \return whether it could be
[[gnu::visibility("default")]] bool exportColumns(Session* session, ArrowArrayStream* out) {
    const std::shared_ptr<Session> owner(session);
    try {
        exportStream(std::shared_ptr<rksignal::ColumnStream>(owner, &*owner->stream), *out);
        return true;
    } catch (const rksignal::Error& error) {
        std::cerr << error.what() << '\n';
        return false;
    }
}

[[gnu::visibility("default")]] void closeColumns(Session* session) {
    delete session;
}

} // extern "C"
