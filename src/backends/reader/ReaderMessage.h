#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Picture.h"

namespace nookery {

// What the program and a reader process say to each other: a list of fields, and the bytes of one
// picture beside it, which are never copied among the fields. Both ends run on the same machine and
// come from the same build.

struct ReaderMessage {
    std::string fields;
    std::vector<std::uint8_t> pixels;
};

/// A message that is not what its receiver asked for: cut short, too long, or beyond its bounds.
class MalformedMessage : public std::runtime_error {
  public:
    MalformedMessage() : std::runtime_error("A message is malformed.") {}
};

/// Throws MalformedMessage unless the sender kept to what was agreed.
inline void demandWellFormed(bool isWellFormed) {
    if (!isWellFormed) throw MalformedMessage();
}

/// Puts fields one behind the other.
class FieldWriter {
  public:
    FieldWriter& integer(std::int64_t value);
    FieldWriter& real(double value);
    FieldWriter& text(std::string_view value);

    const std::string& fields() const { return fields_; }
    std::string take() { return std::move(fields_); }

  private:
    std::string fields_;
};

/// Takes fields in the order in which they were written. Everything is checked, since the sender
/// may have been taken over by the file that it reads: each function throws MalformedMessage.
/// Refers to the fields.
class FieldReader {
  public:
    explicit FieldReader(std::string_view fields) : rest_(fields) {}

    std::int64_t integer();
    /// Within the bounds, both included.
    std::int64_t integer(std::int64_t least, std::int64_t most);
    /// Finite and within the bounds, both included.
    double real(double least, double most);
    /// Any bytes.
    std::string_view bytes(std::size_t most);
    /// Made valid UTF-8.
    std::string text(std::size_t most);

    std::size_t restByteCount() const { return rest_.size(); }
    bool isAtEnd() const { return rest_.empty(); }
    /// Nothing may follow.
    void demandEnd() const { demandWellFormed(isAtEnd()); }

  private:
    std::string_view rest_;
};

/// Width and height; the pixels go beside the fields.
void writeSize(FieldWriter& writer, const Picture& picture);

/// The picture that a message carries, its longer side at most `longestSide`. Throws
/// MalformedMessage unless there are exactly as many pixels as its sides say.
Picture takePicture(FieldReader& reader, std::vector<std::uint8_t>& pixels, int longestSide);

/// Of a picture with sides of at most `longestSide`.
std::size_t mostPixelBytes(int longestSide);

}  // namespace nookery
