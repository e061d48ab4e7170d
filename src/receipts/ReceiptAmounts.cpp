#include "receipts/ReceiptAmounts.h"

#include <re2/re2.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <tuple>

#include "foundation/Text.h"

namespace nookery {
namespace {

// Unicode white space; RE2's own \s is ASCII only.
#define NOOKERY_SPACES R"([\s\x{85}\p{Z}]*)"

struct Patterns {
    RE2 amountAlone{"(?:USD" NOOKERY_SPACES R"()?\$?)" NOOKERY_SPACES
                    R"((?:\d{1,3}(?:,\d{3})*|\d+)\.\d{2})" NOOKERY_SPACES};
    RE2 amountInside{R"((?:\$)" NOOKERY_SPACES R"()?(\d{1,3}(?:,\d{3})*|\d+)\.(\d{2})\b)"};
};

#undef NOOKERY_SPACES

const Patterns& patterns() {
    static const Patterns compiled;
    return compiled;
}

std::optional<Cents> centsFrom(std::string_view dollars, std::string_view cents) {
    std::string digits;
    for (const char c : dollars) {
        if (c != ',') digits += c;
    }
    digits += cents;
    Cents value;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), value.count);
    return error == std::errc() ? std::optional(value) : std::nullopt;
}

/// Consumes the text up to the end of the next amount that fits 64 bits.
std::optional<Cents> nextAmount(re2::StringPiece& rest) {
    re2::StringPiece dollars;
    re2::StringPiece cents;
    while (RE2::FindAndConsume(&rest, patterns().amountInside, &dollars, &cents)) {
        const auto amount =
            centsFrom({dollars.data(), dollars.size()}, {cents.data(), cents.size()});
        if (amount) return amount;
    }
    return std::nullopt;
}

std::optional<Cents> firstAmount(std::string_view text) {
    if (text.find('.') == std::string_view::npos) return std::nullopt;
    re2::StringPiece rest(text.data(), text.size());
    return nextAmount(rest);
}

bool isAmountAlone(const std::string& text) { return RE2::FullMatch(text, patterns().amountAlone); }

}  // namespace

ReceiptAmounts::ReceiptAmounts(std::span<const OCRLine> lines) : lines_(lines) {
    lowerCased_.reserve(lines.size());
    amounts_.reserve(lines.size());
    for (const OCRLine& line : lines) {
        lowerCased_.push_back(lowerCased(line.text));
        amounts_.push_back(firstAmount(line.text));
    }
}

std::optional<Cents> ReceiptAmounts::lastAmountIn(std::size_t line) const {
    re2::StringPiece rest(lines_[line].text);
    std::optional<Cents> last;
    while (const auto amount = nextAmount(rest)) last = amount;
    return last;
}

bool ReceiptAmounts::onSameRow(std::size_t label, std::size_t other) const {
    const NormalizedBox& box = lines_[label].box;
    const double tolerance = std::max(0.55 * box.height, 0.012);
    return std::abs(lines_[other].box.centreY() - box.centreY()) <= tolerance &&
           lines_[other].box.x > box.x + box.width / 2;
}

std::optional<std::size_t> ReceiptAmounts::amountLineInRow(std::size_t label) const {
    using Rank = std::tuple<bool, double, double>;
    std::optional<std::pair<Rank, std::size_t>> best;
    for (std::size_t other = 0; other < lines_.size(); ++other) {
        if (other == label || !amounts_[other] || !onSameRow(label, other)) continue;
        const NormalizedBox& box = lines_[other].box;
        const Rank rank{!isAmountAlone(lines_[other].text),
                        std::abs(box.centreY() - lines_[label].box.centreY()), box.x};
        if (!best || rank < best->first) best = {rank, other};
    }
    return best ? std::optional(best->second) : std::nullopt;
}

std::optional<FoundAmount> ReceiptAmounts::amountOf(std::size_t label) const {
    if (amounts_[label]) return FoundAmount{*amounts_[label], {label}};
    const auto other = amountLineInRow(label);
    if (!other) return std::nullopt;
    return FoundAmount{*amounts_[*other], {label, *other}};
}

std::optional<FoundAmount> ReceiptAmounts::amountBesideLabel(std::string_view label) const {
    for (std::size_t line = lines_.size(); line-- > 0;) {
        if (lowerCased_[line].find(label) == std::string::npos) continue;
        if (auto found = amountOf(line)) return found;
    }
    return std::nullopt;
}

}  // namespace nookery
