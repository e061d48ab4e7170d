#include "relevance/Memories.h"

#include <cstdint>
#include <cstring>
#include <memory>

namespace nookery::relevance {
namespace {

constexpr Timestamp captured{1.6e9};

}  // namespace

Uuid idOfRecord(std::size_t index) {
    Uuid::Bytes bytes{0x40};
    const auto number = static_cast<std::uint64_t>(index);
    std::memcpy(&bytes[8], &number, sizeof number);
    return Uuid(bytes);
}

std::size_t recordOfId(const Uuid& id) {
    std::uint64_t number = 0;
    std::memcpy(&number, &id.bytes()[8], sizeof number);
    return static_cast<std::size_t>(number);
}

CrumbItemList memoriesOf(const std::vector<Record>& records) {
    CrumbItemList items;
    items.reserve(records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        CrumbItem item;
        item.id = idOfRecord(i);
        item.title = records[i].title;
        item.note = records[i].note;
        item.text = records[i].text;
        item.createdAt = captured;
        items.push_back(std::make_shared<const CrumbItem>(std::move(item)));
    }
    return items;
}

std::vector<MemoryAttributes> attributesOf(const std::vector<Record>& records) {
    std::vector<MemoryAttributes> attributes;
    attributes.reserve(records.size());
    for (const Record& record : records) attributes.push_back({record.tags, {}, ""});
    return attributes;
}

}  // namespace nookery::relevance
