#include "backends/contenttypes/MagicContentTypes.h"

#include <magic.h>

#include <algorithm>

#include "backends/contenttypes/PackedTypes.h"
#include "backends/contenttypes/TextTypes.h"
#include "foundation/Error.h"

namespace nookery {
namespace {

struct MagicCloser {
    void operator()(magic_t cookie) const { magic_close(cookie); }
};
using Magic = std::unique_ptr<magic_set, MagicCloser>;

Magic loadMagic() {
    constexpr int flags = MAGIC_MIME_TYPE | MAGIC_NO_CHECK_COMPRESS | MAGIC_NO_CHECK_ELF |
                          MAGIC_NO_CHECK_TOKENS | MAGIC_NO_CHECK_CSV | MAGIC_NO_CHECK_JSON;
    Magic magic(magic_open(flags));
    if (!magic || magic_load(magic.get(), nullptr) != 0) {
        throw Error("The database of file types is missing. Install the package libmagic-mgc.");
    }
    return magic;
}

std::string answerOfMagic(std::string_view head) {
    // libmagic's handle may be used by one thread only.
    thread_local const Magic magic = loadMagic();
    const char* answer = magic_buffer(magic.get(), head.data(), head.size());
    return answer == nullptr ? "application/octet-stream" : answer;
}

/// Whether there are no control characters but white space, escape and the end mark of DOS.
bool mayBeText(std::string_view head) {
    return std::none_of(head.begin(), head.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 && !(byte >= '\t' && byte <= '\r') && byte != 0x1B && byte != 0x1A;
    });
}

class MagicContentTypes final : public ContentTypeDetector {
  public:
    MagicContentTypes() { answerOfMagic(""); }

    ContentType detect(std::string_view head, const Path& name) const override {
        if (auto text = textTypeOf(head, name)) return *text;
        if (auto packed = packedTypeOf(head, name)) return *packed;
        const std::string type = answerOfMagic(head);
        const bool isUnknown = type.starts_with("text/") || type == "application/octet-stream";
        if (isUnknown && mayBeText(head)) return plainTextTypeByName(name);
        // libmagic takes some binary files for text.
        return {type.starts_with("text/") ? "application/octet-stream" : type};
    }
};

}  // namespace

std::unique_ptr<ContentTypeDetector> makeContentTypeDetector() {
    return std::make_unique<MagicContentTypes>();
}

}  // namespace nookery
