#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string_view>

namespace nookery {

/// What a reader process is for. Each answers questions of one subject only.
enum class ReaderSubject { documents, pictures, media, recognition, drawing, web };
constexpr int readerSubjectCount = 6;

enum class ReaderQuestion {
    documentText,
    pageCount,
    pagesWithoutText,
    pagePicture,
    picture,
    pictureFacts,
    jpeg,
    mediaFacts,
    mediaCover,
    recognisedText,
    drawing,
    webPage
};
constexpr int readerQuestionCount = 12;

/// What one request may use up.
struct ReaderBounds {
    std::chrono::seconds processorTime{30};
    /// By the clock: a reader may wait for a slow disk, or for other programs to leave it a core.
    std::chrono::seconds time{600};
    /// Of address space, the program and its libraries included.
    std::size_t memoryByteCount = std::size_t{3} << 29;
};

/// The program is started with this name and this version as its arguments.
std::string_view nameOf(ReaderSubject subject);
std::string_view readerVersion();
/// It ends with this status when its own version is another one.
constexpr int otherVersionStatus = 3;

std::optional<ReaderSubject> subjectNamed(std::string_view name);

/// Enough for every legitimate file that the limits of the platform's interfaces let pass.
ReaderBounds boundsOf(ReaderSubject subject);

}  // namespace nookery
