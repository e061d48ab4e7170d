#include <fmt/format.h>

#include <array>
#include <iterator>
#include <set>

#include "archive/ArchiveManifest.h"
#include "archive/ArchivePlaces.h"
#include "foundation/Json.h"

namespace nookery {
namespace {

/// Gives the parser a file's bytes one by one. Refuses a single value that is longer than allowed,
/// since the parser keeps all of it in memory.
class ManifestBytes {
  public:
    ManifestBytes(std::unique_ptr<ReadableFile> file, std::int64_t valueByteCount)
        : file_(std::move(file)), valueByteCount_(valueByteCount), left_(valueByteCount) {
        fill();
    }

    bool atEnd() const { return position_ == count_; }
    char current() const { return std::to_integer<char>(buffer_[position_]); }
    void advance() {
        if (--left_ < 0) throw ManifestError("A value is too large.");
        if (++position_ == count_) fill();
    }
    void restoreValueBudget() { left_ = valueByteCount_; }

    /// The iterator that nlohmann's parser needs.
    struct Iterator {
        using iterator_category = std::input_iterator_tag;
        using value_type = char;
        using difference_type = std::ptrdiff_t;
        using pointer = const char*;
        using reference = char;

        ManifestBytes* bytes = nullptr;  ///< null stands for the end

        char operator*() const { return bytes->current(); }
        Iterator& operator++() {
            bytes->advance();
            return *this;
        }
        bool operator==(const Iterator& other) const { return isEnd() == other.isEnd(); }
        bool isEnd() const { return bytes == nullptr || bytes->atEnd(); }
    };

  private:
    void fill() {
        position_ = 0;
        count_ = file_->read(buffer_);
    }

    std::unique_ptr<ReadableFile> file_;
    std::int64_t valueByteCount_;
    std::int64_t left_;
    std::array<std::byte, 1 << 16> buffer_{};
    std::size_t position_ = 0;
    std::size_t count_ = 0;
};

std::int64_t requiredInteger(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_number_integer()) {
        throw ManifestError(fmt::format("\"{}\" must be a whole number.", key));
    }
    return found->get<std::int64_t>();
}

std::optional<Sha256Digest> digestFromHex(const std::string& text) {
    Sha256Digest digest;
    if (text.size() != 2 * digest.bytes.size()) return std::nullopt;
    constexpr std::string_view digits = "0123456789abcdef";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto value = digits.find(text[i]);
        if (value == std::string_view::npos) return std::nullopt;
        auto& byte = digest.bytes[i / 2];
        byte = static_cast<std::uint8_t>(byte << 4 | value);
    }
    return digest;
}

/// Takes what the parser finds piece by piece, and drops each record once it is read.
class ManifestReader {
  public:
    ManifestReader(ManifestBytes& bytes, const ManifestLimits& limits)
        : bytes_(bytes), limits_(limits) {}

    ArchiveContents read() {
        const auto callback = [this](int depth, Json::parse_event_t event, Json& value) {
            bytes_.restoreValueBudget();
            return take(depth, event, value);
        };
        const Json rest =
            Json::parse(ManifestBytes::Iterator{&bytes_}, ManifestBytes::Iterator{}, callback);
        checkHead(rest);
        return std::move(contents_);
    }

  private:
    /// Whether the parser is to keep the value in the document.
    bool take(int depth, Json::parse_event_t event, Json& value) {
        using Event = Json::parse_event_t;
        const bool opens = event == Event::object_start || event == Event::array_start;
        if (opens && depth > limits_.depth) throw ManifestError("It nests too deep.");
        if (event == Event::key && depth == 1) return enter(value.get<std::string>());
        if (depth != 2 || !isList()) return true;
        const bool wantsText = key_ == "originalFilesMissing";
        if (event == Event::array_start || event == Event::array_end ||
            (event == Event::value && !(wantsText && value.is_string())) ||
            (event == Event::object_start && wantsText)) {
            throw ManifestError(fmt::format("\"{}\" holds a wrong type.", key_));
        }
        if (event == Event::object_end) takeElement(value);
        return event != Event::object_end && event != Event::value;
    }

    bool isList() const {
        return key_ == "files" || key_ == "groups" || key_ == "records" ||
               key_ == "originalFilesMissing";
    }

    /// Whether to keep the values of this key. Unknown keys are skipped.
    bool enter(const std::string& key) {
        if (depthOneKeys_.contains(key)) {
            throw ManifestError(fmt::format("\"{}\" stands there twice.", key));
        }
        key_ = key;
        constexpr std::array known{"exportedAt", "files",         "format",
                                   "groups",     "numberOfItems", "originalFilesMissing",
                                   "records",    "schemaVersion"};
        for (const char* name : known) {
            if (key != name) continue;
            depthOneKeys_.insert(key);
            return true;
        }
        return false;
    }

    void takeElement(const Json& element) {
        if (key_ == "groups") groupFromKeyedForm(element, KeyedDates::iso8601);
        if (key_ == "files") takeFile(element);
        if (key_ == "records") takeRecord(element);
    }

    void takeFile(const Json& element) {
        if (contents_.files.size() >= limits_.fileCount) throw ManifestError("Too many files.");
        contents_.files.push_back({requiredString(element, "relativePath"),
                                   requiredInteger(element, "byteCount"),
                                   digestFromHex(requiredString(element, "sha256"))});
    }

    void takeRecord(const Json& element) {
        if (static_cast<std::size_t>(++contents_.recordCount) > limits_.recordCount) {
            throw ManifestError("Too many records.");
        }
        const auto item = element.find("item");
        if (item == element.end()) throw ManifestError("A record holds no item.");
        const CrumbItem memory = itemFromKeyedForm(*item, KeyedDates::iso8601);
        if (auto original = optionalString(element, "exportedOriginal")) {
            contents_.exportedOriginals[memory.id] = std::move(*original);
        }
    }

    void checkHead(const Json& rest) const {
        for (const char* list : {"files", "groups", "originalFilesMissing", "records"}) {
            const auto found = rest.find(list);
            if (found == rest.end() || !found->is_array()) {
                throw ManifestError(fmt::format("\"{}\" must be a list.", list));
            }
        }
        requiredInteger(rest, "numberOfItems");
        if (!parseIso8601(requiredString(rest, "exportedAt"))) {
            throw ManifestError("\"exportedAt\" is no date.");
        }
        if (requiredString(rest, "format") != archive::formatName ||
            requiredInteger(rest, "schemaVersion") != archive::schemaVersion) {
            throw ManifestError("It is of another format.");
        }
    }

    ManifestBytes& bytes_;
    const ManifestLimits& limits_;
    ArchiveContents contents_;
    std::string key_;
    std::set<std::string> depthOneKeys_;
};

}  // namespace

ArchiveContents readManifest(FileSystem& files, const Path& path, const ManifestLimits& limits) {
    const auto bytes =
        std::make_unique<ManifestBytes>(files.openForReading(path), limits.valueByteCount);
    try {
        return ManifestReader(*bytes, limits).read();
    } catch (const Json::exception& error) {
        throw ManifestError(error.what());
    } catch (const JsonError& error) {
        throw ManifestError(error.description());
    }
}

}  // namespace nookery
