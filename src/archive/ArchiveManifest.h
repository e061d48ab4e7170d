#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "archive/DigestedFiles.h"
#include "foundation/Error.h"
#include "foundation/FileSystem.h"
#include "records/CrumbItem.h"

namespace nookery {

/// One record of the manifest: a memory, and the path of its original in the archive.
struct ItemRecord {
    CrumbItemPointer item;
    std::optional<std::string> exportedOriginal;  ///< none when the memory has no file
};

/// One file of the archive, with the content that it must have.
struct FileRecord {
    std::string relativePath;
    FileContent content;
};

/// The content of Collection.json in an export.
struct ArchiveManifest {
    Timestamp exportedAt;
    std::vector<CrumbGroup> groups;
    std::vector<ItemRecord> records;
    std::vector<FileRecord> files;  ///< sorted by path, byte by byte
    std::vector<std::string> originalFilesMissing;
};

/// Writes the manifest into a new file, pretty-printed with sorted keys. Has one record in memory
/// at a time, for libraries of any size. Does not sync the file. Throws FileError.
void writeManifest(FileSystem& files, const Path& path, const ArchiveManifest& manifest);

/// The part of a manifest that a restore needs.
struct ArchiveContents {
    struct File {
        std::string relativePath;  ///< as written in the manifest, not checked
        std::int64_t byteCount = 0;
        /// As written; only 64 lower-case digits can match.
        std::optional<Sha256Digest> digest;
    };

    std::int64_t recordCount = 0;
    std::vector<File> files;
    /// `exportedOriginal` of each memory that has one, as written and not checked.
    std::map<Uuid, std::string> exportedOriginals;
};

/// A file is no manifest that this program can read.
class ManifestError : public Error {
  public:
    using Error::Error;
};

/// Limits that keep a manifest of foreign origin from filling the memory.
struct ManifestLimits {
    std::int64_t valueByteCount = std::int64_t{256} << 20;  ///< from one value to the next
    std::size_t recordCount = 10'000'000;
    std::size_t fileCount = 4'000'000;
    int depth = 16;
};

/// Reads a manifest of any size, one record at a time, and checks each field's type. Throws
/// ManifestError, or FileError when the file cannot be read.
ArchiveContents readManifest(FileSystem& files, const Path& path,
                             const ManifestLimits& limits = {});

}  // namespace nookery
