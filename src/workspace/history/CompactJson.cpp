#include "workspace/history/CompactJson.h"

#include <cstring>

namespace nookery {

std::vector<std::byte> toCompactBytes(const Json& json) {
    const std::vector<std::uint8_t> bytes = Json::to_cbor(json);
    const auto whole = std::as_bytes(std::span(bytes));
    return {whole.begin(), whole.end()};
}

Json fromCompactBytes(std::span<const std::byte> bytes) {
    return readingDocument([&] {
        const auto* first = reinterpret_cast<const std::uint8_t*>(bytes.data());
        return Json::from_cbor(first, first + bytes.size());
    });
}

Json toBinary(std::span<const std::byte> bytes) {
    Json::binary_t::container_type copy(bytes.size());
    if (!bytes.empty()) std::memcpy(copy.data(), bytes.data(), bytes.size());
    return Json::binary(std::move(copy));
}

std::vector<std::byte> bytesOf(const Json& binary) {
    const auto bytes =
        std::as_bytes(std::span<const std::uint8_t>(binary.get_ref<const Json::binary_t&>()));
    return {bytes.begin(), bytes.end()};
}

Json toBinary(const Path& path) { return toBinary(std::as_bytes(std::span(path.native()))); }

Path pathOf(const Json& binary) {
    const auto& bytes = binary.get_ref<const Json::binary_t&>();
    return std::string(bytes.begin(), bytes.end());
}

Uuid uuidOf(const Json& text) {
    const auto id = Uuid::parse(text.get<std::string>());
    if (!id) throw JsonError("A step of the history names no identifier.");
    return *id;
}

Json toJson(const std::vector<Uuid>& ids) {
    Json list = Json::array();
    for (const Uuid& id : ids) list.push_back(id.toString());
    return list;
}

std::vector<Uuid> uuidsOf(const Json& list) {
    std::vector<Uuid> ids;
    ids.reserve(list.size());
    for (const Json& id : list) ids.push_back(uuidOf(id));
    return ids;
}

}  // namespace nookery
