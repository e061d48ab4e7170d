#include "support/receipts/ReceiptText.h"

#include <fmt/format.h>

#include <array>

namespace nookery::testing {
namespace {

using Style = PrintedRow::Style;

struct Layout {
    const char* name;
    const char* subtotal;
    const char* tax;
    const char* total;  ///< null: the receipt does not say
    const char* paidBy;
    const char* sign;   ///< before the sums
    const char* saved;  ///< rows that speak of other totals
    const char* counted;
    int mostItems;
    bool dayAtEnd;
    bool quantities;
};

// The last two say what was paid in words that the rules do not know.
constexpr std::array layouts{
    Layout{"market", "SUBTOTAL", "TAX 8.25%", "TOTAL", "VISA ************4821", "", nullptr,
           nullptr, 14, true, true},
    Layout{"restaurant", "Subtotal", "Sales Tax", "Total", nullptr, "$", nullptr, nullptr, 6, false,
           false},
    Layout{"cash", "SUBTOTAL", "SALES TAX", "TOTAL", "CASH", "$", nullptr, nullptr, 8, false, true},
    Layout{"hardware", "SUBTOTAL", "SALES TAX", "TOTAL", "DEBIT", "$", nullptr, nullptr, 9, true,
           true},
    Layout{"savings", "SUB TOTAL", "TAX", "**** TOTAL", "MASTERCARD", "", "TOTAL SAVINGS",
           "TOTAL NUMBER OF ITEMS SOLD", 11, true, false},
    Layout{"no total", "SUBTOTAL", "SALES TAX", nullptr, nullptr, "", nullptr, nullptr, 6, false,
           false},
    Layout{"balance", "Net", "Tax", "BALANCE DUE", "AMEX", "$", nullptr, nullptr, 8, false, false},
    Layout{"charged", "SUBTOTAL", "TAX", "AMOUNT CHARGED", "VISA", "$", nullptr, "TOTAL ITEMS", 8,
           true, false}};

constexpr std::array merchants{"CORNER MARKET",      "Blue Heron Cafe",    "MAPLE STREET HARDWARE",
                               "Sunrise Bakery",     "RIVERSIDE PHARMACY", "Pine Valley Books",
                               "GOLDEN WOK KITCHEN", "Harbor Fuel & Go",   "OAKWOOD OFFICE SUPPLY"};
constexpr std::array streets{"214 Maple Street", "1800 Harbor Blvd", "77 N 3rd Ave"};
constexpr std::array things{"WHOLE MILK 1GAL", "BANANAS",          "PAPER TOWELS 6PK",
                            "COFFEE BEANS",    "HEX BOLT M6 X 20", "WOOD SCREWS",
                            "PRINTER PAPER",   "BALLPOINT PENS",   "CHICKEN SALAD",
                            "HOUSE RED GLASS", "VITAMIN C 500MG",  "LED BULB 60W"};

template <class Range>
const char* oneOf(std::mt19937& random, const Range& range) {
    return range[static_cast<std::size_t>(below(random, static_cast<int>(range.size())))];
}

std::string written(CalendarDay day, int way) {
    if (way == 0) return fmt::format("{:02}/{:02}/{}", day.month, day.day, day.year);
    if (way == 1) return fmt::format("{}/{}/{:02}", day.month, day.day, day.year % 100);
    if (way == 2) return fmt::format("{:02}-{:02}-{}", day.month, day.day, day.year);
    return toText(day);
}

void addHead(MadeUpReceipt& receipt, std::mt19937& random) {
    receipt.rows.push_back({receipt.merchant, "", Style::large});
    receipt.rows.push_back({oneOf(random, streets), "", Style::centred});
    receipt.rows.push_back(
        {fmt::format("({}) 555-{:04}", 500 + below(random, 400), below(random, 10000)), "",
         Style::centred});
    receipt.rows.push_back({});
}

void addDay(MadeUpReceipt& receipt, std::mt19937& random) {
    receipt.rows.push_back({written(receipt.day, below(random, 4)),
                            fmt::format("{:02}:{:02}", 8 + below(random, 12), below(random, 60))});
    receipt.rows.push_back({});
}

Cents addItems(MadeUpReceipt& receipt, const Layout& layout, std::mt19937& random) {
    Cents sum;
    for (int left = 3 + below(random, layout.mostItems - 2); left > 0; --left) {
        const int quantity = layout.quantities ? 1 + below(random, 3) : 1;
        const Cents price{99 + below(random, 4000)};
        sum.count += price.count * quantity;
        receipt.rows.push_back({oneOf(random, things), toText(Cents{price.count * quantity})});
        if (quantity == 1) continue;
        receipt.rows.push_back({fmt::format("   {} @ {}", quantity, toText(price)), ""});
    }
    receipt.rows.push_back({});
    return sum;
}

void addSums(MadeUpReceipt& receipt, const Layout& layout, Cents subtotal, std::mt19937& random) {
    const Cents tax{subtotal.count * 825 / 10000};
    receipt.total = {subtotal.count + tax.count};
    const auto row = [&](const char* label, Cents amount, Style style = Style::plain) {
        if (label != nullptr) receipt.rows.push_back({label, layout.sign + toText(amount), style});
    };
    row(layout.subtotal, subtotal);
    row(layout.tax, tax);
    row(layout.total, receipt.total, below(random, 2) == 0 ? Style::large : Style::plain);
    const bool inCash = layout.paidBy != nullptr && std::string_view(layout.paidBy) == "CASH";
    const Cents paid = inCash ? Cents{(receipt.total.count / 2000 + 1) * 2000} : receipt.total;
    row(layout.paidBy, paid);
    if (inCash) row("CHANGE DUE", {paid.count - receipt.total.count});
    row(layout.saved, {100 + below(random, 900)});
    if (layout.counted == nullptr) return;
    receipt.rows.push_back({layout.counted, std::to_string(1 + below(random, 20))});
}

}  // namespace

int receiptLayoutCount() { return static_cast<int>(layouts.size()); }

MadeUpReceipt makeUpReceipt(int number, std::mt19937& random) {
    const Layout& layout = layouts.at(static_cast<std::size_t>(number));
    MadeUpReceipt receipt;
    receipt.layout = layout.name;
    receipt.merchant = oneOf(random, merchants);
    receipt.day = {2019 + below(random, 8), 1 + below(random, 12), 1 + below(random, 28)};
    addHead(receipt, random);
    if (!layout.dayAtEnd) addDay(receipt, random);
    const Cents subtotal = addItems(receipt, layout, random);
    addSums(receipt, layout, subtotal, random);
    receipt.rows.push_back({});
    if (layout.dayAtEnd) addDay(receipt, random);
    receipt.rows.push_back({"THANK YOU FOR YOUR VISIT", "", Style::centred});
    return receipt;
}

}  // namespace nookery::testing
