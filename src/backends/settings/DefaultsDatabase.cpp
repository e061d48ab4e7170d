#include "backends/settings/DefaultsDatabase.h"

#include <fmt/format.h>

#include <cerrno>
#include <mutex>

#include "backends/settings/DefaultsJson.h"
#include "backends/settings/DefaultsTables.h"
#include "foundation/DurableFile.h"

namespace nookery {
namespace {

std::string adviceFor(const DatabaseError& error) {
    if (error.isBusy()) return "Another program is changing them; try again.";
    if (error.isDiskFull()) return "Free some space and try again.";
    if (error.isReadOnly()) return "Check that the file and its folder may be written to.";
    if (error.isDamaged()) {
        return "Move the file away to begin with new settings; a recovery snapshot brings tags "
               "and dates back.";
    }
    return "Check the file, its folder and the disk.";
}

/// `path_` only ever gets a whole database, by its name: where there is a file, it counts, and
/// where there is none, `earlier_` does.
class DefaultsDatabase final : public UserDefaults {
  public:
    DefaultsDatabase(FileSystem& files, const Path& folder)
        : files_(files),
          path_(folder / "defaults.sqlite3"),
          earlierPath_(folder / "defaults.json"),
          keptPath_(folder / "defaults.json.migrated") {}

    void open() {
        inWords("read", [&] {
            if (isThere()) return;
            earlier_ = readDefaultsJson(files_, earlierPath_);
            // Another program may have moved it over just before it was read.
            isThere();
        });
    }

    std::optional<std::string> get(std::string_view key) const override {
        return reading([&]() -> std::optional<std::string> {
            if (isThere()) return tables_->get(key);
            const auto found = earlier_.find(key);
            return found == earlier_.end() ? std::nullopt : std::optional(found->second);
        });
    }

    void set(std::string_view key, std::string_view value) override {
        changing([&] { tables_->set(key, value); });
    }

    void remove(std::string_view key) override {
        if (!get(key)) return;
        changing([&] { tables_->remove(key); });
    }

    std::vector<std::string> keys() const override {
        return reading([&] {
            if (isThere()) return tables_->keys();
            std::vector<std::string> found;
            for (const auto& [key, value] : earlier_) found.push_back(key);
            return found;
        });
    }

    std::vector<DefaultsEntry> entries(std::string_view key) const override {
        return reading([&]() -> std::vector<DefaultsEntry> {
            if (isThere()) return tables_->entries(key);
            const auto found = earlier_.find(key);
            if (found == earlier_.end()) return {};
            return entriesOf(key, found->second);
        });
    }

    std::vector<DefaultsEntry> entries(std::string_view key,
                                       const std::vector<std::string>& names) const override {
        return reading([&]() -> std::vector<DefaultsEntry> {
            if (isThere()) return tables_->entries(key, names);
            const auto found = earlier_.find(key);
            if (found == earlier_.end()) return {};
            return named(entriesOf(key, found->second), names);
        });
    }

    void changeEntries(const DefaultsChanges& changes) override {
        if (changes.empty()) return;
        changing([&] {
            for (const auto& [key, each] : changes) tables_->changeEntries(key, each);
        });
    }

  private:
    template <typename Work>
    auto reading(const Work& work) const -> decltype(work()) {
        const std::lock_guard lock(mutex_);
        return inWords("read", work);
    }

    template <typename Change>
    void changing(const Change& change) {
        const std::lock_guard lock(mutex_);
        inWords("changed", [&] {
            if (!isThere()) create();
            SqliteTransaction transaction(tables_->connection());
            change();
            transaction.commit();
        });
        keepEarlierFile();
    }

    template <typename Work>
    auto inWords(std::string_view verb, const Work& work) const -> decltype(work()) {
        try {
            return work();
        } catch (const DatabaseError& error) {
            throw DefaultsError(fmt::format("The settings in {} cannot be {}: {}. {}",
                                            displayName(path_), verb, error.message(),
                                            adviceFor(error)));
        }
    }

    /// Whether the database is there; it is open then.
    bool isThere() const {
        if (tables_) return true;
        if (!files_.statusFollowingLinks(path_)) return false;
        tables_.emplace(DefaultsTables::open(path_));
        earlier_.clear();
        return true;
    }

    /// Whatever happens on the way, there is the whole database afterwards, or none.
    void create() {
        createDirectories(files_, path_.parent_path());
        const auto values = readDefaultsJson(files_, earlierPath_);
        const Path temporary = temporaryBeside(path_);
        try {
            DefaultsTables::create(temporary, values);
            files_.renameExclusive(temporary, path_);
        } catch (const Error&) {
            discard(temporary);
            // Another program has just made it: then that one counts.
            if (!files_.statusFollowingLinks(path_)) throw;
        }
        files_.syncDirectory(path_.parent_path());
        if (!isThere()) throw FileError("read", path_, ENOENT);
    }

    void discard(const Path& temporary) {
        for (const Path& path : {temporary, Path(temporary.native() + "-journal")}) {
            try {
                if (files_.status(path)) files_.removeFile(path);
            } catch (const FileError&) {
                // What made it necessary is told.
            }
        }
    }

    /// A file that is read no more but may hold years. Where it cannot be moved the change is made
    /// all the same; the next program tries again.
    void keepEarlierFile() {
        if (isEarlierFileKept_) return;
        try {
            if (files_.status(earlierPath_)) {
                files_.renameExclusive(earlierPath_, keptPath_);
                files_.syncDirectory(path_.parent_path());
            }
        } catch (const FileError&) {
        }
        isEarlierFileKept_ = true;
    }

    FileSystem& files_;
    Path path_;
    Path earlierPath_;
    Path keptPath_;
    /// Held by every call: SQLite's connection serves one at a time.
    mutable std::mutex mutex_;
    mutable std::optional<DefaultsTables> tables_;
    mutable std::map<std::string, std::string, std::less<>> earlier_;
    bool isEarlierFileKept_ = false;
};

}  // namespace

std::unique_ptr<UserDefaults> openDefaultsDatabase(FileSystem& files, const Path& folder) {
    auto defaults = std::make_unique<DefaultsDatabase>(files, folder);
    defaults->open();
    return defaults;
}

}  // namespace nookery
