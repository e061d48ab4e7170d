#include "collection/database/RecognisedPages.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "foundation/SqliteStatement.h"

namespace nookery {
namespace {

/// Goes up when words are found or placed otherwise than before.
constexpr int readingVersion = 1;
constexpr double boxUnits = 65535;

[[noreturn]] void throwDamaged() {
    throw DatabaseError(DatabaseFailure::stepFailed,
                        "a row of recognised_pages in sidecar.sqlite3 is damaged", 0);
}

/// Seven bits a byte, the lowest first; the highest bit says that more follow.
void appendNumber(std::string& content, std::size_t number) {
    for (; number >= 0x80; number >>= 7) content += static_cast<char>(number | 0x80);
    content += static_cast<char>(number);
}

void appendFraction(std::string& content, double fraction) {
    const auto units =
        static_cast<std::uint16_t>(std::lround(std::clamp(fraction, 0.0, 1.0) * boxUnits));
    content += static_cast<char>(units & 0xFF);
    content += static_cast<char>(units >> 8);
}

class Decoder {
  public:
    explicit Decoder(std::string_view content) : rest_(content) {}

    bool atEnd() const { return rest_.empty(); }

    /// At most what could still follow: no damaged number takes memory.
    std::size_t number() {
        std::size_t number = 0;
        for (int shift = 0; shift < 35; shift += 7) {
            const std::size_t byte = nextByte();
            number |= (byte & 0x7F) << shift;
            if ((byte & 0x80) != 0) continue;
            if (number > rest_.size()) throwDamaged();
            return number;
        }
        throwDamaged();
    }

    OCRWord word() {
        OCRWord word;
        const std::size_t length = number();
        word.text = rest_.substr(0, length);
        rest_.remove_prefix(length);
        for (double* side : {&word.box.x, &word.box.y, &word.box.width, &word.box.height}) {
            const std::size_t low = nextByte();
            *side = static_cast<double>(low | nextByte() << 8) / boxUnits;
        }
        return word;
    }

  private:
    std::size_t nextByte() {
        if (rest_.empty()) throwDamaged();
        const auto byte = static_cast<unsigned char>(rest_.front());
        rest_.remove_prefix(1);
        return byte;
    }

    std::string_view rest_;
};

bool hasTable(SqliteConnection& connection) {
    SqliteStatement table(connection,
                          "SELECT 1 FROM sqlite_master WHERE name = 'recognised_pages';");
    return table.step();
}

}  // namespace

EncodedPage encode(const RecognisedPage& page) {
    EncodedPage encoded{page.page, ""};
    std::string& content = encoded.content;
    for (const auto& line : page.lines) {
        appendNumber(content, line.size());
        for (const OCRWord& word : line) {
            appendNumber(content, word.text.size());
            content += word.text;
            const NormalizedBox& box = word.box;
            for (const double side : {box.x, box.y, box.width, box.height}) {
                appendFraction(content, side);
            }
        }
    }
    return encoded;
}

RecognisedPage decode(const EncodedPage& encoded) {
    RecognisedPage page{encoded.page, {}};
    Decoder decoder(encoded.content);
    while (!decoder.atEnd()) {
        auto& line = page.lines.emplace_back(decoder.number());
        for (OCRWord& word : line) word = decoder.word();
    }
    return page;
}

void RecognisedPages::replace(const Uuid& memoryID, std::span<const EncodedPage> pages) {
    SqliteTransaction transaction(connection_);
    SqliteStatement(connection_, "DELETE FROM recognised_pages WHERE memory_id = ?;")
        .with(memoryID)
        .run();
    SqliteStatement add(connection_,
                        "INSERT INTO recognised_pages (memory_id, page, reading, content) "
                        "VALUES (?, ?, ?, ?);");
    for (const EncodedPage& page : pages) {
        add.with(memoryID, page.page, readingVersion, std::as_bytes(std::span(page.content)));
        add.run();
    }
    transaction.commit();
}

std::vector<RecognisedPage> RecognisedPages::load(const LibraryLayout& layout,
                                                  const Uuid& memoryID) {
    Sidecar sidecar = Sidecar::openForReading(layout.sidecar());
    std::vector<RecognisedPage> pages;
    if (!hasTable(sidecar.connection_)) return pages;
    SqliteStatement rows(sidecar.connection_,
                         "SELECT page, content FROM recognised_pages "
                         "WHERE memory_id = ? AND reading = ? ORDER BY page;");
    rows.with(memoryID, readingVersion);
    while (rows.step()) {
        const auto content = rows.blob(1);
        pages.push_back(decode({static_cast<int>(rows.integer(0)),
                                {reinterpret_cast<const char*>(content.data()), content.size()}}));
    }
    return pages;
}

}  // namespace nookery
