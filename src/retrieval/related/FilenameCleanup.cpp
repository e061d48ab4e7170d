#include "retrieval/related/FilenameCleanup.h"

#include <re2/re2.h>

#include <algorithm>
#include <array>

#include "foundation/FileSystem.h"
#include "foundation/Text.h"
#include "foundation/Timestamp.h"
#include "retrieval/related/MachineNames.h"

namespace nookery {
namespace {

constexpr std::string_view separators = "-_. ";

struct CleanupPatterns {
    RE2 uuidWithSeparator{"(?i)[-_ ]?[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}"};
    RE2 longSuffix{"(?i)[-_ ]+(?:[0-9a-f]{12,}|[0-9]{6,})$"};
    RE2 separatorRun{"[-_ ]+"};
    RE2 bareCameraName{
        "(?i)^(?:IMG|DSC|DSCF|DCIM|MOV|VID|VIDEO|PXL|PHOTO|SCREENSHOT|SCAN|FILE|CRUMB)"
        "(?:[-_ ]?[0-9A-Z]{4,})?$"};
    RE2 digitsOnly{"^[0-9]{6,}$"};
};

const CleanupPatterns& patterns() {
    static const CleanupPatterns compiled;
    return compiled;
}

struct TypeWord {
    std::string_view word;
    std::string_view extensions;  ///< each between blanks
};

constexpr std::array<TypeWord, 9> typeWords{{
    {"PDF", " pdf "},
    {"Photo", " jpg jpeg png gif heic heif avif webp tif tiff bmp raw dng cr2 cr3 nef arw orf "},
    {"Video", " mov mp4 m4v avi mkv webm mpg mpeg 3gp wmv flv ts mts "},
    {"Audio", " mp3 m4a wav aac flac ogg oga opus aif aiff wma amr "},
    {"Archive", " zip tar gz tgz bz2 xz zst 7z rar "},
    {"Spreadsheet", " xls xlsx ods csv tsv numbers "},
    {"Presentation", " ppt pptx odp key "},
    {"Web Page", " html htm xhtml webarchive "},
    {"Document", " doc docx odt rtf txt md pages epub eml "},
}};

/// The word for the kind in a capture name.
std::string_view kindWord(std::string_view kind) {
    if (kind == "photo" || kind == "image") return "Photo";
    if (kind == "video") return "Video";
    if (kind == "audio") return "Audio";
    if (kind == "note") return "Note";
    return kind == "document" ? "Document" : "File";
}

std::string_view typeWord(const Path& file) {
    std::string extension = lowerCased(toValidUtf8(file.extension().native()));
    if (extension.empty()) return "File";
    extension.front() = ' ';
    extension += ' ';
    for (const TypeWord& type : typeWords) {
        if (type.extensions.find(extension) != std::string_view::npos) return type.word;
    }
    return "File";
}

std::string withDay(std::string_view word, Timestamp date) {
    return std::string(word) + " • " + toAbbreviatedDay(date);
}

std::string withoutSeparatorsAtEnds(const std::string& text) {
    const std::size_t first = text.find_first_not_of(separators);
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(separators) - first + 1);
}

std::string remainder(std::string_view title) {
    std::string rest(title);
    RE2::GlobalReplace(&rest, patterns().uuidWithSeparator, "");
    RE2::GlobalReplace(&rest, patterns().longSuffix, "");
    RE2::GlobalReplace(&rest, patterns().separatorRun, " ");
    return withoutSeparatorsAtEnds(rest);
}

}  // namespace

std::string cleanedTitle(const CrumbItem& item) {
    const std::string_view title = trimmed(item.title);
    if (const auto kind = captureNameKind(title)) return withDay(kindWord(*kind), item.createdAt);
    const std::string rest = remainder(title);
    if (rest.empty() || RE2::PartialMatch(rest, patterns().bareCameraName) ||
        RE2::PartialMatch(rest, patterns().digitsOnly)) {
        return withDay(typeWord(item.filePath.value_or("")), item.createdAt);
    }
    return rest;
}

std::vector<CrumbFilenameCleanupCandidate> filenameCleanupCandidates(
    std::span<const CrumbItemPointer> items) {
    std::vector<CrumbFilenameCleanupCandidate> candidates;
    for (const CrumbItemPointer& item : items) {
        if (!item->filePath || !isMachineGenerated(item->title)) continue;
        std::string proposal = cleanedTitle(*item);
        if (proposal != item->title) candidates.push_back({item->id, item->title, proposal});
    }
    return candidates;
}

}  // namespace nookery
