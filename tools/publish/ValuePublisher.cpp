#include "publish/ValuePublisher.h"

#include "output/RowFormat.h"
#include "publish/TopicName.h"
#include "text/NumberText.h"

#include <cmath>
#include <utility>

namespace rksignal {
namespace {

/// So that no message grows without bound.
constexpr std::size_t maxBatchValues = 10'000;

void appendDouble(std::string& text, double value) {
    char digits[maxNumberText];
    text.append(digits, writeDouble(digits, value));
}

void appendRaw(std::string& text, std::uint64_t raw, signalValue_t type) {
    const bool isNumber = type != signalValue_t::Float && type != signalValue_t::Double;
    char digits[maxNumberText];
    text.append(isNumber ? "" : "\"")
        .append(digits, writeRaw(digits, raw, type))
        .append(isNumber ? "" : "\"");
}

} // namespace

ValuePublisher::ValuePublisher(const Catalog& catalog, const PublisherSettings& settings, PublishQueue& queue)
    : catalog(catalog), settings(settings), queue(queue), batchTopic(settings.prefix + "/values") {
    for (const auto& signal : catalog.signals()) {
        const std::string& instance = signal->def.instance;
        Outlet& outlet = outlets.emplace_back();
        outlet.topic = topicOf(settings.prefix, instance);
        outlet.head = "\"instance\":" + jsonSyntax.quote(instance) + ",";
        outlet.unit = jsonSyntax.quote(signal->def.unit);
    }
}

void ValuePublisher::note(std::span<const unsigned long> ids) {
    for (const unsigned long id : ids) {
        note(catalog.indexOf(id));
    }
}

void ValuePublisher::note(std::size_t signal) {
    if (!std::exchange(outlets[signal].hasChanged, true)) {
        changed.push_back(signal);
    }
}

void ValuePublisher::repeatAll() {
    for (std::size_t signal = 0; signal < outlets.size(); ++signal) {
        unsigned long raw = 0;
        unsigned long timestamp = 0;
        if (catalog.signals()[signal]->read(raw, timestamp)) {
            note(signal);
        }
    }
}

void ValuePublisher::flush(std::uint64_t now) {
    std::erase_if(changed, [this, now](std::size_t signal) {
        Outlet& outlet = outlets[signal];
        if (now < outlet.due) {
            return false;
        }
        publish(signal);
        outlet.hasChanged = false;
        outlet.due = now + settings.interval;
        return true;
    });
    if (batchValues >= maxBatchValues || (settings.batch > 0 && now >= batchEnd)) {
        endBatch();
        batchEnd = now + settings.batch;
    }
}

void ValuePublisher::end() {
    flush(~std::uint64_t{0} - settings.interval);
    endBatch();
}

void ValuePublisher::publish(std::size_t signal) {
    ++values;
    if (settings.batch > 0) {
        batch += batch.empty() ? "[{" : ",{";
        batch += outlets[signal].head;
        appendJson(batch, signal);
        ++batchValues;
        return;
    }
    std::string payload;
    if (settings.form == PayloadForm::Json) {
        payload = "{";
        appendJson(payload, signal);
    } else {
        appendValue(payload, signal);
    }
    queue.push({&outlets[signal].topic, std::move(payload), 1, settings.retained});
}

/// From behind the opening brace on.
void ValuePublisher::appendJson(std::string& text, std::size_t signal) const {
    BaseSignal& source = *catalog.signals()[signal];
    const ValueSample sample = ValueSample::of(source);
    unsigned long raw = 0;
    unsigned long timestamp = 0;
    const bool isValid = source.read(raw, timestamp);
    text += "\"value\":";
    if (isValid && std::isfinite(sample.value)) {
        appendDouble(text, sample.value);
    } else {
        text += "null";
    }
    text.append(",\"unit\":").append(outlets[signal].unit);
    if (isValid) {
        text += ",\"raw\":";
        appendRaw(text, sample.raw, source.def.type);
        const std::string words = source.getValueDescription(sample.raw);
        text.append(",\"text\":").append(words.empty() ? "\"\"" : jsonSyntax.quote(words));
        text.append(",\"time\":").append(timeText(sample.timestamp));
    }
    text += '}';
}

void ValuePublisher::appendValue(std::string& text, std::size_t signal) const {
    double value = 0;
    unsigned long timestamp = 0;
    if (catalog.signals()[signal]->read(value, timestamp)) {
        appendDouble(text, value);
    }
}

void ValuePublisher::endBatch() {
    if (batchValues > 0) {
        batch += ']';
        queue.push({&batchTopic, std::exchange(batch, {}), std::exchange(batchValues, 0), settings.retained});
    }
}

} // namespace rksignal
