#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nookery {

/// The number of a distinct token, in the order of first appearance.
using TokenId = std::uint32_t;

/// Numbers distinct tokens: a hash table over their texts.
class TokenTable {
  public:
    /// Begins with room for so many slots, a power of two.
    explicit TokenTable(std::size_t slotCount = 1024);

    /// The token's number, a new one when the token is new.
    TokenId intern(std::string_view token);
    std::optional<TokenId> find(std::string_view token) const;
    std::string_view text(TokenId token) const {
        return std::string_view(text_).substr(starts_[token], starts_[token + 1] - starts_[token]);
    }
    std::size_t size() const { return starts_.size() - 1; }
    std::size_t byteCount() const;

  private:
    /// A slot of the hash table. Most tokens are short, and their heads are all of them: no text is
    /// read to tell them apart.
    struct Slot {
        std::uint64_t head = 0;
        std::uint32_t hash = 0;
        std::uint32_t entry = 0;  ///< token + 1, 0 = free
    };

    static Slot slotFor(std::string_view token);
    std::size_t placeOf(const Slot& wanted, std::string_view token) const;
    void growSlots();

    std::string text_;                   // the texts of all tokens, one after another
    std::vector<std::uint32_t> starts_;  // by token, and at last the end of `text_`
    std::vector<Slot> slots_;
};

/// The 32-bit hash of a token's text.
std::uint32_t tokenHash(std::string_view text);

}  // namespace nookery
