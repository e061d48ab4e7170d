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

/// What follows "zoneinfo/" in the name of a time zone's file, or of what a link stands for; else
/// the text itself.
std::string zoneName(const std::string& name) {
    constexpr std::string_view folder = "zoneinfo/";
    std::array<char, PATH_MAX> target{};
    const bool isPath = name.starts_with('/');
    const ssize_t length =
        isPath ? ::readlink(name.c_str(), target.data(), target.size()) : ssize_t{-1};
    std::string path = length > 0 ? std::string(target.data(), length) : name;
    const std::size_t position = path.find(folder);
    return position == std::string::npos ? path : path.substr(position + folder.size());
}

std::string machineTimeZone() {
    if (const char* chosen = ::getenv("TZ")) {
        std::string_view name = chosen;
        if (name.starts_with(':')) name.remove_prefix(1);
        return name.empty() ? "UTC" : zoneName(std::string(name));
    }
    const std::string zone = zoneName("/etc/localtime");
    return zone.starts_with('/') ? "UTC" : zone;
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
