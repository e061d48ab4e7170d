#include "backends/documents/DocumentReading.h"

#include <fmt/format.h>

#include "foundation/Text.h"

namespace nookery {

void DocumentReading::checkStop() const {
    if (stop_.stop_requested()) throw Cancelled();
}

void DocumentReading::countExpanded(std::size_t byteCount) {
    expandedByteCount_ += byteCount;
    if (expandedByteCount_ <= limits_.maximumExpandedByteCount) return;
    fail(fmt::format("holds more than the {} MB that are unpacked of one document.",
                     limits_.maximumExpandedByteCount >> 20));
}

void DocumentReading::fail(std::string_view what) const {
    throw DocumentError(fmt::format("\"{}\" {}", displayName(path_.filename()), what));
}

void DocumentReading::failDamaged(std::string_view how) const {
    fail(fmt::format("is damaged: {}.", how));
}

void GatheredText::add(std::string_view text) {
    if (isFull()) return;
    text_ += cutToBytes(text, maximumByteCount_ - text_.size() + 3);
}

void GatheredText::addLines(std::string_view text) {
    for (const std::string_view line : splitLines(text)) {
        add(line);
        endLine();
    }
}

void GatheredText::endLine() {
    if (isFull()) return;
    const std::size_t last = text_.find_last_not_of(" \t");
    text_.resize(last == std::string::npos ? 0 : last + 1);
    if (!text_.empty() && !text_.ends_with("\n\n")) text_ += '\n';
}

std::string GatheredText::take() {
    const std::string valid = toValidUtf8(text_);
    return std::string(trimmed(cutToBytes(valid, maximumByteCount_)));
}

}  // namespace nookery
