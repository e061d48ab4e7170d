#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "backends/documents/OpenedFile.h"

namespace nookery {

/// The lines of a mail file, one after the other, in bounded memory.
class MailLines {
  public:
    MailLines(const OpenedFile& file, const DocumentReading& reading)
        : file_(file), reading_(reading) {}

    /// Goes on to the next line; false at the end of the file. A very long line comes in pieces.
    /// Throws FileError and Cancelled.
    bool next();
    /// With its line end. Valid until `next`.
    std::string_view line() const { return line_; }
    std::string_view lineWithoutEnd() const;

  private:
    bool refill();

    const OpenedFile& file_;
    const DocumentReading& reading_;
    std::size_t offset_ = 0;
    std::string buffer_;
    std::size_t position_ = 0;
    std::string_view line_;
};

/// The header fields of a message or one of its parts, by their names in lower case: only those
/// that the reader needs, unfolded but otherwise as they stand in the file. The first of a name
/// counts.
class MailHeader {
  public:
    /// Reads up to and with the empty line, or up to where the lines end or `isBoundary` holds for
    /// the line that `lines` then stands on.
    template <typename IsBoundary>
    static MailHeader read(MailLines& lines, IsBoundary isBoundary);

    /// Empty when there is no such field.
    std::string_view raw(std::string_view name) const;
    /// As a person reads it: encoded words decoded, valid UTF-8, one line.
    std::string text(std::string_view name) const;

  private:
    void addLine(std::string_view line);

    std::map<std::string, std::string, std::less<>> fields_;
    std::string* current_ = nullptr;
};

template <typename IsBoundary>
MailHeader MailHeader::read(MailLines& lines, IsBoundary isBoundary) {
    MailHeader header;
    while (lines.next()) {
        const std::string_view line = lines.lineWithoutEnd();
        if (line.empty() || isBoundary(line)) break;
        header.addLine(line);
    }
    return header;
}

}  // namespace nookery
