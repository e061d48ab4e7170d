#include "collection/capture/CaptureWork.h"

#include <algorithm>
#include <array>

#include "collection/originals/OriginalNames.h"
#include "collection/text/FileText.h"
#include "collection/text/TextExtraction.h"
#include "collection/text/WebAddress.h"
#include "foundation/DurableFile.h"
#include "foundation/Text.h"
#include "foundation/TextDecoding.h"
#include "platform/Clock.h"
#include "platform/WebFetcher.h"

namespace nookery {
namespace {

constexpr std::size_t batchEntryCount = 128;
constexpr std::int64_t batchByteCount = 32 << 20;
constexpr std::size_t settledTextByteCount = 32 << 20;

using Stage = CaptureEntry::Stage;

bool isPage(const std::string& mediaType) {
    return mediaType == "text/html" || mediaType == "application/xhtml+xml";
}

/// Messages of those who read the copy name its temporary place, which means nothing to a reader.
std::string namingSource(std::string message, const CaptureEntry& entry) {
    const Path& place = entry.original->place;
    const std::array names{
        std::pair(displayName(place), entry.source),
        std::pair(displayName(place.filename()), displayName(Path(entry.source).filename()))};
    for (const auto& [name, shown] : names) {
        const std::size_t position = message.find(name);
        if (position != std::string::npos) return message.replace(position, name.size(), shown);
    }
    return message;
}

std::size_t textByteCount(const CrumbItem& item) {
    return item.searchableText.size() + (item.text ? item.text->size() : 0);
}

}  // namespace

Path incomingFolder(const LibraryLayout& layout) {
    return layout.items() / (std::string(temporaryPrefix) + "incoming");
}

CaptureWork::CaptureWork(const Platform& platform, LibraryLayout layout, CaptureRequest request,
                         std::stop_token stop)
    : platform_(platform),
      layout_(std::move(layout)),
      request_(std::move(request)),
      stop_(std::move(stop)),
      walk_(platform_.files, layout_, std::move(request_.sources)),
      copier_(platform_, incomingFolder(layout_), stop_) {}

CaptureBatch CaptureWork::gather() {
    CaptureBatch batch;
    std::int64_t byteCount = 0;
    while (batch.entries.size() < batchEntryCount && byteCount < batchByteCount &&
           !stop_.stop_requested()) {
        auto found = walk_.next();
        batch.isLast = !found;
        if (!found) break;
        auto entry = begin(std::move(*found));
        if (!entry) break;
        if (entry->original) byteCount += entry->original->marks.byteCount;
        byteCount += static_cast<std::int64_t>(textByteCount(entry->memory.item));
        batch.entries.push_back(std::move(*entry));
    }
    batch.foundCount = walk_.foundCount();
    return batch;
}

/// None when stop was requested half-way.
std::optional<CaptureEntry> CaptureWork::begin(FoundSource found) {
    CaptureEntry entry;
    entry.source = found.source;
    CrumbItem& item = entry.memory.item;
    item.id = Uuid::random();
    item.createdAt = platform_.clock.now();
    item.note = request_.note;
    item.groupID = request_.groupID;
    item.sourceItemID = request_.sourceItemID;
    entry.memory.tags = request_.tags;
    try {
        beginContent(entry, found);
    } catch (const Cancelled&) {
        return std::nullopt;
    } catch (const std::exception& error) {
        const auto* file = std::get_if<FoundFile>(&found.content);
        entry.fail(file == nullptr ? describe(error)
                                   : namingShown(describe(error), {file->path, entry.source}));
    }
    return entry;
}

void CaptureWork::beginContent(CaptureEntry& entry, FoundSource& found) {
    if (const auto* leftOut = std::get_if<LeftOut>(&found.content)) {
        entry.stage = leftOut->isFailure ? Stage::failed : Stage::skipped;
        entry.message = leftOut->message;
        return;
    }
    if (const auto* file = std::get_if<FoundFile>(&found.content)) beginFile(entry, *file);
    if (const auto* link = std::get_if<CaptureLink>(&found.content)) beginLink(entry, *link);
    if (const auto* text = std::get_if<CaptureText>(&found.content)) beginText(entry, *text);
    entry.hasGivenTitle = found.isNamed && request_.title;
    if (entry.hasGivenTitle) entry.memory.item.title = *request_.title;
}

void CaptureWork::beginFile(CaptureEntry& entry, const FoundFile& file) {
    makeIncomingFolder();
    entry.original = copier_.copy(file.path, file.name);
    entry.origin = CaptureOrigin{.path = file.path,
                                 .status = entry.original->source,
                                 .digest = entry.original->digest,
                                 .memoryID = {}};
    entry.wishedName = originalName(file.name);
    entry.memory.item.title = titleFromFileName(file.name);
    entry.memory.item.kind = entry.original->type.isImage() ? CrumbKind::image : CrumbKind::file;
}

void CaptureWork::beginLink(CaptureEntry& entry, const CaptureLink& link) {
    const auto address = parseWebAddress(link.url);
    if (!address)
        throw Error("This is not a web address. It has to begin with http:// or https://.");
    entry.linkIdentity = address->identity;
    entry.fetch = link.fetch;
    entry.memory.item.kind = CrumbKind::url;
    entry.memory.item.urlString = address->url;
    entry.memory.item.title = address->readable;
}

void CaptureWork::beginText(CaptureEntry& entry, const CaptureText& text) {
    const ContentType type = platform_.contentTypes.detect(text.text, Path());
    std::string decoded = decodeText(text.text);
    const bool isBlank = trimmed(decoded).empty();
    if (!isBlank && !type.isText()) {
        throw Error("This is not text. Save it as a file and add that.");
    }
    if (isBlank && !request_.title && request_.note.empty()) {
        throw Error("There is no text to keep.");
    }
    entry.memory.item.kind = CrumbKind::text;
    entry.memory.item.title = titleFromText(decoded);
    entry.memory.item.text = std::move(decoded);
}

void CaptureWork::makeIncomingFolder() {
    if (incomingMade_) return;
    createDirectories(platform_.files, incomingFolder(layout_));
    incomingMade_ = true;
}

void CaptureWork::settle(CaptureBatch& batch) {
    const auto entries = readAccepted(batch);
    if (!stop_.stop_requested()) place(entries);
    for (CaptureEntry& entry : batch.entries) {
        const bool isGivenUp = stop_.stop_requested() && entry.stage < Stage::ready;
        if (isGivenUp || (!entry.isOpen() && entry.stage != Stage::added)) discardOriginal(entry);
    }
}

/// The entries that were read and are still well.
std::vector<CaptureEntry*> CaptureWork::readAccepted(CaptureBatch& batch) {
    std::vector<CaptureEntry*> wellRead;
    std::size_t byteCount = 0;
    for (CaptureEntry& entry : batch.entries) {
        if (entry.stage != Stage::accepted) continue;
        if (byteCount >= settledTextByteCount || stop_.stop_requested()) break;
        try {
            read(entry);
            wellRead.push_back(&entry);
        } catch (const Cancelled&) {
            break;
        } catch (const std::exception& error) {
            entry.fail(entry.original ? namingSource(describe(error), entry) : describe(error));
        }
        byteCount += textByteCount(entry.memory.item);
    }
    return wellRead;
}

void CaptureWork::read(CaptureEntry& entry) {
    if (entry.fetch) fetchPage(entry);
    if (!entry.original || !entry.original->file) return;
    copier_.verify(*entry.original);
    readText(entry);
}

/// Content before names: a name that survives a power cut always stands for a whole file.
void CaptureWork::place(std::span<CaptureEntry* const> entries) {
    std::vector<OriginalCopy*> unsynced;
    for (CaptureEntry* entry : entries) {
        if (entry->original && entry->original->file) unsynced.push_back(&*entry->original);
    }
    std::string failure;
    try {
        syncTogether(unsynced);
    } catch (const FileError& error) {
        failure = FileError("copy into", layout_.items(), error.errorNumber()).description();
    }
    for (CaptureEntry* entry : entries) {
        try {
            if (entry->original && !failure.empty()) throw Error(failure);
            giveName(*entry);
        } catch (const Error& error) {
            entry->fail(error.description());
        }
    }
    syncItems(entries);
}

void CaptureWork::readText(CaptureEntry& entry) {
    const ContentType& type = entry.original->type;
    ExtractedText extracted =
        extractText(entry.original->place, type, platform_.files, platform_.documents, {}, stop_);
    if (extracted.problem) entry.message = namingSource(*extracted.problem, entry);
    CrumbItem& item = entry.memory.item;
    if (isPage(type.mediaType) && !extracted.title.empty()) {
        if (!entry.hasGivenTitle) item.title = extracted.title;
        item.text = std::move(extracted.text);
        return;
    }
    item.searchableText = std::move(extracted.text);
    // A document's own title is often its best description, and the file name is the title.
    if (!extracted.title.empty() && !item.searchableText.starts_with(extracted.title)) {
        item.searchableText.insert(0, extracted.title + "\n");
    }
}

/// The link is kept whether or not its page can be read: it is what the person gave.
void CaptureWork::fetchPage(CaptureEntry& entry) {
    try {
        if (platform_.web == nullptr) throw Error("This program cannot fetch pages.");
        readPage(entry, platform_.web->fetch(*entry.memory.item.urlString, stop_));
    } catch (const Cancelled&) {
        throw;
    } catch (const Error& error) {
        entry.message = "The link was kept without its page. " + error.description();
    }
}

void CaptureWork::readPage(CaptureEntry& entry, const FetchedPage& fetched) {
    ContentType type{fetched.mediaType};
    if (type.mediaType.empty()) type = platform_.contentTypes.detect(fetched.body, Path());
    if (!isPage(type.mediaType) && !type.isText()) {
        throw Error("The address gives " + type.mediaType + ", not a page of text.");
    }
    auto text = decodeTextAs(fetched.body, fetched.encoding);
    if (!text) text = decodeText(fetched.body);
    CrumbItem& item = entry.memory.item;
    if (!isPage(type.mediaType)) {
        item.searchableText = std::move(*text);
        return;
    }
    if (const auto title = titleFromHTML(*text); title && !entry.hasGivenTitle) item.title = *title;
    item.searchableText = plainTextFromHTML(*text);
}

void CaptureWork::giveName(CaptureEntry& entry) {
    if (entry.original) {
        if (entry.original->file) entry.original->file->close();
        entry.original->file.reset();
        const Path place = layout_.items() / *entry.finalName;
        if (!moveTo(place, *entry.original)) {
            entry.stage = Stage::nameTaken;
            return;
        }
        entry.memory.item.filePath = place.native();
    }
    entry.stage = Stage::ready;
}

/// False when something has the name already.
bool CaptureWork::moveTo(const Path& place, OriginalCopy& original) {
    try {
        platform_.files.renameExclusive(original.place, place);
        original.place = place;
        return true;
    } catch (const FileError& error) {
        if (error.errorNumber() == EEXIST) return false;
        throw FileError("copy into", layout_.items(), error.errorNumber());
    }
}

void CaptureWork::syncItems(std::span<CaptureEntry* const> entries) {
    const auto waits = [](const CaptureEntry* entry) {
        return entry->stage == Stage::ready && entry->original;
    };
    if (std::none_of(entries.begin(), entries.end(), waits)) return;
    try {
        platform_.files.syncDirectory(layout_.items());
    } catch (const FileError& error) {
        for (CaptureEntry* entry : entries) {
            if (waits(entry)) entry->fail(error.description());
        }
    }
}

void CaptureWork::discard(CaptureBatch& batch) {
    for (CaptureEntry& entry : batch.entries) {
        if (entry.stage != Stage::added) discardOriginal(entry);
    }
}

void CaptureWork::discardOriginal(CaptureEntry& entry) {
    if (!entry.original) return;
    entry.original->file.reset();
    const bool removed = removeQuietly(platform_.files, entry.original->place);
    entry.leftBehind = !removed && entry.memory.item.filePath;
    entry.original.reset();
}

void CaptureWork::finish() {
    if (!incomingMade_) return;
    try {
        platform_.files.removeDirectory(incomingFolder(layout_));
    } catch (const FileError&) {
        // A file that could not be removed is still in it; the next start removes both.
    }
}

}  // namespace nookery
