#include "archive/ArchiveManifest.h"
#include "archive/ArchivePlaces.h"
#include "foundation/Json.h"

namespace nookery {
namespace {

constexpr std::size_t bufferByteCount = 1 << 18;

/// Writes text into a file through a buffer.
class TextFile {
  public:
    explicit TextFile(std::unique_ptr<WritableFile> file) : file_(std::move(file)) {}

    void write(std::string_view text) {
        buffer_ += text;
        if (buffer_.size() >= bufferByteCount) flush();
    }

    void close() {
        flush();
        file_->close();
    }

  private:
    void flush() {
        file_->write(std::as_bytes(std::span(buffer_)));
        buffer_.clear();
    }

    std::unique_ptr<WritableFile> file_;
    std::string buffer_;
};

/// The value pretty-printed, with every line but the first indented by `level` blanks. All its line
/// feeds are between values, since JSON escapes those in texts.
std::string indented(const Json& json, std::size_t level) {
    const std::string text = json.dump(2, ' ', false, Json::error_handler_t::replace);
    const std::string lineStart = "\n" + std::string(level, ' ');
    std::string result;
    for (const char c : text) {
        if (c == '\n') {
            result += lineStart;
        } else {
            result += c;
        }
    }
    return result;
}

Json toJson(const CrumbGroup& group) { return toKeyedForm(group, KeyedDates::iso8601); }

Json toJson(const ItemRecord& record) {
    Json object{{"item", toKeyedForm(*record.item, KeyedDates::iso8601)}};
    if (record.exportedOriginal) object["exportedOriginal"] = *record.exportedOriginal;
    return object;
}

Json toJson(const FileRecord& file) {
    return {{"relativePath", file.relativePath},
            {"byteCount", file.content.byteCount},
            {"sha256", file.content.digest.toHex()}};
}

Json toJson(const std::string& text) { return text; }

/// Writes one key of the document; `first` also begins the document.
void writeKey(TextFile& file, const char* key, bool first = false) {
    file.write(first ? "{\n  \"" : ",\n  \"");
    file.write(key);
    file.write("\": ");
}

void writeValue(TextFile& file, const char* key, const Json& value, bool first = false) {
    writeKey(file, key, first);
    file.write(indented(value, 2));
}

template <typename Element>
void writeArray(TextFile& file, const char* key, const std::vector<Element>& elements) {
    writeKey(file, key);
    file.write("[");
    bool first = true;
    for (const Element& element : elements) {
        file.write(first ? "\n    " : ",\n    ");
        file.write(indented(toJson(element), 4));
        first = false;
    }
    file.write(first ? "]" : "\n  ]");
}

}  // namespace

void writeManifest(FileSystem& files, const Path& path, const ArchiveManifest& manifest) {
    TextFile file(files.createFile(path));
    // Keys are in alphabetical order, here as at every other level.
    writeValue(file, "exportedAt", toIso8601(manifest.exportedAt), true);
    writeArray(file, "files", manifest.files);
    writeValue(file, "format", archive::formatName);
    writeArray(file, "groups", manifest.groups);
    writeValue(file, "numberOfItems", manifest.records.size());
    writeArray(file, "originalFilesMissing", manifest.originalFilesMissing);
    writeArray(file, "records", manifest.records);
    writeValue(file, "schemaVersion", archive::schemaVersion);
    file.write("\n}\n");
    file.close();
}

}  // namespace nookery
