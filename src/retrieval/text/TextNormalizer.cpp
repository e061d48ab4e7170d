#include "retrieval/text/TextNormalizer.h"

#include <array>

#include "foundation/Text.h"
#include "retrieval/text/FoldTable.h"

namespace nookery {
namespace {

/// FoldTable::normal for ASCII, without the table.
constexpr std::array<char, 128> asciiFolds = [] {
    std::array<char, 128> folds{};
    for (std::size_t i = 0; i < folds.size(); ++i) {
        const char c = static_cast<char>(i);
        const bool kept =
            (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '#' || c == ':' || c == '/';
        const bool upper = c >= 'A' && c <= 'Z';
        const bool space = c == ' ' || (c >= 9 && c <= 13);
        folds[i] = kept ? c : upper ? static_cast<char>(c - 'A' + 'a') : space ? ' ' : '.';
    }
    return folds;
}();

constexpr bool isTokenCharacter(char folded) {
    return (folded >= 'a' && folded <= 'z') || (folded >= '0' && folded <= '9') || folded == '#';
}

constexpr std::array<bool, 128> asciiTokenBytes = [] {
    std::array<bool, 128> kept{};
    for (std::size_t i = 0; i < kept.size(); ++i) kept[i] = isTokenCharacter(asciiFolds[i]);
    return kept;
}();

bool isAsciiByte(char byte) { return static_cast<unsigned char>(byte) < 0x80; }

char foldNext(std::string_view text, std::size_t& position) {
    if (isAsciiByte(text[position])) {
        return asciiFolds[static_cast<unsigned char>(text[position++])];
    }
    return FoldTable::shared().normal(nextCodePoint(text, position));
}

/// The next character that folding keeps; 0 at the end.
char nextFolded(std::string_view text, std::size_t& position) {
    while (position < text.size()) {
        if (const char folded = foldNext(text, position)) return folded;
    }
    return '\0';
}

/// The end of a web address whose "http:" or "https:" ends at `position`; 0 when none is there.
std::size_t addressEnd(std::string_view text, std::size_t position) {
    if (nextFolded(text, position) != '/' || nextFolded(text, position) != '/') return 0;
    const char first = nextFolded(text, position);
    if (first == '\0' || first == ' ') return 0;
    while (position < text.size()) {
        std::size_t next = position;
        if (foldNext(text, next) == ' ') break;
        position = next;
    }
    return position;
}

std::size_t schemeLength(std::string_view written) {
    if (written.ends_with("https")) return 5;
    return written.ends_with("http") ? 4 : 0;
}

/// Writes a form into a string.
class PlainSink {
  public:
    explicit PlainSink(std::string& output) : output_(output) { output_.clear(); }

    void reserve(std::size_t byteCount) { output_.reserve(byteCount); }
    void put(std::string_view bytes, std::size_t, std::size_t) { output_ += bytes; }
    void put(char byte, std::size_t, std::size_t) { output_ += byte; }
    void extend(std::size_t) {}
    void cut(std::size_t size) { output_.resize(size); }
    std::string_view written() const { return output_; }

  private:
    std::string& output_;
};

/// Writes a form with the origin of each byte.
class TracingSink {
  public:
    explicit TracingSink(TracedForm& form) : form_(form) {}

    void put(std::string_view bytes, std::size_t start, std::size_t end) {
        form_.text += bytes;
        form_.starts.resize(form_.text.size(), static_cast<std::uint32_t>(start));
        form_.ends.resize(form_.text.size(), static_cast<std::uint32_t>(end));
    }
    void put(char byte, std::size_t start, std::size_t end) { put({&byte, 1}, start, end); }
    void extend(std::size_t end) { form_.ends.back() = static_cast<std::uint32_t>(end); }
    void cut(std::size_t size) {
        form_.text.resize(size);
        form_.starts.resize(size);
        form_.ends.resize(size);
    }
    std::string_view written() const { return form_.text; }

  private:
    TracedForm& form_;
};

/// Does for both forms what they share: separates words and takes web addresses out.
template <typename Sink>
class FormWriter {
  public:
    explicit FormWriter(Sink& sink) : sink_(sink) {}

    void separate() { gap_ = true; }

    template <typename Bytes>
    void put(const Bytes& bytes, std::size_t start, std::size_t end) {
        if (gap_ && !sink_.written().empty()) sink_.put(' ', start, start);
        gap_ = false;
        sink_.put(bytes, start, end);
    }

    /// Drops a combining mark that ends before `end`; the letter before it owns those bytes now.
    void drop(std::size_t end) {
        if (!gap_ && !sink_.written().empty()) sink_.extend(end);
    }

    /// Handles a colon before `position`. In a web address, removes the scheme already written and
    /// answers where the address ends; elsewhere separates words and answers `position`.
    std::size_t putColon(std::string_view text, std::size_t position) {
        const std::size_t scheme = gap_ ? 0 : schemeLength(sink_.written());
        const std::size_t end = scheme > 0 ? addressEnd(text, position) : 0;
        gap_ = true;
        if (end == 0) return position;
        std::size_t size = sink_.written().size() - scheme;
        if (size > 0 && sink_.written()[size - 1] == ' ') --size;
        sink_.cut(size);
        return end;
    }

  private:
    Sink& sink_;
    bool gap_ = false;
};

template <typename Sink>
void scanNormal(std::string_view text, Sink& sink) {
    FormWriter<Sink> writer(sink);
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t start = position;
        const char folded = foldNext(text, position);
        if (isTokenCharacter(folded)) {
            writer.put(folded, start, position);
        } else if (folded == ':') {
            position = writer.putColon(text, position);
        } else if (folded != '\0') {
            writer.separate();
        } else {
            writer.drop(position);
        }
    }
}

/// scanNormal for ASCII, the common case: writes byte by byte into allocated memory.
std::size_t writeAsciiNormalForm(std::string_view text, char* output) {
    std::size_t size = 0;
    bool gap = false;
    for (std::size_t position = 0; position < text.size();) {
        const auto byte = static_cast<unsigned char>(text[position++]);
        if (asciiTokenBytes[byte]) {
            if (gap && size > 0) output[size++] = ' ';
            gap = false;
            output[size++] = asciiFolds[byte];
            continue;
        }
        const std::size_t scheme =
            byte == ':' && !gap ? schemeLength(std::string_view(output, size)) : 0;
        gap = true;
        const std::size_t end = scheme > 0 ? addressEnd(text, position) : 0;
        if (end == 0) continue;
        position = end;
        size -= scheme;
        if (size > 0 && output[size - 1] == ' ') --size;
    }
    return size;
}

template <typename Sink>
void scanCombined(std::string_view text, Sink& sink) {
    const FoldTable& table = FoldTable::shared();
    FormWriter<Sink> writer(sink);
    bool afterIdeograph = false;
    std::string bytes;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        const char32_t codePoint = nextCodePoint(text, position);
        if (table.normal(codePoint) == ':') {
            position = writer.putColon(text, position);
            continue;
        }
        const std::u32string_view letters = table.combined(codePoint);
        if (letters.empty()) writer.drop(position);
        for (const char32_t folded : letters) {
            if (folded == U' ') {
                writer.separate();
                continue;
            }
            const bool ideograph = isIdeographic(folded);
            if (ideograph != afterIdeograph) writer.separate();
            afterIdeograph = ideograph;
            bytes.clear();
            appendUtf8(bytes, folded);
            writer.put(std::string_view(bytes), start, position);
        }
    }
}

}  // namespace

bool isAsciiText(std::string_view text) {
    unsigned char all = 0;
    for (const char byte : text) all |= static_cast<unsigned char>(byte);
    return all < 0x80;
}

void writeNormalForm(std::string_view text, std::string& output) {
    if (isAsciiText(text)) {
        output.resize(text.size());
        output.resize(writeAsciiNormalForm(text, output.data()));
        return;
    }
    PlainSink sink(output);
    sink.reserve(text.size());
    scanNormal(text, sink);
}

std::string normalForm(std::string_view text) {
    std::string output;
    writeNormalForm(text, output);
    return output;
}

void writeCombinedForm(std::string_view text, std::string& output) {
    if (isAsciiText(text)) {
        writeNormalForm(text, output);
        return;
    }
    PlainSink sink(output);
    sink.reserve(text.size());
    scanCombined(text, sink);
}

std::string combinedForm(std::string_view text) {
    std::string output;
    writeCombinedForm(text, output);
    return output;
}

TracedForm tracedNormalForm(std::string_view text) {
    TracedForm form;
    TracingSink sink(form);
    scanNormal(text, sink);
    return form;
}

TracedForm tracedCombinedForm(std::string_view text) {
    TracedForm form;
    TracingSink sink(form);
    scanCombined(text, sink);
    return form;
}

std::vector<std::string_view> tokensOf(std::string_view form) {
    std::vector<std::string_view> tokens;
    forEachToken(form, [&](std::string_view token) { tokens.push_back(token); });
    return tokens;
}

std::vector<std::string_view> ideographTokens(std::string_view run) {
    std::vector<std::string_view> tokens;
    std::size_t previous = 0;
    for (std::size_t position = 0; position < run.size();) {
        const std::size_t start = position;
        nextCodePoint(run, position);
        if (start > 0) tokens.push_back(run.substr(previous, position - previous));
        tokens.push_back(run.substr(start, position - start));
        previous = start;
    }
    return tokens;
}

bool isIdeographRun(std::string_view piece) {
    if (piece.empty()) return false;
    std::size_t position = 0;
    return isIdeographic(nextCodePoint(piece, position));
}

}  // namespace nookery
