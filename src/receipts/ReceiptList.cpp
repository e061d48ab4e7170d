#include "receipts/ReceiptList.h"

#include <algorithm>

#include "foundation/Text.h"
#include "retrieval/text/TextNormalizer.h"

namespace nookery {
namespace {

std::string searchedText(const CrumbReceipt& receipt) {
    std::string text = receipt.merchant.value_or("");
    text += '\n' + receipt.category.value_or("");
    text += '\n' + receipt.note;
    text += '\n' + std::string(label(receipt.type));
    return combinedForm(text);
}

/// Date and amount as they are written; the search compares them with the words as typed.
std::string figures(const CrumbReceipt& receipt) {
    std::string text;
    if (receipt.purchaseDate) text += toText(*receipt.purchaseDate);
    if (receipt.totalCents) text += "\n$" + toText(*receipt.totalCents);
    return text;
}

class WordMatcher {
  public:
    explicit WordMatcher(std::string_view query) {
        for (const std::string_view word : splitWhiteSpace(query)) {
            words_.push_back({std::string(word), combinedForm(word)});
        }
    }

    bool admits(const CrumbReceipt& receipt) const {
        if (words_.empty()) return true;
        const std::string text = searchedText(receipt);
        const std::string numbers = figures(receipt);
        return std::all_of(words_.begin(), words_.end(), [&](const Word& word) {
            const bool isInText =
                !word.folded.empty() && text.find(word.folded) != std::string::npos;
            return isInText || numbers.find(word.typed) != std::string::npos;
        });
    }

  private:
    struct Word {
        std::string typed;
        std::string folded;  ///< empty for a word of punctuation
    };
    std::vector<Word> words_;
};

}  // namespace

bool standsBefore(const CrumbReceipt& left, const CrumbReceipt& right) {
    // std::optional orders an absent date before any other.
    if (left.purchaseDate != right.purchaseDate) return left.purchaseDate > right.purchaseDate;
    return left.importedAt > right.importedAt;
}

ReceiptList filtered(const ReceiptList& receipts, const ReceiptFilter& filter) {
    const WordMatcher words(filter.query);
    ReceiptList admitted;
    std::copy_if(
        receipts.begin(), receipts.end(), std::back_inserter(admitted),
        [&](const ReceiptPointer& receipt) {
            return (!filter.classification || receipt->classification == *filter.classification) &&
                   (!filter.type || receipt->type == *filter.type) && words.admits(*receipt);
        });
    return admitted;
}

}  // namespace nookery
