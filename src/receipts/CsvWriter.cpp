#include "receipts/CsvWriter.h"

#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view formulaBeginnings = "=+-@";

}  // namespace

CsvWriter::CsvWriter(std::function<void(std::string_view)> sink) : sink_(std::move(sink)) {
    sink_(byteOrderMark);
}

void CsvWriter::row(std::initializer_list<std::string_view> fields) {
    line_.clear();
    for (const std::string_view field : fields) {
        if (!line_.empty()) line_ += ',';
        appendField(field);
    }
    line_ += "\r\n";
    sink_(line_);
}

void CsvWriter::appendField(std::string_view field) {
    const std::string valid = toValidUtf8(field);
    line_ += '"';
    if (!valid.empty() && formulaBeginnings.find(valid.front()) != std::string_view::npos) {
        line_ += '\'';
    }
    for (const char c : valid) {
        if (c == '"') line_ += '"';
        line_ += c;
    }
    line_ += '"';
}

}  // namespace nookery
