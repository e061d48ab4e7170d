#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "foundation/FileSystem.h"
#include "platform/Clock.h"
#include "records/CrumbItem.h"

namespace nookery {

/// Memories as one JSON object a line: title, note, text, tags, url, created (ISO 8601), kind. All
/// keys may be missing, unknown ones are ignored. Of an image or a file the text is what was read
/// in it; originals do not travel.

struct ImportedMemory {
    CrumbItem item;  ///< with a new id
    std::vector<std::string> tags;
};
struct ImportFailure {
    std::size_t line = 0;  ///< from 1
    std::string message;
};

/// One memory from its line. Without "created" it was created `now`; without "kind" it is a link
/// when it has a url, else a text; without "title" it is called after its text or its address.
/// Throws JsonError saying what is wrong.
ImportedMemory memoryFromJsonLine(std::string_view line, Timestamp now);

/// The memory's line, without its line feed.
std::string jsonLineOf(const CrumbItem& item, const std::vector<std::string>& tags);

/// Reads such a file from front to end, holding one line at a time. Used by one thread.
class JsonLinesReader {
  public:
    static constexpr std::size_t maximumLineByteCount = std::size_t{64} << 20;

    JsonLinesReader(std::unique_ptr<ReadableFile> file, const Clock& clock,
                    std::size_t lineLimit = maximumLineByteCount);

    /// The next memory or failing line; none at the end. Blank lines are passed over. Throws
    /// FileError when the file cannot be read on.
    std::optional<std::variant<ImportedMemory, ImportFailure>> next();

  private:
    bool readLine();
    bool fill();

    std::unique_ptr<ReadableFile> file_;
    const Clock& clock_;
    std::size_t lineLimit_;
    std::vector<std::byte> buffer_;
    std::string_view unread_;  ///< within the buffer
    std::string line_;
    bool isTooLong_ = false;
    std::size_t lineNumber_ = 0;
};

}  // namespace nookery
