#include "backends/documents/RtfText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "foundation/Text.h"
#include "foundation/TextDecoding.h"

namespace nookery {
namespace {

constexpr std::size_t maximumDepth = 5000;
constexpr std::size_t maximumWordByteCount = 32;
constexpr std::size_t maximumFontCount = 10'000;
constexpr std::size_t maximumTitleByteCount = 1000;

template <typename Value, std::size_t count>
const Value* lookUp(const std::array<std::pair<std::string_view, Value>, count>& table,
                    std::string_view key) {
    const auto found = std::find_if(table.begin(), table.end(),
                                    [&](const auto& entry) { return entry.first == key; });
    return found == table.end() ? nullptr : &found->second;
}

/// Words that stand for text.
constexpr std::array<std::pair<std::string_view, std::string_view>, 21> textOfWord = {{
    {"par", "\n"},      {"line", "\n"},   {"sect", "\n"},   {"page", "\n"},     {"row", "\n"},
    {"nestrow", "\n"},  {"tab", "\t"},    {"cell", "\t"},   {"nestcell", "\t"}, {"emdash", "—"},
    {"endash", "–"},    {"lquote", "‘"},  {"rquote", "’"},  {"ldblquote", "“"}, {"rdblquote", "”"},
    {"bullet", "•"},    {"emspace", " "}, {"enspace", " "}, {"qmspace", " "},   {"column", "\n"},
    {"softline", "\n"},
}};

/// Groups without text that no mark tells apart.
constexpr std::array<std::string_view, 10> skippedGroups = {
    "colortbl", "stylesheet", "pict", "filetbl", "revtbl", "nonshppict", "sp", "xe", "tc", "info"};

/// Groups that readers may skip, but whose text is kept.
constexpr std::array<std::string_view, 2> keptOptionalGroups = {"shpinst", "annotation"};

template <std::size_t count>
bool holds(const std::array<std::string_view, count>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

const char* encodingOfCodePage(int codePage) {
    switch (codePage) {
        case 437:
            return "ibm-437";
        case 850:
            return "ibm-850";
        case 852:
            return "ibm-852";
        case 866:
            return "ibm-866";
        case 874:
            return "windows-874";
        case 932:
            return "windows-31j";
        case 936:
            return "GBK";
        case 949:
            return "windows-949";
        case 950:
            return "Big5";
        case 1250:
            return "windows-1250";
        case 1251:
            return "windows-1251";
        case 1253:
            return "windows-1253";
        case 1254:
            return "windows-1254";
        case 1255:
            return "windows-1255";
        case 1256:
            return "windows-1256";
        case 1257:
            return "windows-1257";
        case 1258:
            return "windows-1258";
        case 10000:
            return "macintosh";
        case 65001:
            return "UTF-8";
        default:
            return "windows-1252";
    }
}

/// The number by which a font names the script it was made for; none where it is the document's.
const char* encodingOfFontScript(int script) {
    switch (script) {
        case 77:
            return "macintosh";
        case 128:
            return "windows-31j";
        case 129:
            return "windows-949";
        case 134:
            return "GBK";
        case 136:
            return "Big5";
        case 161:
            return "windows-1253";
        case 162:
            return "windows-1254";
        case 163:
            return "windows-1258";
        case 177:
            return "windows-1255";
        case 178:
            return "windows-1256";
        case 186:
            return "windows-1257";
        case 204:
            return "windows-1251";
        case 222:
            return "windows-874";
        case 238:
            return "windows-1250";
        case 255:
            return "ibm-850";
        default:
            return nullptr;
    }
}

int hexadecimalDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The number, or `otherwise` when there is none or it is out of all bounds.
long parsed(const std::string& number, long otherwise) {
    long value = otherwise;
    std::from_chars(number.data(), number.data() + number.size(), value);
    return value;
}

}  // namespace

void RtfText::feed(std::string_view bytes) {
    while (!bytes.empty() && !isTooDeep_ && !isFull()) {
        if (state_ == State::binary) {
            const auto count = std::min<std::uint64_t>(binaryByteCount_, bytes.size());
            bytes.remove_prefix(count);
            binaryByteCount_ -= count;
            if (binaryByteCount_ == 0) state_ = State::text;
            continue;
        }
        take(bytes.front());
        bytes.remove_prefix(1);
    }
}

void RtfText::take(char byte) {
    switch (state_) {
        case State::text:
            return takeText(byte);
        case State::controlStart:
            return takeControlStart(byte);
        case State::word:
        case State::number:
            return takeWord(byte);
        case State::hexadecimal:
            return takeHexadecimal(byte);
        case State::binary:
            return;
    }
}

void RtfText::takeText(char byte) {
    switch (byte) {
        case '{':
            return openGroup();
        case '}':
            return closeGroup();
        case '\\':
            state_ = State::controlStart;
            return;
        case '\r':
        case '\n':
        case '\0':
            return;
        default:
            addByte(byte);
    }
}

void RtfText::takeControlStart(char byte) {
    word_.clear();
    number_.clear();
    if (byte == '\'') {
        state_ = State::hexadecimal;
    } else if (isLetter(byte)) {
        word_ += byte;
        state_ = State::word;
    } else {
        state_ = State::text;
        takeSymbol(byte);
    }
}

void RtfText::takeWord(char byte) {
    if (state_ == State::word && isLetter(byte)) {
        if (word_.size() < maximumWordByteCount) word_ += byte;
        return;
    }
    const bool isSign = state_ == State::word && byte == '-';
    if (isSign || isDigit(byte)) {
        state_ = State::number;
        if (number_.size() < maximumWordByteCount) number_ += byte;
        return;
    }
    state_ = State::text;
    endWord();
    if (byte == ' ') return;
    take(byte);
}

void RtfText::takeHexadecimal(char byte) {
    const int digit = hexadecimalDigit(byte);
    if (digit < 0) {
        state_ = State::text;
        return take(byte);
    }
    number_ += byte;
    if (number_.size() < 2) return;
    state_ = State::text;
    addByte(static_cast<char>(hexadecimalDigit(number_[0]) * 16 + digit));
}

void RtfText::openGroup() {
    flushBytes();
    substitutesDue_ = 0;
    isOptional_ = false;
    if (groups_.size() >= maximumDepth) {
        isTooDeep_ = true;
        return;
    }
    groups_.push_back(group_);
}

void RtfText::closeGroup() {
    flushBytes();
    substitutesDue_ = 0;
    isOptional_ = false;
    if (groups_.empty()) return;
    group_ = groups_.back();
    groups_.pop_back();
}

void RtfText::takeSymbol(char byte) {
    switch (byte) {
        case '*':
            isOptional_ = true;
            return;
        case '\\':
        case '{':
        case '}':
            return addByte(byte);
        case '~':
            return add("\u00A0");
        case '_':
            return add("-");
        case '\r':
        case '\n':
            return add("\n");
        default:
            return;
    }
}

void RtfText::endWord() {
    if (word_ == "bin") {
        binaryByteCount_ = static_cast<std::uint64_t>(std::max(0L, parsed(number_, 0)));
        if (binaryByteCount_ > 0) state_ = State::binary;
        return;
    }
    if (std::exchange(isOptional_, false) && !holds(keptOptionalGroups, word_)) {
        flushBytes();
        group_.destination = Destination::skipped;
        return;
    }
    if (const auto* text = lookUp(textOfWord, word_)) return add(*text);
    if (word_ == "u") {
        addCodeUnit(static_cast<std::uint16_t>(parsed(number_, 0)));
        substitutesDue_ = group_.substituteCount;
        return;
    }
    if (!changesDestination()) changesFormat();
}

bool RtfText::changesDestination() {
    Destination destination = group_.destination;
    if (word_ == "fonttbl") {
        destination = Destination::fonts;
    } else if (word_ == "title" && destination == Destination::skipped) {
        destination = Destination::title;
    } else if (holds(skippedGroups, word_)) {
        destination = Destination::skipped;
    } else {
        return false;
    }
    flushBytes();
    group_.destination = destination;
    return true;
}

bool RtfText::changesFormat() {
    const long value = parsed(number_, 1);
    flushBytes();
    if (word_ == "uc") {
        group_.substituteCount = static_cast<std::uint8_t>(std::clamp(value, 0L, 255L));
    } else if (word_ == "f") {
        group_.font = definedFont_ = static_cast<std::uint16_t>(parsed(number_, 0));
    } else if (word_ == "fcharset" && group_.destination == Destination::fonts) {
        const char* encoding = encodingOfFontScript(static_cast<int>(value));
        if (encoding != nullptr && encodingOfFont_.size() < maximumFontCount) {
            encodingOfFont_[definedFont_] = encoding;
        }
    } else if (word_ == "ansicpg") {
        documentEncoding_ = encodingOfCodePage(static_cast<int>(value));
    } else if (word_ == "mac" || word_ == "pc" || word_ == "pca") {
        documentEncoding_ = encodingOfCodePage(word_ == "mac" ? 10000 : word_ == "pc" ? 437 : 850);
    } else if (word_ == "v") {
        group_.isHidden = value != 0;
    } else if (word_ == "plain") {
        group_.isHidden = false;
    } else {
        return false;
    }
    return true;
}

void RtfText::addCodeUnit(std::uint16_t unit) {
    if (unit >= 0xD800 && unit < 0xDC00) {
        highSurrogate_ = unit;
        return;
    }
    std::string utf8;
    const std::uint16_t high = std::exchange(highSurrogate_, 0);
    if (unit < 0xDC00 || unit > 0xDFFF) {
        appendUtf8(utf8, unit);
    } else if (high != 0) {
        appendUtf8(utf8, 0x10000 + ((high - 0xD800U) << 10) + (unit - 0xDC00U));
    }
    add(utf8);
}

void RtfText::addByte(char byte) {
    if (substitutesDue_ > 0) {
        --substitutesDue_;
        return;
    }
    if (target() == nullptr) return;
    bytes_ += byte;
    if (bytes_.size() >= 65536) flushBytes();
}

void RtfText::add(std::string_view utf8) {
    flushBytes();
    if (std::string* place = target()) *place += utf8;
}

void RtfText::flushBytes() {
    if (bytes_.empty()) return;
    const std::string bytes = std::exchange(bytes_, {});
    std::string* place = target();
    if (place == nullptr) return;
    const bool isAscii = std::all_of(bytes.begin(), bytes.end(),
                                     [](char c) { return static_cast<signed char>(c) >= 0; });
    *place += isAscii ? bytes : decodeTextAs(bytes, encoding()).value_or(toValidUtf8(bytes));
}

std::string* RtfText::target() {
    if (group_.isHidden) return nullptr;
    if (group_.destination == Destination::text) return &text_;
    const bool inTitle = group_.destination == Destination::title;
    return inTitle && title_.size() < maximumTitleByteCount ? &title_ : nullptr;
}

const char* RtfText::encoding() const {
    const auto found = encodingOfFont_.find(group_.font);
    return found == encodingOfFont_.end() ? documentEncoding_ : found->second;
}

std::string RtfText::takeText() {
    flushBytes();
    return std::move(text_);
}

std::string RtfText::takeTitle() { return std::string(cutToBytes(title_, maximumTitleByteCount)); }

}  // namespace nookery
