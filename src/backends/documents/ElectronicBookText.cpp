#include <map>
#include <set>
#include <vector>

#include "backends/documents/DocumentFormatReaders.h"
#include "backends/documents/HtmlDocumentText.h"
#include "backends/documents/OpcPackage.h"
#include "backends/documents/XmlReader.h"
#include "foundation/TextDecoding.h"

namespace nookery {
namespace {

constexpr std::size_t maximumChapterByteCount = std::size_t{32} << 20;

int hexadecimalValue(std::string_view digits) {
    constexpr std::string_view all = "0123456789abcdef";
    int value = 0;
    for (const char c : digits) {
        const std::size_t digit = all.find(c >= 'A' && c <= 'F' ? static_cast<char>(c + 32) : c);
        if (digit == std::string_view::npos) return -1;
        value = value * 16 + static_cast<int>(digit);
    }
    return digits.size() == 2 ? value : -1;
}

/// The path in a book's web address: without the fragment, "%20" as a space.
std::string decodedAddress(std::string_view address) {
    address = address.substr(0, address.find('#'));
    std::string decoded;
    for (std::size_t i = 0; i < address.size(); ++i) {
        const int value = address[i] == '%' ? hexadecimalValue(address.substr(i + 1, 2)) : -1;
        decoded += value < 0 ? address[i] : static_cast<char>(value);
        if (value >= 0) i += 2;
    }
    return decoded;
}

std::string packagePart(const ZipArchive& archive) {
    XmlReader xml(archive.part("META-INF/container.xml"), archive.reading());
    while (xml.next()) {
        if (xml.isStart("rootfile")) return resolvedPartName("", xml.attribute("full-path"));
    }
    archive.reading().failDamaged("it does not say where its text is");
}

/// The parts that are encrypted for holders of a licence.
std::set<std::string> protectedParts(const ZipArchive& archive) {
    std::set<std::string> parts;
    auto list = archive.find("META-INF/encryption.xml");
    if (!list) return parts;
    XmlReader xml(std::move(*list), archive.reading());
    while (parts.size() < maximumListedPartCount && xml.next()) {
        if (!xml.isStart("CipherReference")) continue;
        parts.insert(resolvedPartName("", decodedAddress(xml.attribute("URI"))));
    }
    return parts;
}

struct Book {
    std::string title;
    std::vector<std::string> chapters;  ///< part names in reading order
};

Book readPackage(const ZipArchive& archive, const std::string& part) {
    Book book;
    book.title = titleInPart(archive, part);
    std::map<std::string, std::string> addresses;
    XmlReader xml(archive.part(part), archive.reading());
    while (book.chapters.size() < maximumListedPartCount && xml.next()) {
        if (xml.isStart("item") && addresses.size() < maximumListedPartCount) {
            addresses[xml.attribute("id")] = xml.attribute("href");
        }
        if (!xml.isStart("itemref")) continue;
        const auto found = addresses.find(xml.attribute("idref"));
        if (found == addresses.end()) continue;
        book.chapters.push_back(resolvedPartName(part, decodedAddress(found->second)));
    }
    return book;
}

}  // namespace

DocumentText readElectronicBook(DocumentReading& reading) {
    const ZipArchive archive = ZipArchive::open(reading);
    const Book book = readPackage(archive, packagePart(archive));
    const std::set<std::string> locked = protectedParts(archive);
    GatheredText text(reading.limits().maximumTextByteCount);
    for (const std::string& chapter : book.chapters) {
        if (text.isFull()) break;
        if (locked.contains(chapter)) reading.fail("is locked by its seller's copy protection.");
        auto part = archive.find(chapter);
        if (!part) continue;
        const std::string page = decodeText(part->readAll(maximumChapterByteCount));
        text.add(htmlDocumentText(page, reading.limits().maximumTextByteCount));
        text.endLine();
        text.endLine();
    }
    return {book.title, text.take()};
}

}  // namespace nookery
