#include "receipts/StrictCsv.h"

#include <stdexcept>

#include "foundation/Text.h"

namespace nookery::testing {
namespace {

class Reader {
  public:
    explicit Reader(std::string_view file) : file_(file) {}

    CsvRows read() {
        demand(isValidUtf8(file_), "valid UTF-8");
        take("\xEF\xBB\xBF");
        CsvRows rows;
        while (position_ < file_.size()) rows.push_back(row());
        return rows;
    }

  private:
    std::vector<std::string> row() {
        std::vector<std::string> fields{field()};
        while (looksAt(",")) {
            take(",");
            fields.push_back(field());
        }
        take("\r\n");
        return fields;
    }

    std::string field() {
        take("\"");
        std::string text;
        while (true) {
            const std::size_t quote = file_.find('"', position_);
            demand(quote != std::string_view::npos, "a closing quote");
            text += file_.substr(position_, quote - position_);
            position_ = quote + 1;
            if (!looksAt("\"")) return text;
            text += '"';
            ++position_;
        }
    }

    bool looksAt(std::string_view wanted) const {
        return file_.substr(position_, wanted.size()) == wanted;
    }
    void take(std::string_view wanted) {
        demand(looksAt(wanted), wanted);
        position_ += wanted.size();
    }
    void demand(bool holds, std::string_view what) const {
        if (holds) return;
        throw std::runtime_error("no " + std::string(what) + " at byte " +
                                 std::to_string(position_));
    }

    std::string_view file_;
    std::size_t position_ = 0;
};

}  // namespace

CsvRows readStrictCsv(std::string_view file) { return Reader(file).read(); }

}  // namespace nookery::testing
