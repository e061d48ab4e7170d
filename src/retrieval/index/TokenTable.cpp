#include "retrieval/index/TokenTable.h"

#include <bit>
#include <cstring>
#include <functional>
#include <utility>

namespace nookery {

namespace {

/// Tokens of up to so many bytes are told apart by their heads.
constexpr std::size_t mostHeadBytes = 7;

template <typename Number>
Number load(const char* bytes) {
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

/// The first seven bytes of a text, and in the highest one its length, or 8 when it is longer: the
/// same for no two texts of up to seven bytes. Numbers hold the lowest byte first.
std::uint64_t headOf(std::string_view text) {
    const char* bytes = text.data();
    const std::size_t size = text.size();
    constexpr std::uint64_t firstSeven = ~std::uint64_t{0} >> 8;
    if (size > mostHeadBytes) {
        return (load<std::uint64_t>(bytes) & firstSeven) | std::uint64_t{8} << 56;
    }
    std::uint64_t head = std::uint64_t{size} << 56;
    if (size >= 4) {
        head |= load<std::uint32_t>(bytes);
        return head | std::uint64_t{load<std::uint32_t>(bytes + size - 4)} << 8 * (size - 4);
    }
    for (std::size_t i = 0; i < size; ++i) {
        head |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << 8 * i;
    }
    return head;
}

std::uint32_t mixed(std::uint64_t head) {
    head *= 0x9e3779b97f4a7c15ULL;
    return static_cast<std::uint32_t>(head >> 32 ^ head >> 15);
}

}  // namespace

static_assert(std::endian::native == std::endian::little);

std::uint32_t tokenHash(std::string_view text) {
    return static_cast<std::uint32_t>(std::hash<std::string_view>{}(text));
}

TokenTable::TokenTable(std::size_t slotCount) : starts_{0}, slots_(slotCount) {}

/// Without its entry.
TokenTable::Slot TokenTable::slotFor(std::string_view token) {
    const std::uint64_t head = headOf(token);
    return {head, token.size() > mostHeadBytes ? tokenHash(token) : mixed(head), 0};
}

std::size_t TokenTable::placeOf(const Slot& wanted, std::string_view token) const {
    const std::size_t mask = slots_.size() - 1;
    const bool isLong = token.size() > mostHeadBytes;
    for (std::size_t place = wanted.hash & mask;; place = (place + 1) & mask) {
        const Slot& slot = slots_[place];
        if (slot.entry == 0) return place;
        if (slot.head != wanted.head || slot.hash != wanted.hash) continue;
        if (!isLong || text(slot.entry - 1) == token) return place;
    }
}

void TokenTable::growSlots() {
    const std::vector<Slot> old(std::exchange(slots_, std::vector<Slot>(slots_.size() * 2)));
    const std::size_t mask = slots_.size() - 1;
    for (const Slot& moved : old) {
        if (moved.entry == 0) continue;
        std::size_t slot = moved.hash & mask;
        while (slots_[slot].entry != 0) slot = (slot + 1) & mask;
        slots_[slot] = moved;
    }
}

TokenId TokenTable::intern(std::string_view token) {
    const Slot wanted = slotFor(token);
    Slot& slot = slots_[placeOf(wanted, token)];
    if (slot.entry != 0) return slot.entry - 1;
    const auto id = static_cast<TokenId>(size());
    slot = {wanted.head, wanted.hash, id + 1};
    text_ += token;
    starts_.push_back(static_cast<std::uint32_t>(text_.size()));
    if (size() * 10 > slots_.size() * 7) growSlots();
    return id;
}

std::optional<TokenId> TokenTable::find(std::string_view token) const {
    const std::uint32_t entry = slots_[placeOf(slotFor(token), token)].entry;
    return entry == 0 ? std::nullopt : std::optional<TokenId>(entry - 1);
}

std::size_t TokenTable::byteCount() const {
    return text_.capacity() + sizeof(std::uint32_t) * starts_.capacity() +
           sizeof(Slot) * slots_.capacity();
}

}  // namespace nookery
