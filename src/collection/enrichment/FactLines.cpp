#include "collection/enrichment/FactLines.h"

#include <fmt/format.h>

#include <array>
#include <cmath>

namespace nookery {
namespace {

constexpr std::array months{"January", "February", "March",     "April",   "May",      "June",
                            "July",    "August",   "September", "October", "November", "December"};

std::string pixels(int width, int height) { return fmt::format("{} x {} pixels", width, height); }

std::string degrees(double value, char positive, char negative) {
    return fmt::format("{:.5f} {}", std::abs(value), value < 0 ? negative : positive);
}

std::string duration(double seconds) {
    const auto whole = std::llround(seconds);
    const auto minutes = whole / 60;
    if (minutes < 60) return fmt::format("Duration {}:{:02}", minutes, whole % 60);
    return fmt::format("Duration {}:{:02}:{:02}", minutes / 60, minutes % 60, whole % 60);
}

}  // namespace

std::string joinedLines(const std::vector<std::string>& lines) {
    return fmt::format("{}", fmt::join(lines, "\n"));
}

std::string pageFactLine(int pageCount) {
    return fmt::format("{} {}", pageCount, pageCount == 1 ? "page" : "pages");
}

std::string factLines(const ImageFacts& facts) {
    std::vector<std::string> lines;
    if (facts.width > 0) lines.push_back(pixels(facts.width, facts.height));
    if (!facts.camera.empty()) lines.push_back("Camera " + facts.camera);
    if (facts.taken) {
        const CalendarFields& taken = *facts.taken;
        lines.push_back(fmt::format("Taken {:04}-{:02}-{:02} {:02}:{:02}, {} {} {}", taken.year,
                                    taken.month, taken.day, taken.hour, taken.minute, taken.day,
                                    months.at(static_cast<std::size_t>(taken.month - 1)),
                                    taken.year));
    }
    if (facts.position) {
        lines.push_back(std::string(placeFactLabel) + degrees(facts.position->latitude, 'N', 'S') +
                        " " + degrees(facts.position->longitude, 'E', 'W'));
    }
    return joinedLines(lines);
}

std::string factLines(const MediaFacts& facts) {
    std::vector<std::string> lines;
    if (facts.durationSeconds) lines.push_back(duration(*facts.durationSeconds));
    if (!facts.videoCodec.empty()) {
        lines.push_back("Video " + facts.videoCodec + ", " + pixels(facts.width, facts.height));
    }
    if (!facts.audioCodec.empty()) lines.push_back("Sound " + facts.audioCodec);
    if (!facts.recorded.empty()) lines.push_back("Recorded " + facts.recorded);
    if (!facts.place.empty()) lines.push_back(std::string(placeFactLabel) + facts.place);
    return joinedLines(lines);
}

}  // namespace nookery
