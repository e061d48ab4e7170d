#include "cli/output/TextLayout.h"

#include <fmt/format.h>
#include <unicode/uchar.h>

#include <array>
#include <cmath>

#include "foundation/Text.h"

namespace nookery::cli {
namespace {

constexpr std::array<std::string_view, 12> months{"January",   "February", "March",    "April",
                                                  "May",       "June",     "July",     "August",
                                                  "September", "October",  "November", "December"};

std::size_t columnsOf(char32_t c) {
    if (c < 0x300) return 1;
    const auto point = static_cast<UChar32>(c);
    const auto category = u_charType(point);
    if (category == U_NON_SPACING_MARK || category == U_ENCLOSING_MARK ||
        category == U_FORMAT_CHAR) {
        return 0;
    }
    const auto width = u_getIntPropertyValue(point, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

std::string cleaned(std::string_view text, bool keepLineEnds) {
    const std::string valid = toValidUtf8(text);
    std::string result;
    bool blankWaits = false;
    for (std::size_t position = 0; position < valid.size();) {
        const char32_t c = nextCodePoint(valid, position);
        if (keepLineEnds && c == '\n') {
            result += '\n';
            blankWaits = false;
        } else if (isWhiteSpace(c) || steersDisplay(c)) {
            blankWaits = !result.empty() && result.back() != '\n';
        } else {
            if (blankWaits) result += ' ';
            blankWaits = false;
            appendUtf8(result, c);
        }
    }
    return result;
}

std::string ago(double amount, std::string_view unit) {
    const auto count = static_cast<std::size_t>(amount);
    return fmt::format("{} {}{} ago", count, unit, count == 1 ? "" : "s");
}

double dayNumber(const CalendarFields& fields) {
    const auto midnight =
        dateFromUtc({.year = fields.year, .month = fields.month, .day = fields.day});
    return midnight ? midnight->secondsSince1970 / 86400 : 0;
}

}  // namespace

std::string printable(std::string_view text) { return cleaned(text, false); }

std::string printableLines(std::string_view text) { return cleaned(text, true); }

std::string printableJson(std::string_view json) {
    std::string escaped;
    escaped.reserve(json.size());
    for (std::size_t position = 0; position < json.size();) {
        const char32_t c = nextCodePoint(json, position);
        if (c >= 0x20 && steersDisplay(c)) {
            escaped += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
        } else {
            appendUtf8(escaped, c);
        }
    }
    return escaped;
}

std::size_t columnCount(std::string_view text) {
    std::size_t columns = 0;
    for (std::size_t position = 0; position < text.size();) {
        columns += columnsOf(nextCodePoint(text, position));
    }
    return columns;
}

std::string fitted(std::string_view text, std::size_t columns) {
    if (columnCount(text) <= columns) return std::string(text);
    if (columns == 0) return {};
    std::size_t used = 0;
    std::size_t kept = 0;
    for (std::size_t position = 0; position < text.size();) {
        used += columnsOf(nextCodePoint(text, position));
        if (used > columns - 1) break;
        kept = position;
    }
    return std::string(text.substr(0, kept)) + "…";
}

std::string padded(std::string_view text, std::size_t columns) {
    const std::size_t used = columnCount(text);
    return std::string(text) + std::string(used < columns ? columns - used : 0, ' ');
}

std::vector<std::string> wrapped(std::string_view text, std::size_t columns) {
    std::vector<std::string> lines;
    for (const std::string_view word : splitWhiteSpace(text)) {
        if (!lines.empty() && columnCount(lines.back()) + 1 + columnCount(word) <= columns) {
            lines.back() += ' ';
            lines.back() += word;
        } else {
            lines.emplace_back(word);
        }
    }
    return lines;
}

std::string spokenDate(Timestamp date, Timestamp now) {
    const double age = secondsBetween(date, now);
    const CalendarFields then = localFields(date);
    const CalendarFields today = localFields(now);
    const double days = dayNumber(today) - dayNumber(then);
    if (age >= 0 && age < 60) return "just now";
    if (age >= 0 && age < 3600) return ago(age / 60, "minute");
    if (age >= 0 && days == 0) return ago(age / 3600, "hour");
    if (days == 1) return "yesterday";
    if (days == -1) return "tomorrow";
    if (days > 1 && days < 7) return ago(days, "day");
    const std::string_view month = months[static_cast<std::size_t>(then.month - 1)];
    if (then.year == today.year) return fmt::format("{} {}", then.day, month);
    return fmt::format("{} {} {}", then.day, month, then.year);
}

std::string exactDate(Timestamp date) {
    const CalendarFields fields = localFields(date);
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}", fields.year, fields.month, fields.day,
                       fields.hour, fields.minute);
}

std::string spokenByteCount(double byteCount) {
    constexpr std::array<std::string_view, 5> units{"bytes", "kB", "MB", "GB", "TB"};
    std::size_t unit = 0;
    while (byteCount >= 999.5 && unit + 1 < units.size()) {
        byteCount /= 1000;
        ++unit;
    }
    const bool isWhole = unit == 0 || byteCount >= 99.5;
    return isWhole ? fmt::format("{:.0f} {}", byteCount, units[unit])
                   : fmt::format("{:.1f} {}", byteCount, units[unit]);
}

std::string counted(std::size_t count, std::string_view one, std::string_view many) {
    return fmt::format("{} {}", count, count == 1 ? one : many);
}

}  // namespace nookery::cli
