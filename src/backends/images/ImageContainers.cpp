#include "backends/images/ImageContainers.h"

#include <cstdint>
#include <functional>

namespace nookery {
namespace {

constexpr std::string_view exifMark("Exif\0\0", 6);

std::uint32_t bigEndian(std::string_view bytes) {
    std::uint32_t value = 0;
    for (const char c : bytes) value = value << 8 | static_cast<unsigned char>(c);
    return value;
}

std::uint32_t littleEndian(std::string_view bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = bytes.size(); i-- > 0;) {
        value = value << 8 | static_cast<unsigned char>(bytes[i]);
    }
    return value;
}

std::string_view withoutExifMark(std::string_view block) {
    return block.starts_with(exifMark) ? block.substr(exifMark.size()) : block;
}

/// Calls `visit` with each segment before the picture's data, until it returns true.
void visitJpegSegments(
    std::string_view file,
    const std::function<bool(unsigned char mark, std::string_view body)>& visit) {
    if (!file.starts_with("\xFF\xD8")) return;
    constexpr unsigned char startOfScan = 0xDA;
    std::size_t at = 2;
    while (at + 4 <= file.size() && file[at] == '\xFF') {
        const auto mark = static_cast<unsigned char>(file[at + 1]);
        if (mark == 0xFF) {  // a filling byte
            ++at;
            continue;
        }
        const std::size_t length = bigEndian(file.substr(at + 2, 2));
        if (mark == startOfScan || length < 2 || at + 2 + length > file.size()) return;
        if (visit(mark, file.substr(at + 4, length - 2))) return;
        at += 2 + length;
    }
}

}  // namespace

std::string_view exifInJpeg(std::string_view file) {
    constexpr unsigned char application1 = 0xE1;
    std::string_view found;
    visitJpegSegments(file, [&found](unsigned char mark, std::string_view body) {
        if (mark != application1 || !body.starts_with(exifMark)) return false;
        found = withoutExifMark(body);
        return true;
    });
    return found;
}

bool isProgressiveJpeg(std::string_view file) {
    bool progressive = false;
    visitJpegSegments(file, [&progressive](unsigned char mark, std::string_view) {
        progressive = progressive || mark == 0xC2 || mark == 0xC6 || mark == 0xCA || mark == 0xCE;
        return progressive;
    });
    return progressive;
}

std::string_view exifInPng(std::string_view file) {
    constexpr std::size_t aroundBody = 12;  // length, name, checksum
    std::size_t at = 8;
    while (at + aroundBody <= file.size()) {
        const std::size_t length = bigEndian(file.substr(at, 4));
        const std::string_view name = file.substr(at + 4, 4);
        if (length > file.size() - at - aroundBody) return {};
        if (name == "eXIf") return withoutExifMark(file.substr(at + 8, length));
        at += aroundBody + length;
    }
    return {};
}

std::string_view exifInWebp(std::string_view file) {
    std::size_t at = 12;
    while (at + 8 <= file.size()) {
        const std::size_t length = littleEndian(file.substr(at + 4, 4));
        if (length > file.size() - at - 8) return {};
        if (file.substr(at, 4) == "EXIF") return withoutExifMark(file.substr(at + 8, length));
        at += 8 + length + length % 2;
    }
    return {};
}

}  // namespace nookery
