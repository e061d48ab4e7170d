#include "receipts/CrumbReceiptExporter.h"

#include <fmt/format.h>

#include <set>

#include "collection/originals/OriginalCopy.h"
#include "collection/originals/OriginalNames.h"
#include "foundation/Text.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/PdfWriter.h"
#include "receipts/ReceiptReport.h"
#include "receipts/ReceiptSpreadsheets.h"
#include "receipts/ReceiptSummary.h"

namespace nookery {
namespace {

constexpr std::size_t bufferByteCount = std::size_t{64} << 10;

void logReason(const Platform& platform, const std::exception& reason) {
    platform.log.line(std::string("NOOKERY receipts export error: ") + reason.what());
}

/// The chosen folder without links. A package inside the library would be taken for a part of it.
Path checkedFolder(FileSystem& files, const LibraryLayout& layout, const Path& chosen) {
    const auto folder = files.resolve(chosen);
    const auto library = files.resolve(layout.library());
    const auto status = folder ? files.status(*folder) : std::nullopt;
    const bool isFolder = status && status->type == FileType::directory;
    const bool isInLibrary =
        folder && library && (folder->native() + "/").starts_with(library->native() + "/");
    if (!isFolder) throw ReceiptExportError("Choose an existing folder for the Receipts export.");
    if (isInLibrary) {
        throw ReceiptExportError("Choose a folder outside the library for the Receipts export.");
    }
    return *folder;
}

/// Copies originals into the package, under names that are unique on any system.
class PackageOriginals {
  public:
    PackageOriginals(const Platform& platform, const Path& staging, std::stop_token stop)
        : platform_(platform),
          folder_(staging / receiptpackage::originalsName),
          copier_(platform, folder_, std::move(stop)) {
        platform_.files.createDirectory(folder_);
    }

    /// The copy's name in the package; none when there is no file to copy.
    std::optional<std::string> copyOf(const CrumbReceipt& receipt) {
        if (!receipt.originalFilePath || !canBeAPath(*receipt.originalFilePath)) {
            return std::nullopt;
        }
        const Path source = *receipt.originalFilePath;
        try {
            if (!platform_.files.status(source)) return std::nullopt;
            return copyUnderFreeName(source, readableOriginalName(receipt));
        } catch (const Cancelled&) {
            throw;
        } catch (const std::exception& error) {
            const auto* fileError = dynamic_cast<const FileError*>(&error);
            const bool vanished =
                fileError && fileError->isNotFound() && fileError->path() == source;
            if (vanished) return std::nullopt;
            logReason(platform_, error);
            throw ReceiptExportError(
                fmt::format("Could not copy the original for {}. No export was completed.",
                            merchantOr(receipt, receipt.id.toString())));
        }
    }

  private:
    static bool canBeAPath(const std::string& stored) {
        return Path(stored).is_absolute() && stored.find('\0') == std::string::npos;
    }

    std::string copyUnderFreeName(const Path& source, const std::string& wished) {
        OriginalCopy copy = copier_.copy(source, source.filename());
        copy.file->close();
        copier_.verify(copy);
        const Path name = freeName(originalName(wished), [this](const Path& candidate) {
            return taken_.contains(lowerCased(candidate.native()));
        });
        taken_.insert(lowerCased(name.native()));
        platform_.files.rename(copy.place, folder_ / name);
        return std::string(receiptpackage::originalsName) + "/" + name.native();
    }

    const Platform& platform_;
    Path folder_;
    OriginalCopier copier_;
    std::set<std::string> taken_;  ///< lower-cased: some systems do not tell cases apart
};

/// One package, in its hidden folder.
class PackageBuilder {
  public:
    PackageBuilder(const Platform& platform, Path staging, OperationControl control)
        : platform_(platform), staging_(std::move(staging)), control_(std::move(control)) {}

    ReceiptPackage build(const ReceiptList& receipts) {
        ReceiptPackage package;
        package.exportedAt = platform_.clock.now();
        package.totals = totalsOf(receipts);
        platform_.files.createDirectory(staging_);
        copyOriginals(package, inLedgerOrder(receipts));
        writeText(receiptpackage::transactionsName,
                  [&](const ByteSink& sink) { writeTransactions(package, sink); });
        writeText(receiptpackage::toReviewName,
                  [&](const ByteSink& sink) { writeToReview(package, sink); });
        writeText(receiptpackage::summaryName,
                  [&](const ByteSink& sink) { sink(receiptsSummary(package)); });
        writeReport(package);
        platform_.files.syncFileSystem(staging_);
        return package;
    }

  private:
    void copyOriginals(ReceiptPackage& package, const ReceiptList& receipts) {
        PackageOriginals originals(platform_, staging_, control_.stopToken());
        for (const auto& receipt : receipts) {
            control_.throwIfStopped();
            ReceiptPackage::Row row{receipt, originals.copyOf(*receipt), {}};
            row.issues = issuesOf(*receipt, row.exportedOriginal.has_value());
            ++(row.exportedOriginal ? package.originalsCopied : package.originalsMissing);
            if (!row.issues.empty()) ++package.needReview;
            package.rows.push_back(std::move(row));
            control_.report({"copying originals", package.rows.size(), receipts.size()});
        }
    }

    void writeText(std::string_view name, const std::function<void(const ByteSink&)>& write) {
        const auto file = platform_.files.createFile(staging_ / name);
        std::string buffer;
        const auto flush = [&] {
            file->write(std::as_bytes(std::span(buffer)));
            buffer.clear();
        };
        write([&](std::string_view bytes) {
            buffer += bytes;
            if (buffer.size() >= bufferByteCount) flush();
        });
        flush();
        file->close();
    }

    void writeReport(const ReceiptPackage& package) {
        try {
            const auto file = platform_.files.createFile(staging_ / receiptpackage::reportName);
            platform_.pdf.write(*file, {.title = "NOOKERY Receipts: Accountant report"},
                                [&](PdfCanvas& canvas) { drawReceiptReport(canvas, package); });
            file->close();
        } catch (const Error& error) {
            logReason(platform_, error);
            throw ReceiptExportError(
                "Could not create the accountant PDF report. No export was completed.");
        }
    }

    const Platform& platform_;
    Path staging_;
    OperationControl control_;
};

std::string folderTime(Timestamp date) {
    const CalendarFields fields = localFields(date);
    return fmt::format("{:04}-{:02}-{:02}_{:02}-{:02}-{:02}", fields.year, fields.month, fields.day,
                       fields.hour, fields.minute, fields.second);
}

/// Under the export's name, or that with a number where it is taken.
Path moveInto(FileSystem& files, const Path& staging, const Path& folder, Timestamp exportedAt) {
    const Path wished = std::string(receiptpackage::folderPrefix) + folderTime(exportedAt);
    const Path target = folder / freeName(wished, [&](const Path& candidate) {
                            return files.status(folder / candidate).has_value();
                        });
    files.renameExclusive(staging, target);
    try {
        files.syncDirectory(folder);
    } catch (const FileError&) {
        // What might be gone after a power cut is not reported as a package.
        files.rename(target, staging);
        throw;
    }
    return target;
}

void removeStaging(FileSystem& files, const Path& staging) {
    try {
        removeTree(files, staging);
    } catch (const Error&) {
        // The failure that led here is the one to report.
    }
}

CrumbReceiptExporter::Exported writePackage(const Platform& platform, const LibraryLayout& layout,
                                            const ReceiptList& receipts, const Path& chosenFolder,
                                            const OperationControl& control) {
    FileSystem& files = platform.files;
    const Path folder = checkedFolder(files, layout, chosenFolder);
    const Path staging =
        folder / ("." + std::string(receiptpackage::folderPrefix) + Uuid::random().toString());
    try {
        ReceiptPackage package = PackageBuilder(platform, staging, control).build(receipts);
        const Path target = moveInto(files, staging, folder, package.exportedAt);
        return {target, std::move(package)};
    } catch (const FileError& error) {
        removeStaging(files, staging);
        // The hidden name means nothing to the reader, and is gone.
        const bool isHidden = error.path().native().starts_with(staging.native());
        if (isHidden) throw FileError("write into", folder, error.errorNumber());
        throw;
    } catch (const std::exception&) {
        removeStaging(files, staging);
        throw;
    }
}

}  // namespace

OperationPointer<CrumbReceiptExporter::Exported> CrumbReceiptExporter::exportTo(
    const Platform& platform, const LibraryLayout& layout, const ReceiptList& receipts,
    const Path& chosenFolder) {
    return startOperation(platform.captureQueue, platform.mainQueue,
                          [platform, layout, receipts, chosenFolder](const auto& control) {
                              return writePackage(platform, layout, receipts, chosenFolder,
                                                  control);
                          });
}

}  // namespace nookery
