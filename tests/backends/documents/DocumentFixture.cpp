#include "backends/documents/DocumentFixture.h"

#include <zip.h>

namespace nookery::testing {

DocumentText DocumentFixture::readParts(const Parts& parts, const std::string& mediaType,
                                        const char* password) {
    const Path path = folder_ / "document";
    zip_t* archive = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, nullptr);
    for (const auto& [name, content] : parts) {
        auto* source = zip_source_buffer(archive, content.data(), content.size(), 0);
        const auto index = zip_file_add(archive, name.c_str(), source, 0);
        if (password != nullptr) {
            zip_file_set_encryption(archive, static_cast<zip_uint64_t>(index), ZIP_EM_AES_256,
                                    password);
        }
    }
    EXPECT_EQ(zip_close(archive), 0);
    return read(path, mediaType);
}

std::string DocumentFixture::problemOf(const std::function<void()>& reading) {
    try {
        reading();
    } catch (const DocumentError& error) {
        return error.description();
    }
    return "no problem";
}

}  // namespace nookery::testing
