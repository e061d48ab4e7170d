#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "foundation/FileSystem.h"

namespace nookery::cli {

/// Where bytes come from: fills the buffer as far as there is something, 0 at the end.
using ByteSource = std::function<std::size_t(std::span<std::byte>)>;

/// Standard input. Waiting for it ends with Cancelled when `interrupted` becomes readable.
ByteSource standardInput(int interrupted);

/// A file named by the user; symbolic links are followed. The source keeps it open.
ByteSource openInput(FileSystem& files, const Path& path);

/// Everything up to the end; more than `maximumByteCount` throws Error.
std::string readAll(const ByteSource& source, std::size_t maximumByteCount);

/// Splits what comes into lines, holding one at a time.
class LineReader {
  public:
    /// A line longer than this throws Error.
    static constexpr std::size_t maximumLineByteCount = std::size_t{64} << 20;

    explicit LineReader(ByteSource source) : source_(std::move(source)) {}

    /// The next line without its end; none at the end of the input.
    std::optional<std::string> next();

  private:
    bool fill();

    ByteSource source_;
    std::string held_;
    std::size_t position_ = 0;
    bool ended_ = false;
};

}  // namespace nookery::cli
