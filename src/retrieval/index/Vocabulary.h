#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "retrieval/index/TokenTable.h"

namespace nookery {

/// The distinct tokens of the library, with a trigram index that finds them by any part.
///
/// For every three neighbouring letters, and for one and two letters at a token's start and end,
/// a list names the tokens that hold them. A search for a part of a word so reads a few thousand
/// tokens and never the memories. Tokens are never removed; the index makes a new vocabulary when
/// it compacts.
class Vocabulary {
  public:
    Vocabulary();

    /// The token's number, a new one when the token is new.
    TokenId intern(std::string_view token);
    std::optional<TokenId> find(std::string_view token) const { return tokens_.find(token); }
    std::string_view text(TokenId token) const { return tokens_.text(token); }
    std::size_t size() const { return tokens_.size(); }

    /// A hash of the word's English stem, the same for all forms of a word; 0 for a word that is
    /// not stemmed.
    std::uint32_t stemKey(TokenId token) const { return stemKeys_[token]; }
    static std::uint32_t stemKeyOf(std::string_view word);

    // All of these answer in ascending order.

    /// The tokens that hold a part of at least three letters.
    std::vector<TokenId> containing(std::string_view part) const;
    /// The tokens that begin or end with a part of at least one letter.
    std::vector<TokenId> startingWith(std::string_view part) const;
    std::vector<TokenId> endingWith(std::string_view part) const;
    /// The tokens that have the same stem as a word, without the word itself.
    std::vector<TokenId> sharingStem(std::string_view word) const;
    /// The tokens at an edit distance of one from a word (see `isOneEditAway`). None for a word of
    /// fewer than four letters.
    std::vector<TokenId> oneEditAway(std::string_view word) const;
    /// The longer tokens of which a prefix is one edit away from a word, among those that begin
    /// with the word's first two letters. None for a word of fewer than four letters.
    std::vector<TokenId> prefixOneEditAway(std::string_view word) const;

    std::size_t byteCount() const;

  private:
    using TokenList = std::vector<TokenId>;

    void addGrams(TokenId token);
    void addGram(const std::array<char32_t, 3>& gram, TokenId token);
    const TokenList& tokensWith(const std::array<char32_t, 3>& gram) const;
    const TokenList& shortestList(const std::u32string& bounded) const;

    TokenTable tokens_;
    std::vector<std::uint32_t> stemKeys_;
    std::vector<TokenList> asciiGrams_;  // by `asciiGramPlace`
    std::unordered_map<std::uint64_t, TokenList> otherGrams_;
};

/// Whether one edit turns one word into the other: a letter added, dropped, changed, or swapped
/// with its neighbour. False for equal words. Letters are code points.
bool isOneEditAway(std::string_view first, std::string_view second);

}  // namespace nookery
