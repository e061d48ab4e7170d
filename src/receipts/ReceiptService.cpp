#include "receipts/ReceiptService.h"

#include <algorithm>

#include "collection/originals/OriginalCopy.h"
#include "foundation/Text.h"
#include "platform/Clock.h"
#include "platform/ContentType.h"
#include "platform/Log.h"
#include "platform/Problem.h"

namespace nookery {
namespace {

ReceiptList shared(std::vector<CrumbReceipt> receipts) {
    ReceiptList list;
    list.reserve(receipts.size());
    for (CrumbReceipt& receipt : receipts) {
        list.push_back(std::make_shared<const CrumbReceipt>(std::move(receipt)));
    }
    return list;
}

auto placeOf(const ReceiptList& list, const Uuid& id) {
    return std::find_if(list.begin(), list.end(),
                        [&](const ReceiptPointer& receipt) { return receipt->id == id; });
}

bool isBuiltInCategory(std::string_view name) {
    return std::any_of(
        builtInCategories.begin(), builtInCategories.end(),
        [&](std::string_view builtIn) { return lowerCased(builtIn) == lowerCased(name); });
}

/// A copy's name, or a whole path, means nothing to whoever gave the file.
std::string namingSource(std::string message, const Path& file, const std::string& source) {
    for (const std::string& name : {displayName(file), displayName(file.filename())}) {
        const std::size_t position = message.find(name);
        if (position != std::string::npos) return message.replace(position, name.size(), source);
    }
    return message;
}

/// Runs the work; what it throws gets words in front that say what was being done.
template <typename Work>
auto saying(const char* prefix, const Work& work) {
    try {
        return work();
    } catch (const Cancelled&) {
        throw;
    } catch (const Error& error) {
        throw Error(prefix + error.description());
    }
}

}  // namespace

ReceiptSource receiptSourceOf(const CrumbItem& memory, const Platform& platform) {
    return saying("Unable to select receipt: ", [&] {
        if (!memory.filePath) throw Error("the memory has no original.");
        const Path file = *memory.filePath;
        const auto real = platform.files.resolve(file);
        if (!real) throw FileError("find", file, ENOENT);
        const ContentType type = platform.contentTypes.detect(
            readFileHead(platform.files, *real, ContentTypeDetector::headByteCount), file);
        if (!type.isImage() && type.mediaType != "application/pdf") {
            throw Error(displayName(file) + " is neither an image nor a PDF.");
        }
        return ReceiptSource{file, memory.id.toString(), memory.id};
    });
}

/// One import: the files left, and what became of the others. It ends its operation at the latest
/// when it is dropped, as happens to it when the service goes.
struct ReceiptService::Import {
    Import(std::vector<ReceiptSource> files, BeforeAdd told, OperationPointer<ReceiptImport> begun)
        : sources(std::move(files)), beforeAdd(std::move(told)), operation(std::move(begun)) {}
    Import(const Import&) = delete;
    Import& operator=(const Import&) = delete;
    ~Import() { operation->finish(Outcome<ReceiptImport>::stopped()); }

    void refuse(const ReceiptSource& source, const std::string& reason) {
        result.failed.push_back({source.name, "Unable to import receipt: " + reason});
    }

    std::vector<ReceiptSource> sources;
    BeforeAdd beforeAdd;
    OperationPointer<ReceiptImport> operation;
    std::size_t next = 0;
    ReceiptImport result{};
};

ReceiptService::ReceiptService(const Platform& platform, LibraryLayout layout,
                               RecordOriginal recordOriginal)
    : platform_(platform),
      layout_(std::move(layout)),
      recordOriginal_(std::move(recordOriginal)),
      store_(platform.files, layout_) {}

ReceiptService::~ReceiptService() { stop_.request_stop(); }

void ReceiptService::open() {
    saying("Unable to load Receipts: ", [&] {
        store_.open();
        removeInterruptedCopies(platform_.files, layout_);
        receipts_.set(shared(store_.load()));
    });
}

bool ReceiptService::openForReading() {
    return saying("Unable to load Receipts: ", [&] {
        if (!store_.openForReading()) return false;
        receipts_.set(shared(store_.load()));
        return true;
    });
}

ReceiptPointer ReceiptService::find(const Uuid& id) const {
    const auto place = placeOf(*receipts_, id);
    return place == receipts_->end() ? nullptr : *place;
}

std::vector<std::string> ReceiptService::categories() {
    std::vector<std::string> names(builtInCategories.begin(), builtInCategories.end());
    for (std::string& name : store_.customCategories()) {
        if (!isBuiltInCategory(name)) names.push_back(std::move(name));
    }
    return names;
}

void ReceiptService::addCategory(const std::string& name) {
    const std::string_view plain = trimmed(name);
    if (plain.empty()) throw Error("A category needs a name.");
    store_.addCategory(std::string(plain));
}

OperationPointer<ReceiptImport> ReceiptService::import(std::vector<ReceiptSource> sources,
                                                       BeforeAdd beforeAdd) {
    auto operation = Operation<ReceiptImport>::create(platform_.mainQueue);
    importNext(std::make_shared<Import>(std::move(sources), std::move(beforeAdd), operation));
    return operation;
}

/// One file at a time: copied off the main thread, then recorded on it.
void ReceiptService::importNext(const std::shared_ptr<Import>& import) {
    const OperationControl& control = import->operation->control();
    if (import->next == import->sources.size() || control.isStopRequested()) {
        import->operation->finish(Outcome<ReceiptImport>::done(std::move(import->result)));
        return;
    }
    control.report({"taking in", import->next, import->sources.size()});
    const ReceiptSource source = import->sources[import->next++];
    Task::run(
        platform_.captureQueue, platform_.mainQueue, guard_,
        [platform = platform_, layout = layout_, file = source.file, stop = control.stopToken()] {
            return preserveReceipt(platform, layout, file, stop);
        },
        [this, import, source](const Outcome<PreservedReceipt>& preserved) {
            try {
                takeOver(*import, source, preserved);
                importNext(import);
            } catch (...) {
                import->operation->finish(Outcome<ReceiptImport>::of(std::current_exception()));
            }
        });
}

/// A stopped copy is neither taken in nor refused.
void ReceiptService::takeOver(Import& import, const ReceiptSource& source,
                              const Outcome<PreservedReceipt>& preserved) {
    if (preserved.isDone()) add(import, source, preserved.get());
    if (const Failure* failure = preserved.failure()) {
        import.refuse(source,
                      namingSource(failure->message, source.file, displayName(source.name)));
    }
}

void ReceiptService::add(Import& import, const ReceiptSource& source,
                         const PreservedReceipt& preserved) {
    CrumbReceipt receipt;
    receipt.id = Uuid::random();
    receipt.originalFilePath = preserved.place.native();
    receipt.sourceCrumbID = source.crumbID;
    receipt.importedAt = receipt.modifiedAt = platform_.clock.now();
    try {
        if (import.beforeAdd) import.beforeAdd(receipt).throwIfFailed();
        store_.save(receipt);
    } catch (const Error& error) {
        removeQuietly(platform_.files, preserved.place);
        import.refuse(source, error.description());
        return;
    }
    recordOriginal(import, receipt.id, preserved.fact);
    put(receipt);
    import.result.added.push_back(find(receipt.id));
    read(receipt, source.name);
}

/// A digest that cannot be recorded is missed by later checks only.
void ReceiptService::recordOriginal(Import& import, const Uuid& id, OriginalFact fact) {
    fact.memoryID = id;
    try {
        for (const OriginalFact& earlier : recordOriginal_(fact)) {
            if (find(earlier.memoryID)) import.result.sameFileAs.emplace(id, earlier.memoryID);
        }
    } catch (const Error& error) {
        platform_.log.line("NOOKERY sidecar save error: " + error.description());
    }
}

/// Recognition has a record to fill in any case: whatever goes wrong becomes a message beside it.
void ReceiptService::read(const CrumbReceipt& receipt, const std::string& name) {
    beingRead_.update([&](auto& ids) { ids.insert(receipt.id); });
    const Path file = *receipt.originalFilePath;
    Task::run(
        platform_.enrichQueue, platform_.mainQueue, guard_,
        [platform = platform_, file, stop = stop_.get_token()] {
            return CrumbReceiptRecognizer::parse(
                CrumbReceiptRecognizer::recognise(platform, file, stop));
        },
        [this, id = receipt.id, file, name](const Outcome<CrumbReceiptRecognizer::Result>& read) {
            if (read.isDone()) return merge(id, read.get());
            const Failure* failure = read.failure();  // none when the service is closing
            finishReading(id, failure ? "Receipt saved, but recognition could not begin: " +
                                            namingSource(failure->message, file, displayName(name))
                                      : "");
        });
}

/// Fills what the record lacks, and nothing else: the person may have corrected it meanwhile.
void ReceiptService::merge(const Uuid& id, const CrumbReceiptRecognizer::Result& result) {
    const auto current = find(id);
    if (!current) return finishReading(id, "");
    CrumbReceipt filled = *current;
    if (!filled.merchant) filled.merchant = result.merchant;
    if (!filled.purchaseDate) filled.purchaseDate = result.purchaseDate;
    if (!filled.totalCents && result.totalCents) filled.totalCents = result.totalCents;
    std::string failure;
    try {
        if (filled != *current) {
            filled.modifiedAt = platform_.clock.now();
            store_.save(filled);
            put(std::move(filled));
        }
    } catch (const Error& error) {
        failure = "Receipt saved, but recognition could not be recorded: " + error.description();
    }
    finishReading(id, failure);
}

void ReceiptService::finishReading(const Uuid& id, const std::string& failure) {
    tellProblem(id, failure);
    if (!failure.empty()) {
        platform_.log.line(failure);
        recognitionMessages_.update([&](auto& messages) { messages[id] = failure; });
    }
    beingRead_.update([&](auto& ids) { ids.erase(id); });
}

void ReceiptService::tellProblem(const Uuid& id, const std::string& failure) {
    const auto receipt = find(id);
    if (!receipt || !receipt->originalFilePath) return;
    const ProblemSubject subject{ProblemKind::receipt, *receipt->originalFilePath, {}};
    if (failure.empty()) return platform_.log.mended(subject);
    platform_.log.report({subject, failure, "Look at the receipt and type in what is missing."});
}

void ReceiptService::save(CrumbReceipt edited) {
    if (edited.merchant) {
        const std::string merchant(trimmed(*edited.merchant));
        edited.merchant = merchant.empty() ? std::nullopt : std::optional(merchant);
    }
    edited.modifiedAt = platform_.clock.now();
    saying("Unable to save receipt: ", [&] { store_.save(edited); });
    put(std::move(edited));
}

void ReceiptService::remove(const Uuid& id) {
    saying("Unable to remove receipt: ", [&] { store_.remove(id); });
    tellProblem(id, "");
    receipts_.update([&](ReceiptList& list) {
        std::erase_if(list, [&](const ReceiptPointer& receipt) { return receipt->id == id; });
    });
}

/// Into the place that the list's order gives it.
void ReceiptService::put(CrumbReceipt receipt) {
    auto record = std::make_shared<const CrumbReceipt>(std::move(receipt));
    receipts_.update([&](ReceiptList& list) {
        if (const auto old = placeOf(list, record->id); old != list.end()) list.erase(old);
        const auto place =
            std::upper_bound(list.begin(), list.end(), record,
                             [](const ReceiptPointer& left, const ReceiptPointer& right) {
                                 return standsBefore(*left, *right);
                             });
        list.insert(place, record);
    });
}

}  // namespace nookery
