#include "fieldreports/FieldReportWorkingCopy.h"

#include <fmt/format.h>

#include "collection/originals/OriginalNames.h"
#include "fieldreports/FieldReportError.h"
#include "foundation/DurableFile.h"

namespace nookery {
namespace {

constexpr std::string_view draftName = "draft.json";
constexpr std::size_t maximumDraftByteCount = std::size_t{64} << 20;

}  // namespace

FieldReportWorkingCopy::FieldReportWorkingCopy(FileSystem& files, const LibraryLayout& layout,
                                               NookeryReceivedFieldReport report)
    : files_(files), folder_(folderOf(layout, report.id)), report_(std::move(report)) {}

Path FieldReportWorkingCopy::folderOf(const LibraryLayout& layout, const Uuid& id) {
    return layout.fieldReportEdits() / id.toString();
}

std::optional<NookeryReportWorkingDraft> FieldReportWorkingCopy::saved() const {
    if (!files_.status(folder_ / draftName)) return std::nullopt;
    try {
        return draftFromJson(readWholeFile(files_, folder_ / draftName, maximumDraftByteCount));
    } catch (const FileError&) {
        throw;
    } catch (const Error& error) {
        throw FieldReportError(
            fmt::format("The working copy {} cannot be read: {} Move it away to begin again with "
                        "what was received.",
                        displayName(folder_ / draftName), error.description()));
    }
}

NookeryReportWorkingDraft FieldReportWorkingCopy::draft() const {
    auto draft = saved();
    return draft ? std::move(*draft) : draftOf(report_);
}

void FieldReportWorkingCopy::save(const NookeryReportWorkingDraft& draft) {
    explaining("Could not save report edits: ", [&] {
        createDirectories(files_, folder_);
        writeDurably(files_, folder_ / draftName, toJsonText(draft));
    });
}

NookeryReportWorkingDraft::Media FieldReportWorkingCopy::addFile(const Path& source) {
    return explaining("Could not add file: ", [&] { return copyIn(source); });
}

NookeryReportWorkingDraft::Media FieldReportWorkingCopy::copyIn(const Path& source) {
    const auto real = files_.resolve(source);
    const auto status = real ? files_.status(*real) : std::nullopt;
    if (!status || status->type != FileType::regular) {
        throw FieldReportError(fmt::format("{} is no file.", displayName(source)));
    }
    createDirectories(files_, folder_);
    const Path name = freeName(originalName(source), [&](const Path& taken) {
        return taken == draftName || files_.status(folder_ / taken);
    });
    copyNewFile(files_, *real, folder_ / name, {});
    files_.syncDirectory(folder_);
    return {
        .id = Uuid::random(), .displayName = originalName(source), .addedFileName = name.native()};
}

Path FieldReportWorkingCopy::fileOf(const NookeryReportWorkingDraft::Media& media) const {
    if (media.addedFileName) return folder_ / *media.addedFileName;
    for (const FieldReportAttachment& attachment : report_.attachments) {
        if (attachment.id == media.id) return attachment.url;
    }
    throw FieldReportError(fmt::format("The report has no attachment \"{}\".", media.displayName));
}

OperationPointer<std::vector<NookeryReportWorkingDraft::Media>> addFiles(
    const Platform& platform, FieldReportWorkingCopy workingCopy,
    const std::vector<Path>& sources) {
    return startOperation(
        platform.captureQueue, platform.mainQueue,
        [workingCopy = std::move(workingCopy), sources](const OperationControl& control) mutable {
            std::vector<NookeryReportWorkingDraft::Media> added;
            for (const Path& source : sources) {
                control.report({"copying", added.size(), sources.size()});
                added.push_back(workingCopy.addFile(source));
            }
            return added;
        });
}

}  // namespace nookery
