#include "backends/reader/LanguageData.h"

#include <cstdlib>

namespace nookery {

std::optional<Path> findLanguageData(FileSystem& files) {
    std::vector<Path> folders = {"/usr/share/tesseract-ocr/5/tessdata", "/usr/share/tessdata"};
    if (const char* chosen = std::getenv("TESSDATA_PREFIX")) folders = {chosen};
    for (const Path& folder : folders) {
        if (files.statusFollowingLinks(folder / "eng.traineddata")) return folder;
    }
    return std::nullopt;
}

}  // namespace nookery
