#include "receipts/ReceiptService.h"

#include <algorithm>

#include "collection/originals/OriginalCopy.h"
#include "foundation/Text.h"
#include "platform/Clock.h"
#include "platform/ContentType.h"
#include "platform/Log.h"

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

/// The copy's name means nothing to whoever gave the file.
std::string namingSource(std::string message, const Path& copy, const std::string& source) {
    for (const std::string& name : {displayName(copy), displayName(copy.filename())}) {
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

/// One import: the files left, and what became of the others.
struct ReceiptService::Job {
    std::vector<ReceiptSource> sources;
    std::stop_token stop;
    std::function<void(const ReceiptImport&)> finished;
    std::size_t next = 0;
    ReceiptImport outcome{};
};

ReceiptService::ReceiptService(const Platform& platform, LibraryLayout layout,
                               NoteOriginal recordOriginal)
    : platform_(platform),
      layout_(std::move(layout)),
      noteOriginal_(std::move(recordOriginal)),
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

void ReceiptService::import(std::vector<ReceiptSource> sources, std::stop_token stop,
                            std::function<void(const ReceiptImport&)> finished) {
    importNext(
        std::make_shared<Job>(Job{std::move(sources), std::move(stop), std::move(finished)}));
}

/// One file at a time: copied off the main thread, then recorded on it.
void ReceiptService::importNext(const std::shared_ptr<Job>& job) {
    if (job->next == job->sources.size() || job->stop.stop_requested()) {
        job->finished(job->outcome);
        return;
    }
    const ReceiptSource source = job->sources[job->next++];
    const auto copied = [this, job, source](const std::optional<PreservedReceipt>& preserved,
                                            const std::string& failure) {
        if (preserved) {
            add(*job, source, *preserved);
        } else if (!failure.empty()) {
            job->outcome.failed.push_back({source.name, "Unable to import receipt: " + failure});
        }
        importNext(job);
    };
    platform_.captureQueue.async([platform = platform_, layout = layout_, job, source,
                                  done = guard_.guarded(copied)]() mutable {
        std::optional<PreservedReceipt> preserved;
        std::string failure;
        try {
            preserved = preserveReceipt(platform, layout, source.file, job->stop);
        } catch (const Cancelled&) {
            // Neither taken in nor failed; the import ends here.
        } catch (const std::exception& error) {
            failure = describe(error);
        }
        platform.mainQueue.async(
            [done, preserved, failure]() mutable { done(preserved, failure); });
    });
}

void ReceiptService::add(Job& job, const ReceiptSource& source, const PreservedReceipt& preserved) {
    CrumbReceipt receipt;
    receipt.id = Uuid::random();
    receipt.originalFilePath = preserved.place.native();
    receipt.sourceCrumbID = source.crumbID;
    receipt.importedAt = receipt.modifiedAt = platform_.clock.now();
    try {
        store_.save(receipt);
    } catch (const Error& error) {
        removeQuietly(platform_.files, preserved.place);
        job.outcome.failed.push_back(
            {source.name, "Unable to import receipt: " + error.description()});
        return;
    }
    note(job, receipt.id, preserved.fact);
    put(receipt);
    job.outcome.added.push_back(find(receipt.id));
    read(receipt, source.name);
}

/// A digest that cannot be noted is missed by later checks only.
void ReceiptService::note(Job& job, const Uuid& id, OriginalFact fact) {
    fact.memoryID = id;
    try {
        for (const OriginalFact& earlier : noteOriginal_(fact)) {
            if (find(earlier.memoryID)) job.outcome.sameFileAs.emplace(id, earlier.memoryID);
        }
    } catch (const Error& error) {
        platform_.log.line("NOOKERY sidecar save error: " + error.description());
    }
}

/// Recognition has a record to fill in any case: whatever goes wrong becomes a message beside it.
void ReceiptService::read(const CrumbReceipt& receipt, const std::string& name) {
    beingRead_.update([&](auto& ids) { ids.insert(receipt.id); });
    const auto read = [this, id = receipt.id](
                          const std::optional<CrumbReceiptRecognizer::Result>& result,
                          const std::string& failure) {
        if (result) {
            merge(id, *result);
        } else {
            finishReading(id, failure.empty()
                                  ? ""
                                  : "Receipt saved, but recognition could not begin: " + failure);
        }
    };
    platform_.enrichQueue.async([platform = platform_, file = Path(*receipt.originalFilePath), name,
                                 stop = stop_.get_token(), done = guard_.guarded(read)]() mutable {
        std::optional<CrumbReceiptRecognizer::Result> result;
        std::string failure;
        try {
            result = CrumbReceiptRecognizer::parse(
                CrumbReceiptRecognizer::recognise(platform, file, stop));
        } catch (const Cancelled&) {
            // The desk is closing.
        } catch (const std::exception& error) {
            failure = namingSource(describe(error), file, displayName(name));
        }
        platform.mainQueue.async([done, result, failure]() mutable { done(result, failure); });
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
    if (!failure.empty()) {
        platform_.log.line(failure);
        recognitionMessages_.update([&](auto& messages) { messages[id] = failure; });
    }
    beingRead_.update([&](auto& ids) { ids.erase(id); });
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
