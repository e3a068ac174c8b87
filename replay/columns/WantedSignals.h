/// \file
/// The signals of which tables of all messages have rows, and the texts of their columns.
#pragma once

#include "catalog/Catalog.h"
#include "columns/ColumnSet.h"
#include "columns/ColumnSink.h"
#include "columns/SignalReader.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace rksignal {

class WantedSignals {
  public:
    struct Signal {
        SignalReader reader;
        std::int32_t instance; ///< its number in the texts of instances
    };

    /// The catalog must outlive this.
    WantedSignals(const Catalog& catalog, std::vector<bool> wanted);

    /// Takes up what the replay has added to the catalog.
    void extend();
    /// By index in Catalog::signals(); null: not wanted.
    Signal* find(std::size_t index) { return places[index] != none ? &signals[places[index]] : nullptr; }
    /// The same by identifier.
    Signal* findId(unsigned long id) { return find(catalog.indexOf(id)); }
    std::vector<std::size_t> indices() const; ///< of all

    const std::shared_ptr<TextDictionary>& instances() const { return instanceNames; }
    const std::shared_ptr<TextDictionary>& texts() const { return valueTexts; }
    /// The names of the kinds, by number.
    static std::shared_ptr<TextDictionary> buses();

  private:
    static constexpr std::uint32_t none = ~std::uint32_t{0};
    void add(std::size_t index);

    const Catalog& catalog;
    std::vector<bool> wanted;
    std::vector<std::uint32_t> places; ///< in `signals`, by index in the catalog
    std::vector<Signal> signals;
    std::shared_ptr<TextDictionary> instanceNames = std::make_shared<TextDictionary>();
    std::shared_ptr<TextDictionary> valueTexts = std::make_shared<TextDictionary>();
};

} // namespace rksignal
