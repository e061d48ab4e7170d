#include "workspace/history/AddedTexts.h"

#include <string_view>

namespace nookery {

Sha256Digest digestOfTexts(const Platform& platform, const CrumbItem& item) {
    const auto stream = platform.digester.sha256();
    const auto add = [&](std::string_view text) {
        const std::string size = std::to_string(text.size()) + ":";
        stream->update(std::as_bytes(std::span(size)));
        stream->update(std::as_bytes(std::span(text)));
    };
    add(item.title);
    add(item.note);
    add(item.text.value_or(""));
    return stream->finish();
}

}  // namespace nookery
