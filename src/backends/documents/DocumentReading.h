#pragma once

#include <cstdint>
#include <stop_token>
#include <string>
#include <string_view>

#include "platform/DocumentReader.h"

namespace nookery {

/// A longer "title" is no title.
constexpr std::size_t maximumTitleByteCount = 1000;

/// One document being read: its name in messages, its limits, and whether to go on. Refers to the
/// arguments of its constructor; lives for one call of `DocumentReader::read`.
class DocumentReading {
  public:
    DocumentReading(const Path& path, const DocumentLimits& limits, std::stop_token stop)
        : path_(path), limits_(limits), stop_(std::move(stop)) {}

    const Path& path() const { return path_; }
    const DocumentLimits& limits() const { return limits_; }

    /// Throws Cancelled when stop is requested.
    void checkStop() const;

    /// Counts bytes that came out of a compressed part, and throws DocumentError when the parts
    /// together pass the limit.
    void countExpanded(std::size_t byteCount);

    /// Throws DocumentError; `what` follows the file's name: "is encrypted with a password."
    [[noreturn]] void fail(std::string_view what) const;
    [[noreturn]] void failEncrypted() const { fail("is encrypted with a password."); }
    /// Throws DocumentError; `how` is a clause: "it ends in the middle".
    [[noreturn]] void failDamaged(std::string_view how) const;

  private:
    const Path& path_;
    const DocumentLimits& limits_;
    std::stop_token stop_;
    std::size_t expandedByteCount_ = 0;
};

/// The text of a document as it is found, piece by piece.
class GatheredText {
  public:
    explicit GatheredText(std::size_t maximumByteCount) : maximumByteCount_(maximumByteCount) {}

    void add(std::string_view text);
    /// Adds text of several lines, whatever their ends are, and ends the last.
    void addLines(std::string_view text);
    /// Ends the line; of several empty lines one stays.
    void endLine();
    /// The text is as long as allowed: nothing more is kept.
    bool isFull() const { return text_.size() >= maximumByteCount_; }
    /// Trimmed, valid UTF-8, within the maximum.
    std::string take();

  private:
    std::size_t maximumByteCount_;
    std::string text_;
};

}  // namespace nookery
