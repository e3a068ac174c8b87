#include "page/PageSignals.h"

#include "definition/RawNumber.h"
#include "page/CurveBytes.h"
#include "page/FairShares.h"
#include "page/Sparkline.h"
#include "text/NumberText.h"

#include <algorithm>

namespace rksignal {
namespace {

constexpr std::size_t panelWeight = 32; ///< of curves that are shown at first, against 1 of others

std::string_view curveKindName(CurveKind kind) {
    constexpr std::array<std::string_view, 5> names = {"empty", "constant", "line", "step", "states"};
    return names[static_cast<std::size_t>(kind)];
}

bool isFloating(const baseSignalDef_t& definition) {
    return definition.type == signalValue_t::Float || definition.type == signalValue_t::Double;
}

/// A raw value as the page looks up texts: the number of JavaScript as text.
std::string rawText(std::uint64_t raw, const baseSignalDef_t& definition) {
    if (isFloating(definition)) {
        return doubleText(numberOfRaw(definition.type, raw));
    }
    char text[maxNumberText];
    return {text, writeRaw(text, raw, definition.type)};
}

/// In whole microseconds, not less.
std::uint64_t microsecondsUp(std::uint64_t nanoseconds) {
    return nanoseconds / 1000 + (nanoseconds % 1000 != 0 ? 1 : 0);
}

} // namespace

PageSignals::PageSignals(const Catalog& catalog, const CurveRecorder& curves, const MessageTable& messages,
                         DriveSpan span, std::span<const std::vector<std::size_t>> panels)
    : catalog(catalog), curves(curves), messages(messages), span(span), panelOf(catalog.signals().size()) {
    for (std::size_t panel = 0; panel < panels.size(); ++panel) {
        for (const std::size_t signal : panels[panel]) {
            panelOf[signal] = panel;
        }
    }
    choose();
}

/// Signals without values are the first to be left out.
void PageSignals::choose() {
    chosen = curves.signals();
    if (chosen.size() > page_sizes::signals) {
        std::ranges::stable_sort(chosen, {}, [this](std::size_t signal) {
            return panelOf[signal] ? 0 : curves.curve(signal).count() > 0 ? 1 : 2;
        });
        chosen.resize(page_sizes::signals);
        std::ranges::sort(chosen);
    }
    for (std::size_t place = 0; place < chosen.size(); ++place) {
        places.emplace(catalog.signals()[chosen[place]]->def.instance, place);
    }
}

std::optional<std::size_t> PageSignals::placeOf(const std::string& instance) const {
    const auto found = places.find(instance);
    return found != places.end() ? std::optional(found->second) : std::nullopt;
}

PageJson PageSignals::json() {
    PageJson all = PageJson::array();
    for (const std::size_t signal : chosen) {
        all.push_back(jsonOf(signal));
    }
    return all;
}

std::string PageSignals::takeText(const std::string& text, std::size_t limit) {
    std::string taken = boundedText(text, limit);
    if (taken.size() > room) {
        ++leftTexts;
        return {};
    }
    room -= taken.size();
    return taken;
}

PageJson PageSignals::jsonOf(std::size_t signal) {
    const Curve& curve = curves.curve(signal);
    const baseSignalDef_t& definition = catalog.signals()[signal]->def;
    const auto row = messages.rowOfSignal(signal);
    const auto number = [&curve](double value) {
        return curve.kind() == CurveKind::Empty ? PageJson() : pageNumber(value);
    };
    return {{"instance", boundedText(definition.instance, page_sizes::name)},
            {"message", row ? PageJson(*row) : PageJson()},
            {"unit", boundedText(definition.unit, page_sizes::name)},
            {"comment", takeText(definition.comment, page_sizes::comment)},
            {"kind", curveKindName(curve.kind())},
            {"float", isFloating(definition)},
            {"factor", pageNumber(definition.scale)},
            {"offset", pageNumber(definition.offset)},
            {"min", number(curve.minimum())},
            {"max", number(curve.maximum())},
            {"last", number(curve.last())},
            {"count", curve.count()},
            {"changes", curve.changes()},
            {"resolution", microsecondsUp(curve.resolution())},
            {"texts", textsOf(curve)},
            {"curve", nullptr},
            {"spark", sparkOf(curve)},
            {"panel", panelOf[signal] ? PageJson(*panelOf[signal]) : PageJson()}};
}

/// Those of values that may have come.
PageJson PageSignals::textsOf(const Curve& curve) {
    const baseSignalDef_t& definition = curve.definition();
    PageJson texts = PageJson::object();
    if (curve.kind() == CurveKind::Empty) {
        return texts;
    }
    for (const auto& [raw, text] : definition.valueDescriptions) {
        const double value = numberOfRaw(definition.type, raw);
        if (value < curve.minimum() || value > curve.maximum()) {
            continue;
        }
        if (texts.size() < page_sizes::texts) {
            texts[rawText(raw, definition)] = takeText(text, page_sizes::name);
        } else {
            ++leftTexts;
        }
    }
    return texts;
}

PageJson PageSignals::sparkOf(const Curve& curve) const {
    PageJson levels = PageJson::array();
    if (curve.kind() != CurveKind::Empty) {
        for (const auto level :
             sparkline(curve.points(), span.from, span.to, curve.kind() == CurveKind::Line)) {
            levels.push_back(level ? PageJson(*level) : PageJson());
        }
    }
    return levels;
}

std::vector<std::size_t> PageSignals::shares(std::size_t total) const {
    std::vector<Demand> demands;
    std::string bytes;
    for (const std::size_t signal : chosen) {
        bytes.clear();
        packCurve(curves.curve(signal).points(), span.from, bytes);
        demands.push_back({bytes.size(), panelOf[signal] ? panelWeight : 1});
    }
    return fairShares(demands, total);
}

void PageSignals::addCurves(PageJson& signals, std::size_t total, std::string& bytes) const {
    const std::vector<std::size_t> share = shares(total);
    for (std::size_t place = 0; place < chosen.size(); ++place) {
        const Curve& curve = curves.curve(chosen[place]);
        if (!curve.points().empty()) {
            signals[place]["curve"] = packed(curve, share[place], bytes, signals[place]);
        }
    }
}

/// The points as far as `share` bytes hold them, else as many columns of them as fit.
PageJson PageSignals::packed(const Curve& curve, std::size_t share, std::string& bytes,
                             PageJson& signal) const {
    std::string own;
    PackedValues form = packCurve(curve.points(), span.from, own);
    std::size_t number = curve.points().size();
    std::size_t columns = number;
    while (own.size() > share && columns > 1) {
        columns = std::clamp<std::size_t>(columns * share / own.size(), 1, columns - 1);
        const auto points = curve.reduced(curve.firstTime(), curve.lastTime(), columns);
        own.clear();
        form = packCurve(points, span.from, own);
        number = points.size();
        const std::uint64_t width = (curve.lastTime() - curve.firstTime()) / columns + 1;
        signal["resolution"] = microsecondsUp(std::max(curve.resolution(), width));
    }
    const std::size_t at = bytes.size();
    bytes += own;
    return {
        {"at", at}, {"points", number}, {"values", form == PackedValues::Differences ? "delta" : "double"}};
}

} // namespace rksignal
