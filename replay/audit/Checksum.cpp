#include "audit/Checksum.h"

#include "text/ParseNumber.h"

#include <algorithm>
#include <utility>

namespace rksignal {
namespace {

using Kind = ChecksumRule::Kind;
using Mode = ChecksumRule::DataIdMode;
using Bytes = std::span<const std::uint8_t>;

constexpr std::array<std::pair<std::string_view, Kind>, 7> ruleNames{{{"xor", Kind::Xor},
                                                                      {"sum", Kind::Sum},
                                                                      {"crc8-j1850", Kind::Crc8J1850},
                                                                      {"crc8-h2f", Kind::Crc8H2f},
                                                                      {"e2e1", Kind::E2e1},
                                                                      {"e2e2", Kind::E2e2},
                                                                      {"e2e5", Kind::E2e5}}};

constexpr std::array<std::pair<std::string_view, Mode>, 4> modeNames{
    {{"both", Mode::Both}, {"alt", Mode::Alt}, {"low", Mode::Low}, {"nibble", Mode::Nibble}}};

/// What a CRC of 8 bits does with each byte.
constexpr std::array<std::uint8_t, 256> crcTable(unsigned polynomial) {
    std::array<std::uint8_t, 256> table{};
    for (unsigned byte = 0; byte < table.size(); ++byte) {
        unsigned crc = byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x80U) != 0 ? (crc << 1U ^ polynomial) & 0xFFU : crc << 1U;
        }
        table[byte] = static_cast<std::uint8_t>(crc);
    }
    return table;
}

constexpr auto tableOf1D = crcTable(0x1D);
constexpr auto tableOf2F = crcTable(0x2F);

std::uint8_t crc8(const std::array<std::uint8_t, 256>& table, Bytes bytes, std::uint8_t crc) {
    for (const std::uint8_t byte : bytes) {
        crc = table[crc ^ byte];
    }
    return crc;
}

/// Polynomial 0x1021, most significant bit first.
std::uint16_t crc16(Bytes bytes, std::uint16_t start) {
    unsigned crc = start;
    for (const std::uint8_t byte : bytes) {
        crc ^= unsigned{byte} << 8U;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x8000U) != 0 ? (crc << 1U ^ 0x1021U) & 0xFFFFU : crc << 1U;
        }
    }
    return static_cast<std::uint16_t>(crc);
}

/// The payload without its checksum.
struct ChecksummedParts {
    Bytes before;
    Bytes behind;
    std::uint8_t counter; ///< of profiles 1 and 2
};

ChecksummedParts partsOf(Bytes payload, std::size_t at, std::size_t bytes) {
    const Bytes behind = payload.subspan(at + bytes);
    return {payload.first(at), behind,
            behind.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(behind.front() & 0xFU)};
}

std::uint8_t crc8(const std::array<std::uint8_t, 256>& table, const ChecksummedParts& parts,
                  std::uint8_t start) {
    return crc8(table, parts.behind, crc8(table, parts.before, start));
}

std::uint8_t profile1(const ChecksumRule& rule, const ChecksummedParts& parts) {
    const std::array<std::uint8_t, 2> id = {static_cast<std::uint8_t>(rule.dataId & 0xFFU),
                                            static_cast<std::uint8_t>(rule.dataId >> 8U)};
    std::uint8_t crc = 0;
    switch (rule.mode) {
    case Mode::Both:
        crc = crc8(tableOf1D, id, crc);
        break;
    case Mode::Alt:
        crc = crc8(tableOf1D, Bytes(id).subspan(parts.counter % 2, 1), crc);
        break;
    case Mode::Low:
        crc = crc8(tableOf1D, Bytes(id).first(1), crc);
        break;
    case Mode::Nibble:
        crc = crc8(tableOf1D, std::array<std::uint8_t, 2>{id[0], 0}, crc);
        break;
    }
    return crc8(tableOf1D, parts, crc);
}

std::uint8_t profile2(const ChecksumRule& rule, const ChecksummedParts& parts) {
    const std::uint8_t crc = crc8(tableOf2F, parts, 0xFF);
    return crc8(tableOf2F, Bytes(rule.dataIds).subspan(parts.counter, 1), crc) ^ 0xFFU;
}

std::uint16_t profile5(const ChecksumRule& rule, const ChecksummedParts& parts) {
    const std::array<std::uint8_t, 2> id = {static_cast<std::uint8_t>(rule.dataId & 0xFFU),
                                            static_cast<std::uint8_t>(rule.dataId >> 8U)};
    return crc16(id, crc16(parts.behind, crc16(parts.before, 0xFFFF)));
}

std::uint8_t exclusiveOr(Bytes bytes, std::uint8_t start) {
    for (const std::uint8_t byte : bytes) {
        start = start ^ byte;
    }
    return start;
}

std::uint8_t sum(Bytes bytes, std::uint8_t start) {
    for (const std::uint8_t byte : bytes) {
        start = static_cast<std::uint8_t>(start + byte);
    }
    return start;
}

std::optional<std::uint16_t> parseDataId(std::string_view text) {
    return text.starts_with("0x") ? parseNumber<std::uint16_t>(text.substr(2), 16)
                                  : parseNumber<std::uint16_t>(text);
}

bool parseDataIds(std::string_view text, std::array<std::uint8_t, 16>& ids) {
    if (text.size() != 2 && text.size() != 2 * ids.size()) {
        return false;
    }
    for (std::size_t i = 0; i < ids.size(); ++i) {
        const auto id = parseNumber<std::uint8_t>(text.substr(2 * i % text.size(), 2), 16);
        if (!id) {
            return false;
        }
        ids[i] = *id;
    }
    return true;
}

/// What stands before the next colon; the text loses both.
std::string_view takePart(std::string_view& text) {
    const std::size_t colon = text.find(':');
    const std::string_view part = text.substr(0, colon);
    text.remove_prefix(colon == text.npos ? text.size() : colon + 1);
    return part;
}

/// \return whether the parameters are those that the rule takes
bool parseParameters(std::string_view text, bool hasParameters, ChecksumRule& rule) {
    switch (rule.kind) {
    case Kind::E2e2:
        return parseDataIds(text, rule.dataIds);
    case Kind::E2e1:
    case Kind::E2e5: {
        const auto id = parseDataId(takePart(text));
        rule.dataId = id.value_or(0);
        if (!id || text.empty() || rule.kind == Kind::E2e5) {
            return id && text.empty();
        }
        const auto mode = std::find_if(modeNames.begin(), modeNames.end(),
                                       [text](const auto& each) { return each.first == text; });
        rule.mode = mode == modeNames.end() ? Mode::Both : mode->second;
        return mode != modeNames.end();
    }
    default:
        return !hasParameters;
    }
}

} // namespace

std::optional<ChecksumRule> parseChecksumRule(std::string_view text) {
    const bool hasParameters = text.find(':') != text.npos;
    const std::string_view name = takePart(text);
    const auto found = std::find_if(ruleNames.begin(), ruleNames.end(),
                                    [name](const auto& each) { return each.first == name; });
    if (found == ruleNames.end()) {
        return std::nullopt;
    }
    ChecksumRule rule;
    rule.kind = found->second;
    return parseParameters(text, hasParameters, rule) ? std::optional(rule) : std::nullopt;
}

std::string_view checksumName(Kind kind) {
    constexpr std::array<std::string_view, 7> names = {
        "xor", "sum", "CRC-8 SAE J1850", "CRC-8H2F", "E2E profile 1", "E2E profile 2", "E2E profile 5"};
    return names[static_cast<std::size_t>(kind)];
}

std::uint16_t checksumOf(const ChecksumRule& rule, std::span<const std::uint8_t> payload, std::size_t at) {
    const ChecksummedParts parts = partsOf(payload, at, rule.bytes());
    switch (rule.kind) {
    case Kind::Xor:
        return exclusiveOr(parts.behind, exclusiveOr(parts.before, 0));
    case Kind::Sum:
        return sum(parts.behind, sum(parts.before, 0));
    case Kind::Crc8J1850:
        return crc8(tableOf1D, parts, 0xFF) ^ 0xFFU;
    case Kind::Crc8H2f:
        return crc8(tableOf2F, parts, 0xFF) ^ 0xFFU;
    case Kind::E2e1:
        return profile1(rule, parts);
    case Kind::E2e2:
        return profile2(rule, parts);
    case Kind::E2e5:
        return profile5(rule, parts);
    }
    return 0;
}

} // namespace rksignal
