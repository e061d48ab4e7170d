#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace nookery {

/// A moment, held as the databases hold it: seconds since 1970-01-01 00:00:00 UTC, leap seconds
/// not counted.
struct Timestamp {
    double secondsSince1970 = 0;

    /// The other epoch in use: the legacy library file and the phone count from 2001-01-01 UTC.
    static constexpr double epoch2001 = 978307200.0;
    static Timestamp since2001(double seconds) { return {seconds + epoch2001}; }
    double secondsSince2001() const { return secondsSince1970 - epoch2001; }

    auto operator<=>(const Timestamp&) const = default;
};

inline double secondsBetween(Timestamp from, Timestamp to) {
    return to.secondsSince1970 - from.secondsSince1970;
}

/// A moment's fields on the proleptic Gregorian calendar.
struct CalendarFields {
    int year = 1970;
    int month = 1;  ///< 1 to 12
    int day = 1;    ///< 1 to 31
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
};

/// UTC fields, the millisecond rounded down.
CalendarFields utcFields(Timestamp date);
/// Fields in the time zone of the thread's region: the machine's, unless a RegionScope says
/// otherwise. Any thread.
CalendarFields localFields(Timestamp date);
/// None when a field is out of its range (February 30, hour 24).
std::optional<Timestamp> dateFromUtc(const CalendarFields& fields);

/// A day on the calendar, as people write it: no time of day, no time zone.
struct CalendarDay {
    int year = 1970;
    int month = 1;  ///< 1 to 12
    int day = 1;    ///< 1 to 31

    auto operator<=>(const CalendarDay&) const = default;
};

/// Whether there is such a day, in the years 0001 to 9999.
bool exists(const CalendarDay& day);
/// The day on which the moment falls, by localFields. Any thread.
CalendarDay localDay(Timestamp date);
/// "2026-03-01", which is also all that parseCalendarDay reads.
std::string toText(const CalendarDay& day);
std::optional<CalendarDay> parseCalendarDay(std::string_view text);
/// "Mar 1, 2026": the day in short, as the language and time zone of the thread's region have it.
/// Any thread.
std::string toAbbreviatedDay(Timestamp date);

/// "2026-03-01T09:30:00Z", with ".123" before the Z only when there are milliseconds.
std::string toIso8601(Timestamp date);

/// Reads "yyyy-MM-dd", or that followed by "T" (or a space), "HH:mm[:ss[.fraction]]" and a zone
/// ("Z", "+02:00", "+0200"; none means UTC). The whole text must fit; the year is 0001 to 9999.
std::optional<Timestamp> parseIso8601(std::string_view text);

/// "yyyy-MM-dd_HH-mm-ss-SSS" in UTC: names that sort in time order. Read back by
/// parseFolderTimestamp, which accepts nothing else.
std::string toFolderTimestamp(Timestamp date);
std::optional<Timestamp> parseFolderTimestamp(std::string_view text);

}  // namespace nookery
