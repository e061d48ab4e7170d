#pragma once

#include <random>
#include <string>
#include <vector>

#include "foundation/Cents.h"
#include "foundation/Timestamp.h"

namespace nookery::testing {

/// Not a distribution of the standard library, whose numbers differ between libraries.
inline int below(std::mt19937& random, int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
}

/// One printed row of a made-up receipt: text at the left, and mostly an amount at the right.
struct PrintedRow {
    enum class Style { plain, large, centred };
    std::string left;
    std::string right;
    Style style = Style::plain;
};

/// A made-up receipt and what is true of it.
struct MadeUpReceipt {
    std::string layout;
    std::string merchant;
    CalendarDay day;
    Cents total;
    std::vector<PrintedRow> rows;
};

int receiptLayoutCount();

/// The same for the same state of `random`. Layouts are numbered from 0.
MadeUpReceipt makeUpReceipt(int layout, std::mt19937& random);

}  // namespace nookery::testing
