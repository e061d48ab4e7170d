#include "archive/ArchiveCheck.h"

#include <algorithm>
#include <cerrno>
#include <unordered_set>

#include "archive/ArchiveDatabase.h"
#include "archive/ArchivePlaces.h"
#include "collection/safety/RestoreError.h"
#include "foundation/Base64.h"
#include "foundation/Json.h"
#include "records/DefaultsKeys.h"

namespace nookery {
namespace {

constexpr std::size_t maximumNameByteCount = 255;
constexpr std::size_t maximumPathByteCount = 2048;
constexpr std::size_t maximumLocalStateByteCount = 512u << 20;

[[noreturn]] void throwUnsafe(const std::string& relativePath) {
    throw RestoreError("Missing or unsafe archived file: " + relativePath);
}

[[noreturn]] void throwDamaged(const std::string& relativePath) {
    throw RestoreError("Archive integrity check failed: " + relativePath);
}

/// Whether a plain file lies there, with only true folders on the way.
std::optional<FileStatus> plainFile(FileSystem& files, const Path& folder, const Path& relative) {
    Path place = folder;
    for (const Path& component : relative) {
        const auto above = files.status(place);
        if (!above || above->type != FileType::directory) return std::nullopt;
        place /= component;
    }
    const auto status = files.status(place);
    return status && status->type == FileType::regular ? status : std::nullopt;
}

std::vector<std::string> splitPath(const std::string& path) {
    std::vector<std::string> names;
    std::string name;
    for (const char c : path + "/") {
        if (c != '/') {
            name += c;
            continue;
        }
        names.push_back(std::move(name));
        name.clear();
    }
    return names;
}

}  // namespace

std::optional<std::string> withoutDetours(const std::string& relativePath) {
    if (relativePath.starts_with('/') || relativePath.find('\0') != std::string::npos ||
        relativePath.size() > maximumPathByteCount) {
        return std::nullopt;
    }
    std::vector<std::string> kept;
    for (std::string& name : splitPath(relativePath)) {
        if (name.empty() || name == ".") continue;
        if (name.size() > maximumNameByteCount) return std::nullopt;
        if (name != "..") {
            kept.push_back(std::move(name));
        } else if (kept.empty()) {
            return std::nullopt;
        } else {
            kept.pop_back();
        }
    }
    std::string path;
    for (const std::string& name : kept) path += (path.empty() ? "" : "/") + name;
    return path.empty() ? std::nullopt : std::optional(path);
}

ArchiveContents readArchiveManifest(FileSystem& files, const Path& folder) {
    constexpr const char* unsupported = "This folder is not a supported NOOKERY Complete Archive.";
    const Path manifest = folder / archive::manifestName;
    const auto status = files.status(manifest);
    if (!status || status->type != FileType::regular) throw RestoreError(unsupported);
    try {
        return readManifest(files, manifest);
    } catch (const ManifestError&) {
        throw RestoreError(unsupported);
    }
}

ArchiveSummary checkListedFiles(FileSystem& files, const Path& folder,
                                const ArchiveContents& contents, const ReadListedFile& read) {
    ArchiveSummary summary{.recordCount = contents.recordCount};
    std::unordered_set<std::string> names;
    for (const ArchiveContents::File& file : contents.files) {
        const auto name = withoutDetours(file.relativePath);
        const auto status = name ? plainFile(files, folder, *name) : std::nullopt;
        if (!status || !names.insert(*name).second) throwUnsafe(file.relativePath);
        if (status->byteCount != file.byteCount) throwDamaged(file.relativePath);
        const FileContent content = read(folder / *name, *name);
        if (content.byteCount != file.byteCount || file.digest != content.digest) {
            throwDamaged(file.relativePath);
        }
        ++summary.fileCount;
        summary.byteCount += content.byteCount;
    }
    return summary;
}

void beginListed(DigestedFiles& digested, ArchiveProgress::Phase phase,
                 const ArchiveContents& contents) {
    digested.begin(phase, static_cast<std::int64_t>(contents.files.size()));
}

bool listsFile(const ArchiveContents& contents, std::string_view name) {
    return std::any_of(contents.files.begin(), contents.files.end(), [name](const auto& file) {
        return withoutDetours(file.relativePath) == name;
    });
}

void checkArchivedDatabases(const Path& folder, const ArchiveContents& contents) {
    if (!listsFile(contents, archive::databaseName)) {
        throw RestoreError("Main collection database is missing.");
    }
    checkArchivedDatabase(folder / archive::databaseName, collectionProbe);
    if (listsFile(contents, archive::receiptsDatabaseName)) {
        checkArchivedDatabase(folder / archive::receiptsDatabaseName, receiptsProbe);
    }
}

std::map<std::string, std::string> readLocalState(FileSystem& files, const Path& folder,
                                                  const ArchiveContents& contents) {
    std::map<std::string, std::string> state;
    if (!listsFile(contents, archive::localStateName)) return state;
    const std::string name(archive::localStateName);
    try {
        const Json object =
            parseJson(readWholeFile(files, folder / name, maximumLocalStateByteCount),
                      {.maximumByteCount = maximumLocalStateByteCount, .maximumDepth = 4});
        for (const std::string_view key : libraryDefaultsKeys) {
            if (!object.is_object() || !object.contains(key)) continue;
            auto bytes = fromBase64(requiredString(object, key));
            if (!bytes) throwDamaged(name);
            state[std::string(key)] = std::move(*bytes);
        }
        if (!object.is_object()) throwDamaged(name);
    } catch (const JsonError&) {
        throwDamaged(name);
    }
    return state;
}

ArchiveSummary checkArchive(const Platform& platform, const Path& folder,
                            const OperationControl& control) {
    FileSystem& files = platform.files;
    const auto place = files.resolve(folder);
    if (!place) throw FileError("find", folder, ENOENT);
    const ArchiveContents contents = readArchiveManifest(files, *place);
    DigestedFiles digested(files, platform.digester, control);
    beginListed(digested, ArchiveProgress::Phase::checking, contents);
    const auto summary =
        checkListedFiles(files, *place, contents,
                         [&](const Path& file, const std::string&) { return digested.read(file); });
    checkArchivedDatabases(*place, contents);
    readLocalState(files, *place, contents);
    return summary;
}

}  // namespace nookery
