#include "cli/views/ReceiptView.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/line/Command.h"
#include "cli/output/TextLayout.h"
#include "cli/views/Ids.h"

namespace nookery::cli {
namespace {

constexpr std::size_t labelColumns = 16;
constexpr std::size_t mostMerchantColumns = 40;

bool libraryExists(FileSystem& files, const LibraryLayout& layout) {
    return files.statusFollowingLinks(layout.database()) ||
           files.statusFollowingLinks(layout.legacyFile());
}

template <typename Value>
OrderedJson orNull(const std::optional<Value>& value) {
    return value ? OrderedJson(*value) : OrderedJson();
}

void printField(CommandContext& context, std::string_view label, const std::string& value) {
    if (value.empty()) return;
    context.out().writeLine(context.style().inDim(padded(label, labelColumns)) + value);
}

template <typename Terms>
std::vector<std::string> wordsOf(const Terms& terms) {
    std::vector<std::string> words;
    for (const auto& term : terms) words.emplace_back(term.raw);
    return words;
}

}  // namespace

Coroutine<OpenReceipts> OpenReceipts::forWriting(CommandContext& context) {
    co_await context.open(LibraryAccess::writing, LibraryExtent::onDemand);
    co_return OpenReceipts(context.workspace().receipts().service());
}

Coroutine<OpenReceipts> OpenReceipts::forReading(CommandContext& context) {
    FileSystem& files = context.platform().files;
    const LibraryLayout& layout = context.layout();
    const bool hasDatabase = files.statusFollowingLinks(layout.receiptsDatabase()).has_value();
    if (!hasDatabase && !libraryExists(files, layout)) {
        throw Error(
            fmt::format("There is no library in {} yet; \"nookery receipts import\" makes one.",
                        displayName(layout.library())));
    }
    const ReceiptService::RecordOriginal nothing = [](const OriginalFact&) {
        return std::vector<OriginalFact>();
    };
    auto service = std::make_unique<ReceiptService>(context.platform(), layout, nothing);
    if (!hasDatabase || service->openForReading()) co_return OpenReceipts(std::move(service));
    co_return co_await forWriting(context);
}

CrumbReceipt OpenReceipts::find(const std::string& prefix) const {
    return *onlyOne(*service_->receipts(), prefix, "receipt",
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

ShortIds shortIdsOf(const ReceiptService& service) {
    std::vector<Uuid> ids;
    for (const auto& receipt : *service.receipts()) ids.push_back(receipt->id);
    return ShortIds(std::move(ids));
}

void printReceiptTable(CommandContext& context, const ReceiptService& service,
                       const ReceiptList& receipts) {
    const ShortIds shortIds = shortIdsOf(service);
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
    const Style& style = context.style();
    for (const Row& row : rows) {
        context.out().writeLine(fmt::format(
            "{}  {}  {:>{}}  {}  {}", style.inDim(padded(row.id, widest.id.size())),
            padded(row.date, widest.date.size()), row.amount, widest.amount.size(),
            style.inTitle(padded(row.merchant, widest.merchant.size())), style.inDim(row.rest)));
    }
}

void printReceipt(CommandContext& context, const CrumbReceipt& receipt) {
    context.out().writeLine(context.style().inTitle(printable(shownMerchant(receipt, false))));
    printField(context, "amount", shownAmount(receipt));
    printField(context, "date", shownDate(receipt));
    printField(context, "type", std::string(label(receipt.type)));
    printField(context, "classification", std::string(label(receipt.classification)));
    printField(context, "category", printable(receipt.category.value_or("")));
    printField(context, "review", receipt.needsReview ? "flagged for review" : "reviewed");
    printField(context, "note", printable(receipt.note));
    printField(context, "original",
               receipt.originalFilePath ? printable(displayName(*receipt.originalFilePath)) : "");
    printField(context, "from memory",
               receipt.sourceCrumbID ? receipt.sourceCrumbID->toString() : "");
    printField(context, "imported", exactDate(receipt.importedAt));
    printField(context, "id", receipt.id.toString());
    if (const auto remark = documentationRemark(receipt)) context.say(*remark);
    const bool isGone = receipt.originalFilePath &&
                        !context.platform().files.statusFollowingLinks(*receipt.originalFilePath);
    if (isGone) {
        context.say(
            "The receipt details remain available, but its original file could not be located.");
    }
}

int answerWith(CommandContext& context, const ReceiptService& service, const Uuid& id) {
    const CrumbReceipt receipt = *service.find(id);
    if (context.wantsJson()) {
        context.print(receiptJson(receipt));
    } else {
        printReceipt(context, receipt);
    }
    return exitDone;
}

std::vector<std::string> receiptTypeWords() { return wordsOf(receiptTypes); }
std::vector<std::string> classificationWords() { return wordsOf(classifications); }

}  // namespace nookery::cli
