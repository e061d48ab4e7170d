#include "foundation/DurableBatch.h"

#include "foundation/DurableFile.h"

namespace nookery {

void syncTogether(std::span<WritableFile* const> files) {
    // For more than a few files, one sync of the file system is far cheaper than one of each. For
    // fewer it may have to wait for everything that other programs have just written.
    constexpr std::size_t fewFiles = 8;
    if (files.size() <= fewFiles) {
        for (WritableFile* file : files) file->sync();
    } else {
        // The file that was opened first reports the failures of everything written after it.
        files.front()->syncFileSystem();
    }
}

DurableBatch::~DurableBatch() {
    for (const Entry& entry : entries_) giveUp(entry);
}

WritableFile& DurableBatch::add(const Path& path) {
    Path temporary = temporaryBeside(path);
    auto file = files_.createFile(temporary);
    entries_.push_back({path, std::move(temporary), std::move(file)});
    return *entries_.back().file;
}

void DurableBatch::dropLast() {
    const Entry last = std::move(entries_.back());
    entries_.pop_back();
    giveUp(last);
}

void DurableBatch::commit() {
    if (entries_.empty()) return;
    std::vector<WritableFile*> written;
    for (const Entry& entry : entries_) written.push_back(entry.file.get());
    syncTogether(written);
    for (const Entry& entry : entries_) entry.file->close();
    const Path folder = entries_.front().path.parent_path();
    while (!entries_.empty()) {
        files_.rename(entries_.back().temporary, entries_.back().path);
        entries_.pop_back();
    }
    files_.syncDirectory(folder);
}

void DurableBatch::giveUp(const Entry& entry) noexcept {
    try {
        files_.removeFile(entry.temporary);
    } catch (...) {
        // The disk is gone or the folder turned read-only: what stays is only a temporary file.
    }
}

}  // namespace nookery
