#include "backends/reader/ReaderSubjects.h"

#include <algorithm>
#include <array>

namespace nookery {
namespace {

using std::chrono::seconds;

constexpr std::size_t megabytes(std::size_t count) { return count << 20; }

struct Subject {
    std::string_view name;
    ReaderBounds bounds;
};

// In the order of the enumeration. The program and its libraries take 240 MB of address space
// before they read anything. A picture of a hundred million points takes 2.3 GB when it is wanted
// whole and has to be turned, 1.4 GB for the sides that the program asks for; a scanned page 510 MB
// to be shown with 3,200 points and 310 MB to be recognised. The other bounds are a generous guess.
constexpr std::array<Subject, readerSubjectCount> subjects{{
    {"documents", {seconds(30), seconds(600), megabytes(1536)}},
    {"pictures", {seconds(60), seconds(600), megabytes(3072)}},
    {"media", {seconds(30), seconds(600), megabytes(1536)}},
    {"recognition", {seconds(180), seconds(1800), megabytes(2048)}},
    {"drawing", {seconds(60), seconds(600), megabytes(2048)}},
    {"web", {seconds(20), seconds(60), megabytes(1024)}},
}};

}  // namespace

std::string_view nameOf(ReaderSubject subject) {
    return subjects[static_cast<std::size_t>(subject)].name;
}

std::string_view readerVersion() { return NOOKERY_VERSION; }

std::optional<ReaderSubject> subjectNamed(std::string_view name) {
    const auto* const found =
        std::find_if(subjects.begin(), subjects.end(),
                     [name](const Subject& subject) { return subject.name == name; });
    if (found == subjects.end()) return std::nullopt;
    return static_cast<ReaderSubject>(found - subjects.begin());
}

ReaderBounds boundsOf(ReaderSubject subject) {
    return subjects[static_cast<std::size_t>(subject)].bounds;
}

}  // namespace nookery
