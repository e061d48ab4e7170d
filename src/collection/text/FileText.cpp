#include "collection/text/FileText.h"

#include <algorithm>
#include <array>
#include <span>

#include "collection/text/TextExtraction.h"
#include "foundation/Text.h"
#include "foundation/TextDecoding.h"

namespace nookery {
namespace {

/// Far more markup than the text that is kept of a page can need.
constexpr std::size_t maximumPageByteCount = std::size_t{64} << 20;

bool isWebPage(const ContentType& type) {
    return type.mediaType == "text/html" || type.mediaType == "application/xhtml+xml";
}

bool isPlainText(const ContentType& type) {
    constexpr std::array<std::string_view, 3> textualApplications = {
        "application/json", "application/xml", "application/javascript"};
    return type.isText() || std::find(textualApplications.begin(), textualApplications.end(),
                                      type.mediaType) != textualApplications.end();
}

/// The front of the file, at most `byteCount` bytes and cut between code points of UTF-8.
std::string readFront(FileSystem& files, const Path& path, std::size_t byteCount,
                      const std::stop_token& stop) {
    const auto file = files.openForReading(path);
    std::array<std::byte, 65536> buffer;
    std::string bytes;
    while (bytes.size() <= byteCount) {
        if (stop.stop_requested()) throw Cancelled();
        const std::size_t count = file->read(buffer);
        if (count == 0) break;
        bytes.append(reinterpret_cast<const char*>(buffer.data()), count);
    }
    bytes.resize(cutToBytes(bytes, byteCount).size());
    return bytes;
}

/// Only a page in UTF-8 is known well enough to be called by its title.
ExtractedText webPage(const std::string& bytes) {
    if (const auto html = decodeUtf8(bytes)) {
        PageText page = pageText(*html);
        return {std::move(page.title), std::move(page.text), std::nullopt};
    }
    return {"", plainTextFromHTML(decodeText(bytes)), std::nullopt};
}

ExtractedText plainText(const std::string& bytes, std::size_t maximumByteCount) {
    std::string text = decodeText(bytes);
    text.resize(cutToBytes(text, maximumByteCount).size());
    return {"", std::move(text), std::nullopt};
}

}  // namespace

ExtractedText extractText(const Path& path, const ContentType& type, FileSystem& files,
                          const DocumentReader& documents, const DocumentLimits& limits,
                          std::stop_token stop) {
    if (stop.stop_requested()) throw Cancelled();
    if (documents.canRead(type)) {
        try {
            DocumentText document = documents.read(path, type, limits, stop);
            return {std::move(document.title), std::move(document.text), std::nullopt};
        } catch (const DocumentError& error) {
            return {"", "", error.description()};
        }
    }
    if (isWebPage(type)) return webPage(readFront(files, path, maximumPageByteCount, stop));
    if (!isPlainText(type)) return {};
    return plainText(readFront(files, path, limits.maximumTextByteCount, stop),
                     limits.maximumTextByteCount);
}

}  // namespace nookery
