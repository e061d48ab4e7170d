#include "workspace/history/CompactJson.h"

#include <algorithm>
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

Json toBinary(const std::vector<Uuid>& ids) {
    std::vector<std::byte> bytes;
    bytes.reserve(ids.size() * sizeof(Uuid::Bytes));
    for (const Uuid& id : ids) {
        const auto own = std::as_bytes(std::span(id.bytes()));
        bytes.insert(bytes.end(), own.begin(), own.end());
    }
    return toBinary(bytes);
}

std::vector<Uuid> uuidsOf(const Json& binary) {
    const auto& bytes = binary.get_ref<const Json::binary_t&>();
    if (bytes.size() % sizeof(Uuid::Bytes) != 0) throw JsonError("A step's ids are damaged.");
    std::vector<Uuid> ids;
    ids.reserve(bytes.size() / sizeof(Uuid::Bytes));
    for (auto next = bytes.begin(); next != bytes.end(); next += sizeof(Uuid::Bytes)) {
        Uuid::Bytes own;
        std::copy_n(next, own.size(), own.begin());
        ids.emplace_back(own);
    }
    return ids;
}

}  // namespace nookery
