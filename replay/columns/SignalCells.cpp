#include "columns/SignalCells.h"

#include "columns/ColumnMetadata.h"

namespace rksignal {
namespace {

/// Whether the physical value is the number that the raw word stands for.
bool isUnscaled(const baseSignalDef_t& signal) {
    return signal.scale == 1 && signal.offset == 0;
}

/// The narrowest type that holds every value.
CellType valueType(const baseSignalDef_t& signal) {
    if (!isUnscaled(signal) || signal.type == signalValue_t::Double) {
        return CellType::Double;
    }
    if (signal.type == signalValue_t::Float) {
        return CellType::Float;
    }
    const bool isSigned = signal.type == signalValue_t::Signed;
    if (signal.bits <= 8) {
        return isSigned ? CellType::Int8 : CellType::UInt8;
    }
    if (signal.bits <= 16) {
        return isSigned ? CellType::Int16 : CellType::UInt16;
    }
    if (signal.bits <= 32) {
        return isSigned ? CellType::Int32 : CellType::UInt32;
    }
    return isSigned ? CellType::Int64 : CellType::UInt64;
}

} // namespace

SignalCells::SignalCells(BaseSignal& signal, const SignalDefinition& definition, const std::string& name,
                         ColumnSet& columns)
    : texts(std::make_shared<TextDictionary>()), reader(signal, texts),
      value(columns.add({.name = name,
                         .type = valueType(signal.def),
                         .isNullable = true,
                         .metadata = signalMetadata(signal.def, definition)})),
      isWord(isUnscaled(signal.def)) {
    texts->keep();
}

void SignalCells::putText(ColumnSet& columns, std::uint64_t word) {
    const std::int32_t number = reader.text(word);
    if (number == SignalReader::noText) {
        return;
    }
    columns.putInteger(text, static_cast<std::uint64_t>(number));
}

} // namespace rksignal
