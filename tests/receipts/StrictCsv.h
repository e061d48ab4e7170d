#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace nookery::testing {

using CsvRows = std::vector<std::vector<std::string>>;

/// Reads a file as RFC 4180 has it, and as the package promises it: a byte-order mark, every field
/// quoted, quotes inside doubled, CR LF after every row, nothing else. Throws std::runtime_error,
/// saying where, for anything that departs from it.
CsvRows readStrictCsv(std::string_view file);

}  // namespace nookery::testing
