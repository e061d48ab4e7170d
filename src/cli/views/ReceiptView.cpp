#include "cli/views/ReceiptView.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/line/Command.h"
#include "cli/output/TextLayout.h"
#include "cli/views/Ids.h"
#include "collection/database/SQLiteDatabase.h"

namespace nookery::cli {
namespace {

constexpr std::size_t labelColumns = 16;
constexpr std::size_t mostMerchantColumns = 40;

bool libraryExists(FileSystem& files, const LibraryLayout& layout) {
    return files.statusFollowingLinks(layout.database()) ||
           files.statusFollowingLinks(layout.legacyFile());
}

ReceiptDesk::NoteOriginal noting(Session& session,
                                 const std::shared_ptr<std::optional<Sidecar>>& sidecar) {
    return [&session, sidecar](const OriginalFact& fact) {
        if (!*sidecar) *sidecar = Sidecar::open(session.platform().files, session.layout());
        auto earlier = (*sidecar)->originalsWithDigest(fact.digest);
        (*sidecar)->recordOriginals({&fact, 1});
        (*sidecar)->makeDurable();
        return earlier;
    };
}

template <typename Value>
OrderedJson orNull(const std::optional<Value>& value) {
    return value ? OrderedJson(*value) : OrderedJson();
}

void printField(Session& session, std::string_view label, const std::string& value) {
    if (value.empty()) return;
    session.out().writeLine(session.style().inDim(padded(label, labelColumns)) + value);
}

template <typename Terms>
std::vector<std::string> wordsOf(const Terms& terms) {
    std::vector<std::string> words;
    for (const auto& term : terms) words.emplace_back(term.raw);
    return words;
}

}  // namespace

OpenReceipts::OpenReceipts(Session& session)
    : sidecar_(std::make_shared<std::optional<Sidecar>>()),
      desk_(std::make_unique<ReceiptDesk>(session.platform(), session.layout(),
                                          noting(session, sidecar_))) {}

OpenReceipts OpenReceipts::forWriting(Session& session) {
    FileSystem& files = session.platform().files;
    OpenReceipts receipts(session);
    receipts.lock_ = LibraryLock::acquire(files, session.layout(), session.now());
    if (!libraryExists(files, session.layout())) SQLiteDatabase::open(files, session.layout());
    receipts.desk_->open();
    return receipts;
}

OpenReceipts OpenReceipts::forReading(Session& session) {
    FileSystem& files = session.platform().files;
    const bool hasDatabase =
        files.statusFollowingLinks(session.layout().receiptsDatabase()).has_value();
    if (!hasDatabase && !libraryExists(files, session.layout())) {
        throw Error(
            fmt::format("There is no library in {} yet; \"nookery receipts import\" makes one.",
                        displayName(session.layout().library())));
    }
    OpenReceipts receipts(session);
    if (!hasDatabase || receipts.desk_->openForReading()) return receipts;
    return forWriting(session);
}

CrumbReceipt OpenReceipts::find(const std::string& prefix) const {
    return *onlyOne(*desk_->receipts(), prefix, "receipt",
                    [](const ReceiptPointer& receipt) { return receipt->id; });
}

OrderedJson receiptJson(const CrumbReceipt& receipt) {
    OrderedJson json{{"id", receipt.id.toString()},
                     {"receiptType", rawValue(receipt.type)},
                     {"sourceCrumbID", nullptr},
                     {"originalFilePath", nullptr},
                     {"merchant", orNull(receipt.merchant)},
                     {"purchaseDate", nullptr},
                     {"totalCents", nullptr},
                     {"classification", rawValue(receipt.classification)},
                     {"category", orNull(receipt.category)},
                     {"needsReview", receipt.needsReview},
                     {"note", receipt.note},
                     {"importedAt", toIso8601(receipt.importedAt)},
                     {"modifiedAt", toIso8601(receipt.modifiedAt)}};
    if (receipt.sourceCrumbID) json["sourceCrumbID"] = receipt.sourceCrumbID->toString();
    if (receipt.originalFilePath) {
        json["originalFilePath"] = displayName(*receipt.originalFilePath);
    }
    if (receipt.purchaseDate) json["purchaseDate"] = toText(*receipt.purchaseDate);
    if (receipt.totalCents) json["totalCents"] = receipt.totalCents->count;
    return json;
}

ShortIds shortIdsOf(const ReceiptDesk& desk) {
    std::vector<Uuid> ids;
    for (const auto& receipt : *desk.receipts()) ids.push_back(receipt->id);
    return ShortIds(std::move(ids));
}

void printReceiptTable(Session& session, const ReceiptDesk& desk, const ReceiptList& receipts) {
    const ShortIds shortIds = shortIdsOf(desk);
    struct Row {
        std::string id, date, amount, merchant, rest;
    };
    std::vector<Row> rows;
    Row widest;
    const auto widen = [](std::string& width, const std::string& text) {
        if (columnCount(text) > width.size()) width.assign(columnCount(text), ' ');
    };
    for (const auto& receipt : receipts) {
        Row row{shortIds(receipt->id), shownDate(*receipt), shownAmount(*receipt),
                fitted(printable(shownMerchant(*receipt, false)), mostMerchantColumns),
                fmt::format("{}, {}{}", label(receipt->type), label(receipt->classification),
                            receipt->needsReview ? ", to review" : "")};
        widen(widest.id, row.id);
        widen(widest.date, row.date);
        widen(widest.amount, row.amount);
        widen(widest.merchant, row.merchant);
        rows.push_back(std::move(row));
    }
    const Style& style = session.style();
    for (const Row& row : rows) {
        session.out().writeLine(fmt::format(
            "{}  {}  {:>{}}  {}  {}", style.inDim(padded(row.id, widest.id.size())),
            padded(row.date, widest.date.size()), row.amount, widest.amount.size(),
            style.inTitle(padded(row.merchant, widest.merchant.size())), style.inDim(row.rest)));
    }
}

void printReceipt(Session& session, const CrumbReceipt& receipt) {
    session.out().writeLine(session.style().inTitle(printable(shownMerchant(receipt, false))));
    printField(session, "amount", shownAmount(receipt));
    printField(session, "date", shownDate(receipt));
    printField(session, "type", std::string(label(receipt.type)));
    printField(session, "classification", std::string(label(receipt.classification)));
    printField(session, "category", printable(receipt.category.value_or("")));
    printField(session, "review", receipt.needsReview ? "flagged for review" : "reviewed");
    printField(session, "note", printable(receipt.note));
    printField(session, "original",
               receipt.originalFilePath ? printable(displayName(*receipt.originalFilePath)) : "");
    printField(session, "from memory",
               receipt.sourceCrumbID ? receipt.sourceCrumbID->toString() : "");
    printField(session, "imported", exactDate(receipt.importedAt));
    printField(session, "id", receipt.id.toString());
    if (const auto remark = documentationRemark(receipt)) session.say(*remark);
    const bool isGone = receipt.originalFilePath &&
                        !session.platform().files.statusFollowingLinks(*receipt.originalFilePath);
    if (isGone) {
        session.say(
            "The receipt details remain available, but its original file could not be located.");
    }
}

int answerWith(Session& session, const ReceiptDesk& desk, const Uuid& id) {
    const CrumbReceipt receipt = *desk.find(id);
    if (session.wantsJson()) {
        session.print(receiptJson(receipt));
    } else {
        printReceipt(session, receipt);
    }
    return exitDone;
}

std::vector<std::string> receiptTypeWords() { return wordsOf(receiptTypes); }
std::vector<std::string> classificationWords() { return wordsOf(classifications); }

}  // namespace nookery::cli
