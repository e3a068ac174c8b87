#include "trigger/WindowWriter.h"

#include "command/UsageError.h"
#include "text/ParseNumber.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <ostream>
#include <set>
#include <string_view>
#include <system_error>

namespace rksignal {
namespace {

constexpr std::size_t maxStem = 100;

/// A condition's name with everything that a shell or a file system might not like as `_`.
std::string fileStem(std::string_view name) {
    constexpr std::string_view harmless = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-";
    std::string stem;
    for (const char character : name.substr(0, maxStem)) {
        const bool keep = harmless.find(character) != harmless.npos && !(stem.empty() && character == '.');
        if (keep || (!stem.empty() && stem.back() != '_')) {
            stem += keep ? character : '_';
        }
    }
    return stem.empty() ? "condition" : stem;
}

struct WindowName {
    std::string stem;
    std::uint64_t number;
};

/// Takes `CONDITION-NUMBER.csv` apart, or nothing.
std::optional<WindowName> parseWindowName(std::string_view name) {
    constexpr std::string_view ending = ".csv";
    if (!name.ends_with(ending)) {
        return std::nullopt;
    }
    name.remove_suffix(ending.size());
    const std::size_t digits = name.find_last_not_of("0123456789") + 1; // npos + 1 is 0
    const auto number = parseNumber<std::uint64_t>(name.substr(digits));
    if (!number || digits < 2 || name[digits - 1] != '-') {
        return std::nullopt;
    }
    return WindowName{std::string(name.substr(0, digits - 1)), *number};
}

std::uint64_t difference(std::uint64_t left, std::uint64_t right) {
    return left > right ? left - right : 0;
}

std::uint64_t sum(std::uint64_t left, std::uint64_t right) {
    return left + std::min(right, std::numeric_limits<std::uint64_t>::max() - left);
}

} // namespace

WindowWriter::WindowWriter(const Catalog& catalog, const Triggers& triggers, Extent extent,
                           const Folder& folder, const InputSet& inputs, const TimeFormat& times)
    : catalog(catalog), extent(extent), folder(folder), inputs(inputs), times(times), values(maxValues) {
    prepareFolder();
    signalsAdded();
    nameFiles(triggers);
}

void WindowWriter::signalsAdded() {
    for (std::size_t i = cells.size(); i < catalog.signals().size(); ++i) {
        cells.emplace_back(*catalog.signals()[i], csvSyntax);
    }
}

void WindowWriter::prepareFolder() {
    std::error_code error;
    std::filesystem::create_directories(folder.path, error);
    for (std::filesystem::directory_iterator file(folder.path, error), end; !error && file != end;
         file.increment(error)) {
        const std::string name = file->path().filename().string();
        const auto window = parseWindowName(name);
        if (!window) {
            continue;
        }
        if (folder.earlier == Earlier::NumberOn) {
            std::uint64_t& number = highest[window->stem];
            number = std::max(number, window->number);
            continue;
        }
        if (folder.earlier == Earlier::Refuse) {
            throw UsageError("--windows " + folder.path + " holds windows already, such as " + name +
                             "; --overwrite writes more into it");
        }
        ++earlier;
    }
    if (error) {
        throw std::system_error(error, "cannot use the folder " + folder.path);
    }
}

void WindowWriter::nameFiles(const Triggers& triggers) {
    std::set<std::string> taken;
    for (std::size_t i = 0; i < triggers.size(); ++i) {
        const std::string wanted = fileStem(triggers.condition(i).name());
        std::string stem = wanted;
        for (unsigned n = 2; !taken.insert(stem).second; ++n) {
            stem = wanted + "_" + std::to_string(n);
        }
        stems.push_back(stem);
    }
}

void WindowWriter::advanced(std::uint64_t now) {
    while (!open.empty() && open.front().to < now) {
        write(open.front());
        open.pop_front();
    }
    const std::uint64_t wanted = difference(difference(now, extent.before), extent.after);
    while (!values.empty() && values.front().timestamp < wanted) {
        values.pop();
    }
    frames.forgetBefore(wanted);
}

void WindowWriter::written(const MessageInfo& message, std::span<const unsigned long> ids) {
    for (const unsigned long id : ids) {
        const std::size_t signal = catalog.indexOf(id);
        const ValueSample sample = ValueSample::of(*catalog.signals()[signal]);
        values.push(
            {sample.timestamp, sample.raw, sample.value, static_cast<std::uint32_t>(signal), message.origin});
    }
}

void WindowWriter::fired(const Firing& firing) {
    if (files + open.size() >= maxFiles) {
        if (omitted++ == 0 && folder.onFailure) {
            folder.onFailure("there are " + std::to_string(maxFiles) +
                             " windows; further ones are not written");
        }
        return;
    }
    open.push_back({firing.trigger, firing.number, difference(firing.timestamp, extent.before),
                    sum(firing.timestamp, extent.after)});
}

std::string WindowWriter::pathOf(const Window& window, std::string_view ending) const {
    const std::string& stem = stems[window.trigger];
    const auto before = highest.find(stem);
    const std::string name =
        stem + "-" + std::to_string(window.number + (before != highest.end() ? before->second : 0));
    return (std::filesystem::path(folder.path) / name).string().append(ending);
}

void WindowWriter::write(const Window& window) {
    try {
        writeFiles(window);
    } catch (const std::system_error& error) {
        if (!folder.onFailure) {
            throw;
        }
        ++failures;
        folder.onFailure(error.what());
    }
}

void WindowWriter::writeFiles(const Window& window) {
    writeValues(window);
    if (folder.frames != nullptr) {
        writeFrames(window);
    }
    ++files;
    const std::uint64_t lostUntil = std::max(values.lostUntil(), frames.lostUntil());
    incomplete += lostUntil != 0 && lostUntil >= window.from ? 1 : 0;
}

void WindowWriter::writeValues(const Window& window) {
    OutputFile file(pathOf(window, ".csv"), -1, inputs);
    OutputBuffer out(file);
    RowFormat format(csvSyntax, out, times);
    out.append(csvSyntax.header);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const PastValue& past = values[i];
        if (window.from <= past.timestamp && past.timestamp <= window.to) {
            format.setMessage({past.timestamp, past.origin});
            format.write(cells[past.signal], catalog.signals()[past.signal]->def.type,
                         {past.value, past.raw, past.timestamp});
        }
    }
    out.finish();
    earlier -= file.replacesFile() ? 1 : 0;
    file.complete();
}

void WindowWriter::writeFrames(const Window& window) {
    OutputFile file(pathOf(window, folder.frames->ending), -1, inputs);
    const auto writer = folder.frames->makeWriter(file);
    frames.deliver(window.from, window.to, *writer);
    writer->finish();
    file.complete();
    for (const auto& [name, count] : writer->lost()) {
        unheld += count;
    }
}

void WindowWriter::finish() {
    for (const Window& window : open) {
        write(window);
    }
    open.clear();
    values.clear();
    frames.clear();
}

void WindowWriter::summarise(std::ostream& out) const {
    out << "windows written to " << folder.path << ": " << files << '\n';
    if (earlier > 0) {
        out << "windows of an earlier run that are still there: " << earlier << '\n';
    }
    if (incomplete > 0) {
        out << "windows without their oldest values, with more than " << maxValues << " or "
            << maxMessageBytes << " bytes of frames: " << incomplete << '\n';
    }
    if (unheld > 0) {
        out << "messages that " << folder.frames->ending << " files do not hold: " << unheld << '\n';
    }
    if (omitted > 0) {
        out << "firings without a window, behind the first " << maxFiles << ": " << omitted << '\n';
    }
    if (failures > 0) {
        out << "windows that could not be written: " << failures << '\n';
    }
}

} // namespace rksignal
