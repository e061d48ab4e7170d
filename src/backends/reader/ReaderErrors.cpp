#include "backends/reader/ReaderErrors.h"

#include <array>
#include <new>

#include "platform/DocumentReader.h"
#include "platform/ImageReader.h"
#include "platform/MediaReader.h"
#include "platform/PdfWriter.h"
#include "platform/TextRecognizer.h"

namespace nookery {
namespace {

constexpr std::int64_t success = 0;
constexpr std::int64_t outOfMemory = 1;
constexpr std::int64_t fileFailure = 2;
constexpr std::int64_t firstOfKinds = 3;

constexpr std::size_t longestDescription = 8000;

struct Kind {
    bool (*is)(const std::exception&);
    void (*raise)(const std::string&);
};

template <typename Failure>
constexpr Kind kindOf() {
    return {
        [](const std::exception& error) { return dynamic_cast<const Failure*>(&error) != nullptr; },
        [](const std::string& description) { throw Failure(description); }};
}

/// The most general one last.
constexpr std::array kinds{kindOf<ImageError>(), kindOf<DocumentError>(),
                           kindOf<MediaError>(), kindOf<RecognitionError>(),
                           kindOf<PdfError>(),   kindOf<Error>()};

/// What can fail while a file is read.
constexpr std::array<std::string_view, 2> operations{"open", "read"};

std::int64_t operationOf(const FileError& error) {
    const bool isOpening =
        error.description() ==
        FileError(operations[0], error.path(), error.errorNumber()).description();
    return isOpening ? 0 : 1;
}

[[noreturn]] void throwFileError(FieldReader& reader, const Path& path) {
    const auto operation = static_cast<std::size_t>(reader.integer(0, operations.size() - 1));
    throw FileError(operations[operation], path, static_cast<int>(reader.integer(1, 4095)));
}

}  // namespace

void writeSuccess(FieldWriter& writer) { writer.integer(success); }

void writeFailure(FieldWriter& writer, const std::exception& error) {
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
        writer.integer(outOfMemory);
        return;
    }
    if (const auto* file = dynamic_cast<const FileError*>(&error)) {
        writer.integer(fileFailure).integer(operationOf(*file)).integer(file->errorNumber());
        return;
    }
    std::size_t kind = 0;
    while (kind + 1 < kinds.size() && !kinds[kind].is(error)) ++kind;
    const std::string_view description = error.what();
    writer.integer(firstOfKinds + static_cast<std::int64_t>(kind));
    writer.text(description.substr(0, longestDescription));
}

void throwWhatFailed(FieldReader& reader, const Path& path) {
    const std::int64_t outcome =
        reader.integer(success, firstOfKinds + static_cast<std::int64_t>(kinds.size()) - 1);
    if (outcome == success) return;
    if (outcome == outOfMemory) throw std::bad_alloc();
    if (outcome == fileFailure) throwFileError(reader, path);
    kinds[static_cast<std::size_t>(outcome - firstOfKinds)].raise(reader.text(longestDescription));
}

}  // namespace nookery
