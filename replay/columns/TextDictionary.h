/// \file
/// The texts that the indices of a column stand for.
#pragma once

#include "columns/ArrowData.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace rksignal {

/// Texts, each once, numbered from 0 on in the order in which they came. Batches share one copy of them until
/// there are more.
class TextDictionary {
  public:
    /// \return the number of the text \throws Error if all texts together would have 2 GB
    std::int32_t add(std::string_view text);
    std::size_t size() const { return ends.size() - 1; }

    /// What is added from now on is for one batch: texts that come from values and have no end.
    void keep() { kept = size(); }
    /// A batch has been given out: forgets what has been added since keep(), if that was called.
    void forget();

    /// An array of all texts (format `u`).
    void exportTo(ArrowArray& out);

  private:
    struct Content {
        std::vector<std::int32_t> ends; ///< behind each text, after a 0
        std::string characters;
    };
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };

    std::unordered_map<std::string, std::int32_t, Hash, std::equal_to<>> numbers;
    std::vector<std::int32_t> ends{0};
    std::string characters;
    std::shared_ptr<const Content> shared; ///< null: there are others by now
    std::size_t kept = ~std::size_t{0};
};

} // namespace rksignal
