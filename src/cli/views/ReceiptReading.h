#pragma once

#include <vector>

#include "cli/context/CommandContext.h"
#include "receipts/CrumbReceiptRecognizer.h"

/// How commands show what a receipt's file says.
namespace nookery::cli {

struct ReceiptReading {
    std::vector<OCRLine> lines;
    CrumbReceiptRecognizer::Result result;
};

/// Has the file read, and waits for it. Throws as CrumbReceiptRecognizer::recognise does.
Coroutine<ReceiptReading> readReceipt(CommandContext& context, Path file);

/// Lines, what they say and the doubts about it.
OrderedJson readingJson(const ReceiptReading& reading);

/// A line for each value, with the text that gave it, and for each doubt.
std::vector<std::string> readingLines(const ReceiptReading& reading);

}  // namespace nookery::cli
