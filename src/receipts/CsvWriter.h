#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

namespace nookery {

/// Writes comma-separated values for spreadsheet programs: a byte-order mark, every field in double
/// quotes with inner ones doubled, rows that end with CR LF. A field that begins with "=", "+", "-"
/// or "@" gets a leading apostrophe, so that no spreadsheet reads it as a formula. U+FFFD replaces
/// bytes that are not UTF-8.
class CsvWriter {
  public:
    explicit CsvWriter(std::function<void(std::string_view)> sink);

    void row(std::initializer_list<std::string_view> fields);

  private:
    void appendField(std::string_view field);

    std::function<void(std::string_view)> sink_;
    std::string line_;
};

}  // namespace nookery
