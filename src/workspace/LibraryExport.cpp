#include "workspace/LibraryExport.h"

#include "collection/capture/JsonLines.h"
#include "foundation/DurableFile.h"
#include "retrieval/text/Hashtags.h"

namespace nookery {
namespace {

constexpr std::size_t pieceByteCount = std::size_t{1} << 20;

ExportReport writeAll(FileSystem& files, LibraryExport& lines, const Path& path,
                      const OperationControl& control) {
    const Path temporary = temporaryBeside(path);
    const auto file = files.createFile(temporary);
    try {
        for (std::string piece = lines.next(control); !piece.empty(); piece = lines.next(control)) {
            file->write(std::as_bytes(std::span(piece)));
        }
        file->sync();
        file->close();
        files.rename(temporary, path);
    } catch (...) {
        removeTree(files, temporary);
        throw;
    }
    files.syncDirectory(path.parent_path());
    return lines.report();
}

}  // namespace

LibraryExport::LibraryExport(const CrumbStore& store) : items_(*store.items()) {
    for (const auto& item : items_) {
        const auto& tags = store.annotations().manualTags(item->id);
        if (!tags.empty()) manualTags_.emplace(item->id, tags);
    }
}

std::string LibraryExport::next(const OperationControl& control) {
    if (!find_) find_ = finderIn(items_);
    std::string piece;
    for (; next_ < items_.size() && piece.size() < pieceByteCount; ++next_) {
        control.throwIfStopped();
        const CrumbItem& item = *items_[next_];
        if (isLocalOnly(item, find_)) {
            ++report_.leftOutCount;
            continue;
        }
        const auto manual = manualTags_.find(item.id);
        piece += jsonLineOf(item, allTags(item.title, item.note,
                                          manual == manualTags_.end() ? std::vector<std::string>()
                                                                      : manual->second));
        piece += '\n';
        ++report_.writtenCount;
    }
    control.report({"memories out", next_, items_.size()});
    return piece;
}

OperationPointer<std::string> nextPiece(const Platform& platform,
                                        std::shared_ptr<LibraryExport> lines) {
    return startOperation(platform.captureQueue, platform.mainQueue,
                          [lines = std::move(lines)](const OperationControl& control) {
                              return lines->next(control);
                          });
}

OperationPointer<ExportReport> startExport(const Platform& platform,
                                           std::shared_ptr<LibraryExport> lines, const Path& path) {
    return startOperation(
        platform.captureQueue, platform.mainQueue,
        [&files = platform.files, lines = std::move(lines), path](const OperationControl& control) {
            return writeAll(files, *lines, path, control);
        });
}

}  // namespace nookery
