#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "retrieval/index/Vocabulary.h"

namespace nookery {

/// The number of a memory in the index.
using Ordinal = std::uint32_t;

/// The sections of a memory's token stream, in the order of writing. The three with "AllScripts"
/// are written only when that form of the field differs from the normal form.
enum class Section : std::uint8_t {
    lineBreak = 0,  ///< no section but a break within one, which no match crosses
    title,
    note,
    contents,
    titleAllScripts,
    noteAllScripts,
    contentsAllScripts,
    details,  ///< link, file name, group, facts and tags, a line for each
    people,   ///< a line for each name
    tags,     ///< the numbers of tags, not tokens
    end = 15,
};

/// Writes one memory's stream as numbers with seven bits in each byte. The first 16 values stand
/// for sections.
class TokenStreamWriter {
  public:
    void clear() { bytes_.clear(); }
    void begin(Section section) { write(static_cast<std::uint32_t>(section)); }
    void add(TokenId token) { write(token + firstToken); }
    std::span<const std::uint8_t> bytes() const { return bytes_; }

    static constexpr std::uint32_t firstToken = 16;

  private:
    void write(std::uint32_t value) {
        for (; value >= 0x80; value >>= 7) {
            bytes_.push_back(static_cast<std::uint8_t>(value | 0x80));
        }
        bytes_.push_back(static_cast<std::uint8_t>(value));
    }

    std::vector<std::uint8_t> bytes_;
};

/// Reads a stream from its beginning. Valid while its memory stays in the index.
class TokenStream {
  public:
    explicit TokenStream(const std::uint8_t* bytes) : bytes_(bytes) {}

    /// Moves to the next token or line break; false at the end.
    bool next() {
        while (true) {
            const std::uint32_t value = read();
            if (value >= TokenStreamWriter::firstToken) {
                token_ = value - TokenStreamWriter::firstToken;
                atToken_ = true;
                return true;
            }
            const auto section = static_cast<Section>(value);
            if (section == Section::end) return false;
            if (section != Section::lineBreak) section_ = section;
            atToken_ = false;
            return true;
        }
    }

    /// Whether `next` reached a token, and not a line break or the beginning of a section.
    bool atToken() const { return atToken_; }
    TokenId token() const { return token_; }
    Section section() const { return section_; }

  private:
    std::uint32_t read() {
        std::uint32_t value = *bytes_++;
        if (value < 0x80) return value;
        value &= 0x7F;
        for (unsigned shift = 7;; shift += 7) {
            const std::uint32_t byte = *bytes_++;
            value |= (byte & 0x7F) << shift;
            if (byte < 0x80) return value;
        }
    }

    const std::uint8_t* bytes_;
    TokenId token_ = 0;
    Section section_ = Section::lineBreak;
    bool atToken_ = false;
};

/// The forward index: the streams of all memories by ordinal, in large blocks that never move.
class TokenStreams {
  public:
    /// Adds the stream of the next ordinal. `bytes` must end with Section::end.
    void append(std::span<const std::uint8_t> bytes);
    TokenStream at(Ordinal ordinal) const { return TokenStream(places_[ordinal]); }
    /// Asks the processor to load a stream ahead of its use.
    void prefetch(Ordinal ordinal) const { __builtin_prefetch(places_[ordinal]); }
    std::size_t size() const { return places_.size(); }
    std::size_t byteCount() const;

  private:
    static constexpr std::size_t blockSize = 1 << 20;

    std::vector<std::unique_ptr<std::uint8_t[]>> blocks_;
    std::uint8_t* free_ = nullptr;
    std::size_t freeCount_ = 0;
    std::size_t byteCount_ = 0;
    std::vector<const std::uint8_t*> places_;
};

}  // namespace nookery
