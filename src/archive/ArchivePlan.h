#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "archive/ArchiveManifest.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// What an export is going to copy, found out before anything is written. Only looks. Throws
/// ArchiveError for links and what cannot be listed, FileError for what cannot be looked at.
class ArchivePlan {
  public:
    struct Copy {
        Path source;
        std::string relativePath;  ///< inside the archive; valid UTF-8
    };

    ArchivePlan(FileSystem& files, const LibraryLayout& layout) : files_(files), layout_(layout) {}

    /// Everything in the library's `Items`. A missing folder counts as empty unless a record has an
    /// original in it.
    void addManagedOriginals(const CrumbItemList& items);
    /// Finds each memory's original among the managed ones, or plans to copy a linked one.
    void addRecords(const CrumbItemList& items);
    void addReceiptOriginals();

    /// Folders of the archive, parents before children.
    const std::vector<std::string>& folders() const { return folders_; }
    const std::vector<Copy>& copies() const { return copies_; }
    const std::vector<ItemRecord>& records() const { return records_; }
    const std::vector<std::string>& missingOriginals() const { return missing_; }

  private:
    /// How what cannot be archived is refused.
    struct Refusals {
        const char* list;   ///< a folder that cannot be listed
        const char* link;   ///< a symbolic link
        const char* other;  ///< what is neither file nor folder; null: it is passed over
    };

    void addTree(const Path& source, const std::string& target, const Refusals& refusals);
    void addEntry(const Path& source, const DirectoryEntry& entry, const std::string& target,
                  const Refusals& refusals);
    std::string freePath(const std::string& folder, const Path& name);
    void addMissing(const std::string& original);
    std::optional<std::string> exportedOriginal(const Path& original);
    std::optional<std::string> managedOriginal(const Path& original) const;
    std::optional<std::string> linkedOriginal(const Path& original);
    std::optional<Path> pathInItems(const Path& original) const;

    FileSystem& files_;
    LibraryLayout layout_;
    std::vector<std::string> folders_;
    std::vector<Copy> copies_;
    std::vector<ItemRecord> records_;
    std::vector<std::string> missing_;
    std::set<std::string> taken_;                            ///< paths inside the archive
    std::unordered_map<std::string, std::string> bySource_;  ///< source path to archive path
};

}  // namespace nookery
