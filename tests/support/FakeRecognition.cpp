#include "support/FakeRecognition.h"

#include "foundation/FileSystem.h"

namespace nookery::testing {
namespace {

Picture rowOfBytes(const Path& path) {
    const auto files = makePosixFileSystem();
    std::string bytes = readWholeFile(*files, path, 1 << 20);
    bytes.resize(bytes.size() / 3 * 3);
    return {static_cast<int>(bytes.size() / 3), 1, {bytes.begin(), bytes.end()}};
}

bool isDamaged(const Path& path) {
    const auto files = makePosixFileSystem();
    return readWholeFile(*files, path, 1 << 20).ends_with("damaged");
}

}  // namespace

Picture FakeImages::read(const Path& path, const ContentType&, int, const ImageLimits&,
                         std::stop_token stop) const {
    if (stop.stop_requested()) throw Cancelled();
    if (isDamaged(path)) throw ImageError("The picture is damaged.");
    return rowOfBytes(path);
}

ImageFacts FakeImages::facts(const Path& path, const ContentType&, const ImageLimits&) const {
    if (isDamaged(path)) throw ImageError("The picture is damaged.");
    const Picture picture = rowOfBytes(path);
    ImageFacts facts;
    facts.width = picture.width;
    facts.height = picture.height;
    return facts;
}

int FakePages::pageCount(const Path& path, const DocumentLimits&) const {
    rowOfBytes(path);
    return 1;
}

Picture FakePages::render(const Path& path, int page, int, const DocumentLimits&,
                          std::stop_token stop) const {
    if (stop.stop_requested()) throw Cancelled();
    if (page != 0 || isDamaged(path)) throw DocumentError("The document is damaged.");
    return rowOfBytes(path);
}

std::vector<OCRLine> FakeTextRecognizer::recognise(const Picture&, std::stop_token stop) const {
    if (stop.stop_requested()) throw Cancelled();
    return lines;
}

}  // namespace nookery::testing
