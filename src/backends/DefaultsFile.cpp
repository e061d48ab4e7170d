#include "backends/DefaultsFile.h"

#include <fmt/format.h>

#include <QByteArray>
#include <atomic>
#include <map>

#include "foundation/DurableFile.h"
#include "foundation/Json.h"

namespace nookery {
namespace {

constexpr int formatVersion = 1;
constexpr std::size_t maximumByteCount = std::size_t{1} << 30;

using Values = std::map<std::string, std::string, std::less<>>;

std::string toBase64(const std::string& bytes) {
    return QByteArray::fromRawData(bytes.data(), static_cast<qsizetype>(bytes.size()))
        .toBase64()
        .toStdString();
}

std::string fromBase64(const std::string& text) {
    const auto decoded = QByteArray::fromBase64Encoding(
        QByteArray::fromStdString(text),
        QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded) throw JsonError("A value is not base64.");
    return decoded.decoded.toStdString();
}

Values parse(const std::string& text) {
    const Json document = parseJson(text, {.maximumByteCount = maximumByteCount});
    if (requiredNumber(document, "version") != formatVersion) {
        throw JsonError("It was written by a newer program.");
    }
    const auto values = document.find("values");
    if (values == document.end() || !values->is_object()) {
        throw JsonError("It holds no \"values\".");
    }
    Values result;
    for (const auto& [key, unused] : values->items()) {
        result.emplace(key, fromBase64(requiredString(*values, key)));
    }
    return result;
}

std::string format(const Values& values) {
    Json encoded = Json::object();
    for (const auto& [key, bytes] : values) encoded[key] = toBase64(bytes);
    return toPrettyJsonText(Json{{"version", formatVersion}, {"values", std::move(encoded)}});
}

class DefaultsFile final : public UserDefaults {
  public:
    DefaultsFile(FileSystem& files, Path path) : files_(files), path_(std::move(path)) {
        values_ = std::make_shared<const Values>(read());
    }

    std::optional<std::string> get(std::string_view key) const override {
        const auto values = values_.load();
        const auto found = values->find(key);
        return found == values->end() ? std::nullopt : std::optional(found->second);
    }

    void set(std::string_view key, std::string_view value) override {
        change([&](Values& values) {
            values.insert_or_assign(std::string(key), std::string(value));
            return true;
        });
    }

    void remove(std::string_view key) override {
        change([&](Values& values) {
            const auto found = values.find(key);
            if (found == values.end()) return false;
            values.erase(found);
            return true;
        });
    }

    std::vector<std::string> keys() const override {
        std::vector<std::string> result;
        const auto values = values_.load();
        result.reserve(values->size());
        for (const auto& [key, value] : *values) result.push_back(key);
        return result;
    }

  private:
    Values read() const {
        if (!files_.statusFollowingLinks(path_)) return {};
        try {
            return parse(readWholeFile(files_, path_, maximumByteCount));
        } catch (const JsonError& error) {
            throw Error(fmt::format("The settings in {} cannot be read: {}", displayName(path_),
                                    error.description()));
        }
    }

    template <typename Change>
    void change(const Change& apply) {
        Values values = read();
        if (!apply(values)) return;
        createDirectories(files_, path_.parent_path());
        writeDurably(files_, path_, format(values));
        values_ = std::make_shared<const Values>(std::move(values));
    }

    FileSystem& files_;
    Path path_;
    std::atomic<std::shared_ptr<const Values>> values_;
};

}  // namespace

std::unique_ptr<UserDefaults> openDefaultsFile(FileSystem& files, const Path& path) {
    return std::make_unique<DefaultsFile>(files, path);
}

}  // namespace nookery
