#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace nookery {

/// A distinct token of the library, numbered in the order of first appearance.
using TokenId = std::uint32_t;

/// The distinct tokens of the library, found by any part of them.
///
/// For every three neighbouring letters, and for one and two letters at a token's start and end,
/// a list says which tokens hold them, so that a search for a part of a word looks at a few
/// thousand tokens and never at the memories. Tokens are never removed; the index makes a new
/// vocabulary when it compacts.
class Vocabulary {
  public:
    Vocabulary();

    TokenId intern(std::string_view token);
    std::optional<TokenId> find(std::string_view token) const;
    std::string_view text(TokenId token) const {
        return std::string_view(text_).substr(starts_[token], starts_[token + 1] - starts_[token]);
    }
    std::size_t size() const { return starts_.size() - 1; }

    /// Equal for words with the same English stem, and 0 for what has no stem.
    std::uint32_t stemKey(TokenId token) const { return stemKeys_[token]; }
    static std::uint32_t stemKeyOf(std::string_view word);

    // Each of these answers tokens in ascending order.

    /// Tokens that hold a part of at least three letters.
    std::vector<TokenId> containing(std::string_view part) const;
    /// Tokens that begin or end with a part of at least one letter.
    std::vector<TokenId> startingWith(std::string_view part) const;
    std::vector<TokenId> endingWith(std::string_view part) const;
    /// Tokens with a word's stem, the word itself left out.
    std::vector<TokenId> sharingStem(std::string_view word) const;
    /// Tokens one letter added, dropped, changed or swapped with its neighbour away from a word
    /// of at least four letters.
    std::vector<TokenId> oneEditAway(std::string_view word) const;
    /// Tokens that go on after what is one edit away from a word, whose first two letters they
    /// share.
    std::vector<TokenId> beginningOneEditAway(std::string_view word) const;

    std::size_t byteCount() const;

  private:
    using TokenList = std::vector<TokenId>;

    /// A place in the hash table; the hash tells most other tokens apart without their text.
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t entry = 0;  ///< token + 1, 0 = free
    };

    std::size_t slotOf(std::string_view token, std::uint32_t hash) const;
    void growSlots();
    void addGrams(TokenId token);
    void addGram(const std::array<char32_t, 3>& gram, TokenId token);
    const TokenList& tokensWith(const std::array<char32_t, 3>& gram) const;
    const TokenList& shortestList(const std::u32string& bounded) const;

    std::string text_;                   // all tokens, one after the other
    std::vector<std::uint32_t> starts_;  // where each begins, and the end of the last
    std::vector<Slot> slots_;
    std::vector<std::uint32_t> stemKeys_;
    std::vector<TokenList> asciiGrams_;  // by the letters' places in the alphabet
    std::unordered_map<std::uint64_t, TokenList> otherGrams_;
};

/// Whether one letter added, dropped, changed or swapped with its neighbour makes one word of the
/// other; false for equal words. Letters are code points.
bool isOneEditAway(std::string_view first, std::string_view second);

}  // namespace nookery
