#include "foundation/TextLines.h"

#include "foundation/Text.h"

namespace nookery {
namespace {

/// Collects words and the gaps between them.
class LineFolder {
  public:
    explicit LineFolder(std::size_t maximumCharacterCount)
        : maximumCharacterCount_(maximumCharacterCount), checkAt_(4 * maximumCharacterCount + 1) {}

    void newline() { gap_ = '\n'; }
    void space() {
        if (gap_ == 0) gap_ = ' ';
    }
    void word(std::string_view bytes) {
        if (gap_ != 0 && !folded_.empty()) folded_ += gap_;
        gap_ = 0;
        folded_ += bytes;
    }

    /// Counting characters costs time, so it is done each time the text has doubled.
    bool isFull() {
        if (folded_.size() < checkAt_) return false;
        checkAt_ *= 2;
        return firstCharacters(folded_, maximumCharacterCount_).size() < folded_.size();
    }

    std::string take() {
        folded_.resize(firstCharacters(folded_, maximumCharacterCount_).size());
        return std::move(folded_);
    }

  private:
    std::size_t maximumCharacterCount_;
    std::size_t checkAt_;
    std::string folded_;
    char gap_ = 0;
};

}  // namespace

std::size_t findNewline(std::string_view text, std::size_t from) {
    for (std::size_t position = from; position < text.size();) {
        const std::size_t start = position;
        if (isNewline(nextCodePoint(text, position))) return start;
    }
    return std::string_view::npos;
}

std::string foldedLines(std::string_view text, std::size_t maximumCharacterCount) {
    LineFolder folder(maximumCharacterCount);
    std::size_t wordStart = 0;
    std::size_t position = 0;
    while (position < text.size() && !folder.isFull()) {
        const std::size_t start = position;
        const char32_t codePoint = nextCodePoint(text, position);
        if (!isWhiteSpace(codePoint)) continue;
        if (start > wordStart) folder.word(text.substr(wordStart, start - wordStart));
        wordStart = position;
        if (isNewline(codePoint)) {
            folder.newline();
        } else {
            folder.space();
        }
    }
    if (position > wordStart) folder.word(text.substr(wordStart, position - wordStart));
    return folder.take();
}

}  // namespace nookery
