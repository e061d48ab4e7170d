#include "cli/views/ReceiptReading.h"

#include <fmt/format.h>

#include "cli/output/TextLayout.h"

namespace nookery::cli {
namespace {

OrderedJson lineJson(const OCRLine& line) {
    return {{"text", line.text},
            {"box",
             {{"x", line.box.x},
              {"y", line.box.y},
              {"width", line.box.width},
              {"height", line.box.height}}},
            {"confidence", line.confidence}};
}

OrderedJson resultJson(const CrumbReceiptRecognizer::Result& result) {
    OrderedJson json{{"merchant", nullptr}, {"purchaseDate", nullptr}, {"totalCents", nullptr}};
    if (result.merchant) json["merchant"] = *result.merchant;
    if (result.purchaseDate) json["purchaseDate"] = toText(*result.purchaseDate);
    if (result.totalCents) json["totalCents"] = result.totalCents->count;
    json["merchantLines"] = result.merchantLines;
    json["dateLines"] = result.dateLines;
    json["totalLines"] = result.totalLines;
    return json;
}

std::string valueLine(std::string_view name, const std::string& value,
                      const std::vector<std::size_t>& from, const std::vector<OCRLine>& lines) {
    if (from.empty()) return fmt::format("{}: not found", name);
    std::vector<std::string> texts;
    for (const std::size_t line : from) texts.push_back("\"" + printable(lines[line].text) + "\"");
    return fmt::format("{}: {}, from {}", name, printable(value), fmt::join(texts, " and "));
}

}  // namespace

Coroutine<ReceiptReading> readReceipt(CommandContext& context, Path file) {
    const Platform& platform = context.platform();
    const auto operation = startOperation(
        platform.enrichQueue, platform.mainQueue,
        [platform, file](const OperationControl& control) {
            ReceiptReading reading;
            reading.lines = CrumbReceiptRecognizer::recognise(platform, file, control.stopToken());
            reading.result = CrumbReceiptRecognizer::parse(reading.lines);
            return reading;
        });
    co_return co_await context.resultOf(operation);
}

OrderedJson readingJson(const ReceiptReading& reading) {
    OrderedJson lines = OrderedJson::array();
    for (const OCRLine& line : reading.lines) lines.push_back(lineJson(line));
    OrderedJson doubts = OrderedJson::array();
    for (const auto doubt : reading.result.doubts) {
        doubts.push_back(CrumbReceiptRecognizer::explanation(doubt));
    }
    return {{"lines", std::move(lines)},
            {"result", resultJson(reading.result)},
            {"doubts", std::move(doubts)}};
}

std::vector<std::string> readingLines(const ReceiptReading& reading) {
    const auto& [lines, result] = reading;
    std::vector<std::string> told{
        valueLine("merchant", result.merchant.value_or(""), result.merchantLines, lines),
        valueLine("date", result.purchaseDate ? toText(*result.purchaseDate) : "", result.dateLines,
                  lines),
        valueLine("total", result.totalCents ? "$" + toText(*result.totalCents) : "",
                  result.totalLines, lines)};
    for (const auto doubt : result.doubts) {
        told.push_back(fmt::format("doubt: {}", CrumbReceiptRecognizer::explanation(doubt)));
    }
    return told;
}

}  // namespace nookery::cli
