#include "foundation/Timestamp.h"

#include <fmt/format.h>
#include <unicode/datefmt.h>

#include <chrono>
#include <cmath>
#include <ctime>
#include <memory>

#include "foundation/Error.h"
#include "foundation/Region.h"

namespace nookery {
namespace {

/// Reads a fixed or variable number of decimal digits from the front of a text.
class FieldReader {
  public:
    explicit FieldReader(std::string_view text) : rest_(text) {}

    bool atEnd() const { return rest_.empty(); }

    bool take(char wanted) {
        if (rest_.empty() || rest_.front() != wanted) return false;
        rest_.remove_prefix(1);
        return true;
    }

    bool digits(int count, int& value) {
        if (rest_.size() < static_cast<std::size_t>(count)) return false;
        value = 0;
        for (int i = 0; i < count; ++i) {
            if (!isDigit(rest_[static_cast<std::size_t>(i)])) return false;
            value = value * 10 + (rest_[static_cast<std::size_t>(i)] - '0');
        }
        rest_.remove_prefix(static_cast<std::size_t>(count));
        return true;
    }

    /// The digits after a decimal point, as a number below 1.
    bool fraction(double& value) {
        double scale = 0.1;
        value = 0;
        if (rest_.empty() || !isDigit(rest_.front())) return false;
        for (; !rest_.empty() && isDigit(rest_.front()); rest_.remove_prefix(1), scale /= 10) {
            value += scale * (rest_.front() - '0');
        }
        return true;
    }

  private:
    static bool isDigit(char c) { return c >= '0' && c <= '9'; }

    std::string_view rest_;
};

bool readDay(FieldReader& reader, CalendarFields& fields) {
    return reader.digits(4, fields.year) && reader.take('-') && reader.digits(2, fields.month) &&
           reader.take('-') && reader.digits(2, fields.day) && fields.year >= 1;
}

/// Minutes east of Greenwich; an absent zone is UTC.
bool readZone(FieldReader& reader, int& minutesEast) {
    minutesEast = 0;
    if (reader.atEnd() || reader.take('Z') || reader.take('z')) return true;
    int sign = 1;
    if (reader.take('-')) {
        sign = -1;
    } else if (!reader.take('+')) {
        return false;
    }
    int hours = 0;
    int minutes = 0;
    if (!reader.digits(2, hours)) return false;
    reader.take(':');
    if (!reader.digits(2, minutes) || hours > 18 || minutes > 59) return false;
    minutesEast = sign * (hours * 60 + minutes);
    return true;
}

}  // namespace

CalendarFields utcFields(Timestamp date) {
    using namespace std::chrono;
    const auto whole = static_cast<std::int64_t>(std::floor(date.secondsSince1970));
    const sys_seconds moment{seconds{whole}};
    const auto day = floor<days>(moment);
    const year_month_day calendar{day};
    const hh_mm_ss time{moment - day};
    CalendarFields fields;
    fields.year = static_cast<int>(calendar.year());
    fields.month = static_cast<int>(static_cast<unsigned>(calendar.month()));
    fields.day = static_cast<int>(static_cast<unsigned>(calendar.day()));
    fields.hour = static_cast<int>(time.hours().count());
    fields.minute = static_cast<int>(time.minutes().count());
    fields.second = static_cast<int>(time.seconds().count());
    const double fraction = date.secondsSince1970 - static_cast<double>(whole);
    // Doubles near the present resolve about 0.2 microseconds: nudge by less than a millisecond's
    // hundredth, so that a stored .250 does not come back as .249.
    fields.millisecond = std::min(999, static_cast<int>((fraction + 1e-6) * 1000));
    return fields;
}

CalendarFields localFields(Timestamp date) {
    if (const Region* region = RegionScope::current()) return region->fields(date);
    const auto whole = static_cast<std::time_t>(std::floor(date.secondsSince1970));
    std::tm local{};
    if (::localtime_r(&whole, &local) == nullptr) return utcFields(date);
    CalendarFields fields = utcFields(date);
    fields.year = local.tm_year + 1900;
    fields.month = local.tm_mon + 1;
    fields.day = local.tm_mday;
    fields.hour = local.tm_hour;
    fields.minute = local.tm_min;
    fields.second = local.tm_sec;
    return fields;
}

std::optional<Timestamp> dateFromUtc(const CalendarFields& fields) {
    using namespace std::chrono;
    const year_month_day calendar{year{fields.year}, month{static_cast<unsigned>(fields.month)},
                                  day{static_cast<unsigned>(fields.day)}};
    const bool timeFits = fields.hour >= 0 && fields.hour <= 23 && fields.minute >= 0 &&
                          fields.minute <= 59 && fields.second >= 0 && fields.second <= 60 &&
                          fields.millisecond >= 0 && fields.millisecond <= 999;
    if (!calendar.ok() || !timeFits) return std::nullopt;
    const auto moment =
        sys_days{calendar} + hours{fields.hour} + minutes{fields.minute} + seconds{fields.second};
    return Timestamp{
        static_cast<double>(duration_cast<seconds>(moment.time_since_epoch()).count()) +
        fields.millisecond / 1000.0};
}

bool exists(const CalendarDay& day) {
    using namespace std::chrono;
    return day.year >= 1 && day.year <= 9999 && day.month >= 1 && day.day >= 1 &&
           year_month_day{year{day.year}, month{static_cast<unsigned>(day.month)},
                          std::chrono::day{static_cast<unsigned>(day.day)}}
               .ok();
}

CalendarDay localDay(Timestamp date) {
    const CalendarFields fields = localFields(date);
    return {fields.year, fields.month, fields.day};
}

std::string toText(const CalendarDay& day) {
    return fmt::format("{:04}-{:02}-{:02}", day.year, day.month, day.day);
}

std::optional<CalendarDay> parseCalendarDay(std::string_view text) {
    FieldReader reader(text);
    CalendarFields fields;
    if (!readDay(reader, fields) || !reader.atEnd()) return std::nullopt;
    const CalendarDay day{fields.year, fields.month, fields.day};
    return exists(day) ? std::optional(day) : std::nullopt;
}

std::string toAbbreviatedDay(Timestamp date) {
    if (const Region* region = RegionScope::current()) return region->abbreviatedDay(date);
    const std::unique_ptr<icu::DateFormat> format(
        icu::DateFormat::createDateInstance(icu::DateFormat::kMedium));
    if (!format) throw Error("The library for Unicode text has no formats for dates.");
    icu::UnicodeString day;
    format->format(date.secondsSince1970 * 1000, day);
    std::string text;
    return day.toUTF8String(text);
}

std::string toIso8601(Timestamp date) {
    const CalendarFields f = utcFields(date);
    const std::string milliseconds =
        f.millisecond == 0 ? std::string() : fmt::format(".{:03}", f.millisecond);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}{}Z", f.year, f.month, f.day, f.hour,
                       f.minute, f.second, milliseconds);
}

std::optional<Timestamp> parseIso8601(std::string_view text) {
    FieldReader reader(text);
    CalendarFields fields;
    if (!readDay(reader, fields)) return std::nullopt;
    if (reader.atEnd()) return dateFromUtc(fields);
    if (!reader.take('T') && !reader.take('t') && !reader.take(' ')) return std::nullopt;
    if (!reader.digits(2, fields.hour) || !reader.take(':') || !reader.digits(2, fields.minute)) {
        return std::nullopt;
    }
    double fraction = 0;
    if (reader.take(':')) {
        if (!reader.digits(2, fields.second)) return std::nullopt;
        if (reader.take('.') && !reader.fraction(fraction)) return std::nullopt;
    }
    int minutesEast = 0;
    if (!readZone(reader, minutesEast) || !reader.atEnd()) return std::nullopt;
    auto date = dateFromUtc(fields);
    if (date) date->secondsSince1970 += fraction - 60.0 * minutesEast;
    return date;
}

std::string toFolderTimestamp(Timestamp date) {
    const CalendarFields f = utcFields(date);
    return fmt::format("{:04}-{:02}-{:02}_{:02}-{:02}-{:02}-{:03}", f.year, f.month, f.day, f.hour,
                       f.minute, f.second, f.millisecond);
}

std::optional<Timestamp> parseFolderTimestamp(std::string_view text) {
    FieldReader reader(text);
    CalendarFields f;
    const bool fits = readDay(reader, f) && reader.take('_') && reader.digits(2, f.hour) &&
                      reader.take('-') && reader.digits(2, f.minute) && reader.take('-') &&
                      reader.digits(2, f.second) && reader.take('-') &&
                      reader.digits(3, f.millisecond) && reader.atEnd();
    return fits ? dateFromUtc(f) : std::nullopt;
}

}  // namespace nookery
