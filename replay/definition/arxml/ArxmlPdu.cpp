#include "definition/arxml/ArxmlPdu.h"

#include "definition/arxml/ArxmlSecuredPdu.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace rksignal {
namespace {

bool is(pugi::xml_node pdu, std::string_view tag) {
    return tag == pdu.name();
}

/// Of the transmission mode "true", else of any other.
std::optional<double> readCycleTime(pugi::xml_node pdu) {
    const pugi::xml_node timing = arxmlChild(
        arxmlChild(pdu, {"I-PDU-TIMING-SPECIFICATIONS", "I-PDU-TIMING-SPECIFICATION"}), {"I-PDU-TIMING"});
    const pugi::xml_node modes = arxmlChild(timing ? timing : pdu.child("I-PDU-TIMING-SPECIFICATION"),
                                            {"TRANSMISSION-MODE-DECLARATION"});
    pugi::xml_node cyclic =
        arxmlChild(modes, {"TRANSMISSION-MODE-TRUE-TIMING", "TRANSMISSION-MODE-FALSE-TIMING"})
            .child("CYCLIC-TIMING");
    cyclic = cyclic ? cyclic : pdu.child("I-PDU-TIMING-SPECIFICATION").child("CYCLIC-TIMING");
    const auto seconds =
        arxmlNumber(arxmlText(arxmlChild(cyclic, {"TIME-PERIOD", "REPEATING-TIME"}), {"VALUE"}));
    return seconds && *seconds > 0 && *seconds < std::numeric_limits<std::uint32_t>::max()
               ? std::optional(*seconds * 1000)
               : std::nullopt;
}

void takeFaster(std::optional<double>& cycleTime, const std::optional<double>& other) {
    if (other && (!cycleTime || *other < *cycleTime)) {
        cycleTime = other;
    }
}

} // namespace

/// Reads one PDU of a frame, in which multiplexers are counted.
class ArxmlPduReader::Frame {
  public:
    Frame(ArxmlPduReader& reader, const std::string& owner, unsigned selectors)
        : model(reader.model), reader(reader), owner(owner), message(owner), selectors(selectors) {}

    void place(pugi::xml_node element, std::uint32_t offset, std::vector<ArxmlPlacedPdu>& placed) {
        const pugi::xml_node payload =
            is(element, "SECURED-I-PDU") ? securedPayload(model, element) : element;
        if (!is(payload, "CONTAINER-I-PDU")) {
            placed.push_back({read(element), offset, {}, {}});
            return;
        }
        if (!enter(element)) {
            return;
        }
        placeContained(payload, offset + securedHeaderBytes(element), placed);
        if (is(element, "SECURED-I-PDU")) {
            ArxmlPdu footer = start(element);
            addSecuredFooter(model, element, arxmlCount(payload, {"LENGTH"}), message, footer);
            placed.push_back({std::move(footer), offset, {}, {}});
        }
        open.pop_back();
    }

  private:
    /// Whether one more PDU is read, as long as it is `open`: small files do not fill the memory by what they
    /// repeat.
    bool enter(pugi::xml_node element) {
        constexpr std::size_t deepest = 8;
        constexpr unsigned mostParts = 16384;
        constexpr std::size_t mostSignals = 8'000'000;
        if (std::find(open.begin(), open.end(), element) != open.end()) {
            model.leftOut(element, "PDU that holds itself, not decoded");
            return false;
        }
        if (open.size() >= deepest || partsRead >= mostParts || reader.signalsAndTexts >= mostSignals) {
            model.leftOut(element,
                          "not decoded: too many PDUs in one another, in a frame, or signals in all");
            return false;
        }
        ++partsRead;
        open.push_back(element);
        return true;
    }

    ArxmlPdu start(pugi::xml_node element) const {
        return {element,
                std::string(arxmlName(element)),
                arxmlComment(element),
                arxmlCount(element, {"LENGTH"}),
                readCycleTime(element),
                {},
                {element}};
    }

    ArxmlPdu read(pugi::xml_node element) {
        ArxmlPdu pdu = start(element);
        if (!enter(element)) {
            return pdu;
        }
        if (is(element, "MULTIPLEXED-I-PDU")) {
            readMultiplexed(element, pdu);
        } else if (is(element, "SECURED-I-PDU")) {
            readSecured(element, pdu);
        } else if (is(element, "CONTAINER-I-PDU")) {
            model.leftOut(element, "a container within this PDU is not decoded");
        } else {
            readPlain(element, pdu);
        }
        open.pop_back();
        return pdu;
    }

    void readPlain(pugi::xml_node element, ArxmlPdu& pdu) {
        bool hasMappings = false;
        for (const char* list :
             {"I-SIGNAL-TO-PDU-MAPPINGS", "I-SIGNAL-TO-I-PDU-MAPPINGS", "SIGNAL-TO-PDU-MAPPINGS"}) {
            for (const pugi::xml_node mapping : element.child(list).children("I-SIGNAL-TO-I-PDU-MAPPING")) {
                hasMappings = true;
                if (auto signal = readArxmlSignal(model, mapping)) {
                    reader.signalsAndTexts += 1 + signal->common.valueDescriptions.size();
                    pdu.signals.push_back(std::move(*signal));
                }
            }
        }
        const bool isOfSignals =
            is(element, "I-SIGNAL-I-PDU") || is(element, "SIGNAL-I-PDU") || is(element, "NM-PDU");
        if (!hasMappings && !isOfSignals) {
            model.note(element, std::string(element.name()) + " has no signals; its content is not decoded");
        }
    }

    void readSecured(pugi::xml_node element, ArxmlPdu& pdu) {
        const pugi::xml_node payload = securedPayload(model, element);
        std::uint32_t payloadLength = 0;
        if (arxmlText(element, {"USE-AS-CRYPTOGRAPHIC-I-PDU"}) == "true") {
            model.note(element,
                       "cryptographic PDU without its payload: only freshness and authenticator are decoded");
        } else if (payload) {
            ArxmlPdu inner = read(payload);
            payloadLength = inner.length;
            pdu.comment = pdu.comment.empty() ? inner.comment : pdu.comment;
            takeFaster(pdu.cycleTime, inner.cycleTime);
            add(pdu, std::move(inner), securedHeaderBytes(element), {});
        }
        addSecuredFooter(model, element, payloadLength, message, pdu);
    }

    /// Moves what `part` has to `pdu`. Its signals are present for `selection`, those that have a multiplexer
    /// of their own for that.
    void add(ArxmlPdu& pdu, ArxmlPdu part, std::uint32_t bytes,
             const std::optional<Multiplexing>& selection) {
        const std::size_t base = pdu.signals.size();
        for (ArxmlSignal& signal : part.signals) {
            const auto startBit = movedStartBit(signal.common.startbit, bytes);
            if (!startBit) {
                pdu.signals.resize(base);
                return model.leftOut(part.element, "PDU that ends beyond 8 KB, not decoded");
            }
            signal.common.startbit = *startBit;
            if (signal.updateBit) {
                *signal.updateBit += bytes * 8;
            }
            if (signal.multiplexing) {
                *signal.multiplexing->multiplexer += base;
            } else {
                signal.multiplexing = selection;
            }
            pdu.signals.push_back(std::move(signal));
        }
        pdu.parts.insert(pdu.parts.end(), part.parts.begin(), part.parts.end());
    }

    /// The selector's index in the signals of `pdu`; nothing if the PDU has none.
    std::optional<std::size_t> addSelector(pugi::xml_node element, ArxmlPdu& pdu) {
        const auto start = arxmlUnsigned(arxmlText(element, {"SELECTOR-FIELD-START-POSITION"}));
        const std::uint32_t bits = arxmlCount(element, {"SELECTOR-FIELD-LENGTH"});
        const auto startBit = movedStartBit(start.value_or(~std::uint64_t{0}), 0);
        if (!startBit || bits == 0 || bits > 64) {
            model.leftOut(element, "there is no usable selector field; the dynamic part is not decoded");
            return std::nullopt;
        }
        ArxmlSignal selector;
        selector.common.signal = owner + "_selector" + std::to_string(++selectors);
        selector.common.startbit = *startBit;
        selector.common.bits = static_cast<std::uint8_t>(bits);
        selector.common.endian = isArxmlBigEndian(arxmlText(element, {"SELECTOR-FIELD-BYTE-ORDER"}));
        selector.common.multiplexer = 1;
        selector.place = model.placeOf(element);
        pdu.signals.push_back(std::move(selector));
        return pdu.signals.size() - 1;
    }

    void readMultiplexed(pugi::xml_node element, ArxmlPdu& pdu) {
        const auto selector = addSelector(element, pdu);
        for (const char* list : {"DYNAMIC-PARTS", "DYNAMIC-PART"}) {
            const pugi::xml_node parts = element.child(list);
            const bool isSingle = parts.child("DYNAMIC-PART-ALTERNATIVES");
            for (const pugi::xml_node part :
                 isSingle ? element.children(list) : parts.children("DYNAMIC-PART")) {
                if (selector) {
                    addAlternatives(part, *selector, pdu);
                }
            }
        }
        for (const char* list : {"STATIC-PARTS", "STATIC-PART"}) {
            const pugi::xml_node parts = element.child(list);
            const bool isSingle = parts.child("I-PDU-REF");
            for (const pugi::xml_node part :
                 isSingle ? element.children(list) : parts.children("STATIC-PART")) {
                if (const pugi::xml_node target = model.target(part, {"I-PDU-REF"})) {
                    ArxmlPdu inner = read(target);
                    takeFaster(pdu.cycleTime, inner.cycleTime);
                    add(pdu, std::move(inner), 0, {});
                }
            }
        }
    }

    /// Alternatives of the same PDU are one, for several values of the selector.
    void addAlternatives(pugi::xml_node part, std::size_t selector, ArxmlPdu& pdu) {
        std::vector<std::pair<pugi::xml_node, std::vector<ValueRange>>> alternatives;
        for (const pugi::xml_node each :
             part.child("DYNAMIC-PART-ALTERNATIVES").children("DYNAMIC-PART-ALTERNATIVE")) {
            const pugi::xml_node target = model.target(each, {"I-PDU-REF"});
            const auto code = arxmlUnsigned(arxmlText(each, {"SELECTOR-FIELD-CODE"}));
            if (!target) {
                continue;
            }
            if (!code) {
                model.leftOut(target, "alternative without SELECTOR-FIELD-CODE, not decoded");
                continue;
            }
            if (arxmlText(each, {"INITIAL-DYNAMIC-PART"}) == "true") {
                pdu.signals[selector].initial = *code;
            }
            const auto known = std::find_if(alternatives.begin(), alternatives.end(),
                                            [&](const auto& other) { return other.first == target; });
            if (known == alternatives.end()) {
                alternatives.push_back({target, {{*code, *code}}});
            } else {
                known->second.emplace_back(*code, *code);
            }
        }
        for (auto& [target, ranges] : alternatives) {
            ArxmlPdu inner = read(target);
            takeFaster(pdu.cycleTime, inner.cycleTime);
            mergeSelector(inner, pdu.signals[selector]);
            add(pdu, std::move(inner), 0, Multiplexing{selector, std::move(ranges)});
        }
    }

    /// Alternatives repeat the selector as a signal, which knows its texts.
    void mergeSelector(ArxmlPdu& alternative, ArxmlSignal& selector) {
        for (std::size_t i = 0; i < alternative.signals.size(); ++i) {
            ArxmlSignal& signal = alternative.signals[i];
            const baseSignalDef_t& record = signal.common;
            if (record.startbit != selector.common.startbit || record.bits != selector.common.bits ||
                signal.multiplexing || record.multiplexer != 0) {
                continue;
            }
            selector.common.valueDescriptions.insert(record.valueDescriptions.begin(),
                                                     record.valueDescriptions.end());
            selector.common.comment = record.comment;
            selector.invalid = signal.invalid;
            selector.element = signal.element;
            alternative.signals.erase(alternative.signals.begin() + static_cast<std::ptrdiff_t>(i));
            for (ArxmlSignal& other : alternative.signals) {
                if (other.multiplexing && *other.multiplexing->multiplexer > i) {
                    --*other.multiplexing->multiplexer;
                }
            }
            return;
        }
    }

    void placeContained(pugi::xml_node container, std::uint32_t offset, std::vector<ArxmlPlacedPdu>& placed) {
        const std::string_view type = arxmlText(container, {"HEADER-TYPE"});
        if (type != "NO-HEADER" && !reader.hasBigEndianHeaders) {
            return model.leftOut(container, "headers with the least significant byte first are not decoded");
        }
        for (const pugi::xml_node reference :
             container.child("CONTAINED-PDU-TRIGGERING-REFS").children("CONTAINED-PDU-TRIGGERING-REF")) {
            const pugi::xml_node contained = model.target(model.follow(reference), {"I-PDU-REF"});
            if (!contained) {
                continue;
            }
            message = arxmlName(contained);
            if (type == "NO-HEADER") {
                placeStatic(contained, offset, placed);
            } else {
                placeDynamic(contained, type == "LONG-HEADER" ? PduHeader::Long : PduHeader::Short, offset,
                             placed);
            }
        }
        message = owner;
    }

    void placeDynamic(pugi::xml_node contained, PduHeader header, std::uint32_t offset,
                      std::vector<ArxmlPlacedPdu>& placed) {
        const bool isLong = header == PduHeader::Long;
        const auto id =
            arxmlUnsigned(arxmlText(contained.child("CONTAINED-I-PDU-PROPS"),
                                    {isLong ? "HEADER-ID-LONG-HEADER" : "HEADER-ID-SHORT-HEADER"}));
        constexpr std::uint64_t shortIds = 1 << 24, longIds = std::uint64_t{1} << 32;
        if (!id || *id >= (isLong ? longIds : shortIds)) {
            return model.leftOut(contained,
                                 "there is no identifier for its header in a container; not decoded");
        }
        placed.push_back({read(contained), offset, static_cast<std::uint32_t>(*id), header});
    }

    void placeStatic(pugi::xml_node contained, std::uint32_t offset, std::vector<ArxmlPlacedPdu>& placed) {
        const pugi::xml_node properties = contained.child("CONTAINED-I-PDU-PROPS");
        const auto at = arxmlUnsigned(arxmlText(properties, {"OFFSET"}));
        if (!at || *at > std::numeric_limits<std::uint16_t>::max()) {
            return model.leftOut(contained, "there is no OFFSET for its place in a container; not decoded");
        }
        if (properties.child("UPDATE-INDICATION-BIT-POSITION")) {
            model.note(contained, "its update bit is not looked at");
        }
        place(contained, offset + static_cast<std::uint32_t>(*at), placed);
    }

    ArxmlModel& model;
    ArxmlPduReader& reader;
    const std::string& owner; ///< names multiplexers
    std::string message;      ///< names freshness values and authenticators
    unsigned selectors;       ///< number of multiplexers so far
    unsigned partsRead = 0;
    std::vector<pugi::xml_node> open; ///< the PDUs that are being read
};

ArxmlPduReader::ArxmlPduReader(ArxmlModel& model) : model(model) {
    for (const pugi::xml_node system : model.elementsOf({"SYSTEM"})) {
        hasBigEndianHeaders =
            hasBigEndianHeaders &&
            arxmlText(system, {"CONTAINER-I-PDU-HEADER-BYTE-ORDER"}) != "MOST-SIGNIFICANT-BYTE-LAST";
    }
}

void ArxmlPduReader::place(pugi::xml_node pdu, std::uint32_t offset, const std::string& owner,
                           std::vector<ArxmlPlacedPdu>& placed) {
    unsigned selectors = 0;
    for (const ArxmlPlacedPdu& each : placed) {
        selectors += static_cast<unsigned>(
            std::count_if(each.pdu.signals.begin(), each.pdu.signals.end(),
                          [](const ArxmlSignal& signal) { return signal.common.multiplexer != 0; }));
    }
    Frame(*this, owner, selectors).place(pdu, offset, placed);
}

} // namespace rksignal
