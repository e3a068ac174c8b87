#include "trace/mdf/MdfField.h"

#include <cmath>
#include <limits>

namespace rksignal {
namespace {

// cn_data_type
constexpr std::uint8_t signedLittle = 2;
constexpr std::uint8_t signedBig = 3;
constexpr std::uint8_t floatLittle = 4;
constexpr std::uint8_t floatBig = 5;
constexpr std::uint8_t byteArray = 10;

constexpr unsigned wordBits = 64;

/// \return the integer that a factor or an offset is, as long as products of it mean something
std::optional<std::uint64_t> integer(double value) {
    constexpr double limit = 1e15;
    const bool isInteger = std::abs(value) < limit && std::floor(value) == value;
    return isInteger ? std::optional(static_cast<std::uint64_t>(static_cast<std::int64_t>(value)))
                     : std::nullopt;
}

} // namespace

MdfChannel::MdfChannel(MdfFile& file, const MdfBlock& block)
    : type(block.data<std::uint8_t>(0)), syncType(block.data<std::uint8_t>(1)),
      dataType(block.data<std::uint8_t>(2)), bitOffset(block.data<std::uint8_t>(3)),
      byteOffset(block.data<std::uint32_t>(4)), bits(block.data<std::uint32_t>(8)), data(block.link(5)) {
    constexpr std::uint64_t valuesAt = 24; // in a CC block: the offset, then the factor
    constexpr std::uint8_t none = 0;
    constexpr std::uint8_t linear = 1;
    constexpr std::uint8_t firstText = 7;
    const MdfBlock conversion(file, block.link(4));
    const std::uint8_t kind = conversion.is("CC") ? conversion.data<std::uint8_t>(0) : none;
    isLinear = kind <= linear || kind >= firstText; // texts for values change none
    if (kind == linear) {
        addend = conversion.data<double>(valuesAt);
        factor = conversion.data<double>(valuesAt + 8);
    }
}

/// The bits as they are.
std::optional<MdfField> MdfChannel::raw(std::uint32_t size) const {
    MdfField field{.exists = true};
    if (bits == 0 || type == VirtualData || type == VirtualMaster) {
        return field;
    }
    const std::uint64_t bytes = (std::uint64_t{bitOffset} + bits + 7) / 8;
    if (bytes > sizeof(std::uint64_t) || byteOffset > size || bytes > size - byteOffset ||
        dataType > byteArray) {
        return std::nullopt;
    }
    field.isBigEndian = dataType % 2 == 1 || dataType == byteArray;
    field.offset = byteOffset;
    field.shift = static_cast<std::uint8_t>(bitOffset + (field.isBigEndian ? wordBits - 8 * bytes : 0));
    field.mask = ~std::uint64_t{0} >> (wordBits - bits);
    return field;
}

std::optional<MdfField> MdfChannel::field(std::uint32_t size) const {
    const auto constant = integer(addend);
    const auto times = integer(factor);
    auto field = raw(size);
    const bool isIndex = (type == VirtualData || type == VirtualMaster) && factor != 0;
    const bool isNumber = dataType < floatLittle || dataType == byteArray;
    if (!field || !isNumber || !isLinear || isIndex || !constant || !times) {
        return std::nullopt;
    }
    field->factor = *times;
    field->addend = *constant;
    return field;
}

std::optional<MdfTime> MdfChannel::time(std::uint32_t size) const {
    constexpr double nanosecondsPerSecond = 1e9;
    constexpr double nearly = 1e-9;
    constexpr double longestUnit = 1e9;
    const auto field = raw(size);
    const bool isFloat = dataType == floatLittle || dataType == floatBig;
    if (!field || !isLinear || dataType > floatBig || (isFloat && bits != 32 && bits != wordBits)) {
        return std::nullopt;
    }
    MdfTime time{.field = *field, .bits = bits, .factor = factor, .offset = addend};
    if (type == VirtualMaster) {
        time.kind = MdfTime::Kind::Index;
    } else if (isFloat) {
        time.kind = bits == 32 ? MdfTime::Kind::Float : MdfTime::Kind::Double;
    } else {
        const bool isSigned = dataType == signedLittle || dataType == signedBig;
        time.kind = isSigned ? MdfTime::Kind::Signed : MdfTime::Kind::Unsigned;
        const double unit = std::round(factor * nanosecondsPerSecond);
        const bool isWhole =
            std::abs(unit - factor * nanosecondsPerSecond) < nearly * unit && unit <= longestUnit;
        time.unit = addend == 0 && isWhole ? static_cast<std::uint64_t>(unit) : 0;
    }
    return time;
}

std::optional<std::int64_t> MdfTime::of(const std::uint8_t* record, std::uint64_t index) const {
    constexpr auto latest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    constexpr long double limit = 9.2e18L; // a little less
    constexpr long double nanosecondsPerSecond = 1e9L;
    const std::uint64_t word = kind == Kind::Index ? index : field.of(record);
    if (unit > 0 && kind == Kind::Unsigned) {
        return word <= latest / unit ? std::optional(static_cast<std::int64_t>(word * unit)) : std::nullopt;
    }
    long double value = 0;
    switch (kind) {
    case Kind::Float:
        value = std::bit_cast<float>(static_cast<std::uint32_t>(word));
        break;
    case Kind::Double:
        value = std::bit_cast<double>(word);
        break;
    case Kind::Signed:
        value = bits == 0 ? 0 : static_cast<std::int64_t>(word << (wordBits - bits)) >> (wordBits - bits);
        break;
    default:
        value = word;
    }
    const long double time =
        unit > 0 ? value * unit : (value * factor + static_cast<long double>(offset)) * nanosecondsPerSecond;
    return std::abs(time) < limit ? std::optional(std::llround(time)) : std::nullopt;
}

} // namespace rksignal
