#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nookery {

/// Turns a text into a vector of unit length whose direction stands for its meaning. Two texts of
/// like meaning have a cosine near 1, two unrelated ones near 0. Both embedding functions are pure
/// and take milliseconds. They give none for a text that the model cannot understand: empty, or in
/// a language that it was not made for. Any thread.
class TextEmbedder {
  public:
    virtual ~TextEmbedder() = default;

    /// The name and version stored beside each vector. Vectors of different models never meet.
    virtual std::string modelName() const = 0;
    virtual std::size_t dimension() const = 0;

    virtual std::optional<std::vector<float>> embedMemory(std::string_view text) const = 0;
    virtual std::optional<std::vector<float>> embedQuery(std::string_view text) const = 0;
};

}  // namespace nookery
