#include "foundation/Region.h"

#include <fmt/format.h>
#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <string_view>

#include "foundation/Error.h"

namespace nookery {
namespace {

thread_local const Region* currentRegion = nullptr;

/// What follows "zoneinfo/" in the name of a time zone's file; else the text itself.
std::string zoneName(std::string_view path) {
    constexpr std::string_view folder = "zoneinfo/";
    const std::size_t position = path.find(folder);
    if (position != std::string_view::npos) path.remove_prefix(position + folder.size());
    return std::string(path);
}

std::string machineTimeZone() {
    if (const char* chosen = ::getenv("TZ")) {
        std::string_view name = chosen;
        if (name.starts_with(':')) name.remove_prefix(1);
        return name.empty() ? "UTC" : zoneName(name);
    }
    std::array<char, PATH_MAX> target{};
    const ssize_t length = ::readlink("/etc/localtime", target.data(), target.size());
    return length <= 0 ? "UTC" : zoneName({target.data(), static_cast<std::size_t>(length)});
}

}  // namespace

struct Region::Held {
    std::unique_ptr<const icu::TimeZone> zone;
    icu::Locale locale;
};

RegionNames machineRegion() { return {machineTimeZone(), icu::Locale::getDefault().getName()}; }

Region::Region(const RegionNames& names) {
    std::unique_ptr<icu::TimeZone> zone(
        icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(names.timeZone)));
    if (!zone || *zone == icu::TimeZone::getUnknown()) {
        throw Error(fmt::format(
            "The time zone \"{}\" is not known; set TZ to a name such as Europe/Berlin.",
            names.timeZone));
    }
    held_ = std::make_shared<Held>(Held{std::move(zone), icu::Locale(names.locale.c_str())});
}

CalendarFields Region::fields(Timestamp date) const {
    std::int32_t standard = 0;
    std::int32_t summer = 0;
    UErrorCode failure = U_ZERO_ERROR;
    held_->zone->getOffset(date.secondsSince1970 * 1000, false, standard, summer, failure);
    if (U_FAILURE(failure)) return utcFields(date);
    return utcFields({date.secondsSince1970 + (standard + summer) / 1000});
}

std::string Region::abbreviatedDay(Timestamp date) const {
    const std::unique_ptr<icu::DateFormat> format(
        icu::DateFormat::createDateInstance(icu::DateFormat::kMedium, held_->locale));
    if (!format) throw Error("The library for Unicode text has no formats for dates.");
    format->setTimeZone(*held_->zone);
    icu::UnicodeString day;
    format->format(date.secondsSince1970 * 1000, day);
    std::string text;
    return day.toUTF8String(text);
}

RegionScope::RegionScope(const Region* region) : before_(currentRegion) { currentRegion = region; }

RegionScope::~RegionScope() { currentRegion = before_; }

const Region* RegionScope::current() { return currentRegion; }

}  // namespace nookery
