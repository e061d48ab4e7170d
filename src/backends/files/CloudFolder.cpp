#include "backends/files/CloudFolder.h"

#include <array>

namespace nookery {
namespace {

/// Some sync clients show a file before they fetch its content, with this behind its name.
constexpr std::array<std::string_view, 2> placeholderSuffixes{".nextcloud", ".owncloud"};
/// Others show a hidden file ".NAME.icloud".
constexpr std::string_view hiddenPlaceholderSuffix = ".icloud";

class CloudFolder final : public CloudContainer {
  public:
    CloudFolder(FileSystem& files, const UserDefaults& defaults, std::optional<Path> given)
        : files_(files), defaults_(defaults), given_(std::move(given)) {}

    CloudLookup locate() const override {
        const auto drive = driveFolder();
        if (!drive) {
            return {.reason =
                        "No cloud folder is set; \"nookery config set cloud-folder DIR\" "
                        "sets it.",
                    .isWanted = false};
        }
        if (!isFolder(*drive)) {
            return {.reason = "The cloud folder " + displayName(*drive) +
                              " is missing. Is the cloud drive connected?"};
        }
        const Path container = *drive / cloudContainerName;
        if (!isFolder(container)) {
            return {.reason = "The cloud folder " + displayName(*drive) + " holds no \"" +
                              std::string(cloudContainerName) +
                              "\" yet; the phone's first upload brings it."};
        }
        return {.container = container};
    }

    CloudPresence presence(const Path& file) const override {
        const auto status = files_.status(file);
        if (status && status->type == FileType::regular) return CloudPresence::local;
        const std::string name = file.filename();
        for (const std::string_view suffix : placeholderSuffixes) {
            if (files_.status(file.parent_path() / (name + std::string(suffix)))) {
                return CloudPresence::placeholder;
            }
        }
        const std::string hidden = "." + name + std::string(hiddenPlaceholderSuffix);
        return files_.status(file.parent_path() / hidden) ? CloudPresence::placeholder
                                                          : CloudPresence::absent;
    }

    std::optional<Path> nameBehindPlaceholder(const Path& name) const override {
        const std::string text = name;
        for (const std::string_view suffix : placeholderSuffixes) {
            if (text.size() > suffix.size() && text.ends_with(suffix)) {
                return text.substr(0, text.size() - suffix.size());
            }
        }
        const std::size_t extra = 1 + hiddenPlaceholderSuffix.size();
        if (text.size() > extra && text.front() == '.' && text.ends_with(hiddenPlaceholderSuffix)) {
            return text.substr(1, text.size() - extra);
        }
        return std::nullopt;
    }

    /// Always throws: there is no one way to ask every client, and those that fetch a file when it
    /// is read show no placeholder.
    void requestDownload(const Path& file) override {
        throw Error(
            "The sync client has not fetched its content yet. If that does not happen by itself, "
            "choose \"always keep on this computer\" for " +
            displayName(file.parent_path()) + " in the sync client.");
    }

  private:
    std::optional<Path> driveFolder() const {
        if (given_) return given_;
        const auto setting = defaults_.get(cloudFolderDefaultsKey);
        if (!setting || setting->empty()) return std::nullopt;
        return Path(*setting);
    }

    /// A drive that answers with an error is unavailable too.
    bool isFolder(const Path& path) const try {
        const auto status = files_.statusFollowingLinks(path);
        return status && status->type == FileType::directory;
    } catch (const FileError&) {
        return false;
    }

    FileSystem& files_;
    const UserDefaults& defaults_;
    std::optional<Path> given_;
};

}  // namespace

std::unique_ptr<CloudContainer> makeCloudFolder(FileSystem& files, const UserDefaults& defaults,
                                                std::optional<Path> given) {
    return std::make_unique<CloudFolder>(files, defaults, std::move(given));
}

}  // namespace nookery
