#include "backends/contenttypes/PackedTypes.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "backends/contenttypes/TextTypes.h"

namespace nookery {
namespace {

using NamedType = std::pair<std::string_view, std::string_view>;

constexpr std::string_view wordType =
    "application/vnd.openxmlformats-officedocument.wordprocessingml.document";
constexpr std::string_view workbookType =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet";
constexpr std::string_view presentationType =
    "application/vnd.openxmlformats-officedocument.presentationml.presentation";

constexpr std::array<NamedType, 3> officeFolders = {
    {{"word/", wordType}, {"xl/", workbookType}, {"ppt/", presentationType}}};
constexpr std::array<NamedType, 3> officeExtensions = {
    {{".docx", wordType}, {".xlsx", workbookType}, {".pptx", presentationType}}};
constexpr std::array<NamedType, 4> otherExtensions = {
    {{".odt", "application/vnd.oasis.opendocument.text"},
     {".ods", "application/vnd.oasis.opendocument.spreadsheet"},
     {".odp", "application/vnd.oasis.opendocument.presentation"},
     {".epub", "application/epub+zip"}}};

template <std::size_t count, typename Matches>
std::optional<ContentType> firstMatch(const std::array<NamedType, count>& table, Matches matches) {
    const auto* const found = std::find_if(
        table.begin(), table.end(), [&](const NamedType& entry) { return matches(entry.first); });
    if (found == table.end()) return std::nullopt;
    return ContentType{std::string(found->second)};
}

std::size_t littleEndian16(std::string_view bytes) {
    return static_cast<unsigned char>(bytes[0]) | static_cast<unsigned char>(bytes[1]) << 8;
}

/// E-books and the open office formats say their type in a first part named "mimetype", stored as
/// it is.
std::optional<ContentType> declaredType(std::string_view head) {
    constexpr std::size_t nameStart = 30;
    constexpr std::string_view name = "mimetype";
    if (head.substr(nameStart, name.size()) != name) return std::nullopt;
    const std::size_t start = nameStart + name.size() + littleEndian16(head.substr(28));
    const std::string_view content = head.substr(std::min(head.size(), start), 100);
    const std::size_t end = content.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789.+-/");
    return ContentType{std::string(content.substr(0, end))};
}

/// By the names of the parts that lie in the head.
std::optional<ContentType> officeTypeByParts(std::string_view head) {
    constexpr std::string_view partMark = "PK\x03\x04";
    for (std::size_t at = 0; (at = head.find(partMark, at)) != std::string_view::npos; ++at) {
        if (head.size() < at + 30) break;
        const std::string_view name = head.substr(at + 30, littleEndian16(head.substr(at + 26)));
        auto type = firstMatch(officeFolders,
                               [&](std::string_view folder) { return name.starts_with(folder); });
        if (type) return type;
    }
    return std::nullopt;
}

std::optional<ContentType> zipType(std::string_view head, const Path& name) {
    if (head.size() < 46) return std::nullopt;
    if (auto declared = declaredType(head)) {
        if (declared->mediaType.find('/') != std::string::npos) return declared;
    }
    if (auto office = officeTypeByParts(head)) return office;
    const std::string extension = lowerCaseExtension(name);
    const auto isIt = [&](std::string_view each) { return each == extension; };
    if (auto byName = firstMatch(officeExtensions, isIt)) return byName;
    if (auto byName = firstMatch(otherExtensions, isIt)) return byName;
    return ContentType{"application/zip"};
}

/// The brands by which a container of the ISO family says that it holds still images.
std::optional<ContentType> imageByBrand(std::string_view head) {
    constexpr std::array<NamedType, 10> brands = {{{"avif", "image/avif"},
                                                   {"avis", "image/avif"},
                                                   {"heic", "image/heic"},
                                                   {"heix", "image/heic"},
                                                   {"heim", "image/heic"},
                                                   {"heis", "image/heic"},
                                                   {"hevc", "image/heic"},
                                                   {"hevx", "image/heic"},
                                                   {"mif1", "image/heif"},
                                                   {"msf1", "image/heif"}}};
    if (head.substr(4, 4) != "ftyp") return std::nullopt;
    const std::size_t end = std::min<std::size_t>(64, static_cast<unsigned char>(head[3]));
    std::optional<ContentType> type;
    // The main brand comes first, then the compatible ones. A specific brand wins over a general
    // one.
    for (std::size_t at = 8; at + 4 <= end && at + 4 <= head.size(); at += at == 8 ? 8 : 4) {
        auto found =
            firstMatch(brands, [&](std::string_view brand) { return head.substr(at, 4) == brand; });
        if (!found) {
            if (at == 8) return std::nullopt;
            continue;
        }
        if (!type || type->mediaType == "image/heif") type = found;
    }
    return type;
}

}  // namespace

std::optional<ContentType> packedTypeOf(std::string_view head, const Path& name) {
    constexpr std::size_t pdfSearchByteCount = 1024;
    if (head.size() < 12) return std::nullopt;
    if (head.starts_with("PK\x03\x04")) return zipType(head, name);
    if (head.starts_with("\xD0\xCF\x11\xE0")) {
        const std::string extension = lowerCaseExtension(name);
        return firstMatch(officeExtensions,
                          [&](std::string_view each) { return each == extension; });
    }
    if (head.starts_with("{\\rtf")) return ContentType{"application/rtf"};
    if (head.substr(0, pdfSearchByteCount).find("%PDF-") != std::string_view::npos) {
        return ContentType{"application/pdf"};
    }
    return imageByBrand(head);
}

}  // namespace nookery
