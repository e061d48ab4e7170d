#include "retrieval/index/TokenTable.h"

#include <functional>
#include <utility>

namespace nookery {

std::uint32_t tokenHash(std::string_view text) {
    return static_cast<std::uint32_t>(std::hash<std::string_view>{}(text));
}

TokenTable::TokenTable(std::size_t slotCount) : starts_{0}, slots_(slotCount) {}

std::size_t TokenTable::slotOf(std::string_view token, std::uint32_t hash) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t slot = hash & mask;
    while (slots_[slot].entry != 0 &&
           (slots_[slot].hash != hash || text(slots_[slot].entry - 1) != token)) {
        slot = (slot + 1) & mask;
    }
    return slot;
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
    const std::uint32_t hash = tokenHash(token);
    Slot& slot = slots_[slotOf(token, hash)];
    if (slot.entry != 0) return slot.entry - 1;
    const auto id = static_cast<TokenId>(size());
    slot = {hash, id + 1};
    text_ += token;
    starts_.push_back(static_cast<std::uint32_t>(text_.size()));
    if (size() * 10 > slots_.size() * 7) growSlots();
    return id;
}

std::optional<TokenId> TokenTable::find(std::string_view token) const {
    const std::uint32_t entry = slots_[slotOf(token, tokenHash(token))].entry;
    return entry == 0 ? std::nullopt : std::optional<TokenId>(entry - 1);
}

std::size_t TokenTable::byteCount() const {
    return text_.capacity() + sizeof(std::uint32_t) * starts_.capacity() +
           sizeof(Slot) * slots_.capacity();
}

}  // namespace nookery
