#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace nookery {

/// Takes the text out of RTF, which is fed in pieces of any size. Keeps the document's text,
/// footnotes, headers and its title; skips pictures, styles, objects and hidden text. Its memory is
/// bounded by the text kept. Knows no files, and no library but the foundation.
class RtfText {
  public:
    explicit RtfText(std::size_t maximumTextByteCount) : maximumByteCount_(maximumTextByteCount) {}

    void feed(std::string_view bytes);

    /// The text is as long as allowed: nothing more is kept.
    bool isFull() const { return text_.size() >= maximumByteCount_; }
    /// Groups are nested deeper than any writer nests them; nothing is read from there on.
    bool isTooDeep() const { return isTooDeep_; }
    /// The last group that was opened has been closed.
    bool isComplete() const { return groups_.empty() && state_ == State::text; }

    /// What was gathered so far. The bytes may be cut in a character; call once.
    std::string takeText();
    std::string takeTitle();

  private:
    /// What the next byte belongs to.
    enum class State { text, controlStart, word, number, hexadecimal, binary };
    enum class Destination : std::uint8_t { text, title, fonts, skipped };
    struct Group {
        Destination destination = Destination::text;
        bool isHidden = false;
        std::uint16_t font = 0;
        std::uint8_t substituteCount = 1;  ///< characters that stand in for one given by number
    };

    void take(char byte);
    void takeText(char byte);
    void takeControlStart(char byte);
    void takeWord(char byte);
    void takeHexadecimal(char byte);
    void openGroup();
    void closeGroup();
    void endWord();
    void takeSymbol(char byte);
    bool changesDestination();
    bool changesFormat();
    void addCodeUnit(std::uint16_t unit);

    /// One character in the current font's encoding.
    void addByte(char byte);
    void add(std::string_view utf8);
    /// Decodes the bytes gathered so far: before the encoding or the place can change.
    void flushBytes();
    std::string* target();
    const char* encoding() const;

    std::size_t maximumByteCount_;
    std::string text_;
    std::string title_;
    std::vector<Group> groups_;
    Group group_;
    std::unordered_map<std::uint16_t, const char*> encodingOfFont_;
    const char* documentEncoding_ = "windows-1252";
    std::uint16_t definedFont_ = 0;

    State state_ = State::text;
    std::string word_;
    std::string number_;
    bool isOptional_ = false;  ///< the group began with the mark of what readers may skip
    std::uint64_t binaryByteCount_ = 0;
    int substitutesDue_ = 0;
    std::uint16_t highSurrogate_ = 0;
    std::string bytes_;
    bool isTooDeep_ = false;
};

}  // namespace nookery
