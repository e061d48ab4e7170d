#include <cstdlib>
#include <string>

#include "collection/text/TextExtraction.h"
#include "foundation/Text.h"

/// Whatever the page holds, its text is valid, folded and its title not empty.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string html = nookery::toValidUtf8({reinterpret_cast<const char*>(data), size});
    const nookery::PageText page = nookery::pageText(html);
    const bool isFolded = page.text.find("  ") == std::string::npos &&
                          page.text.find("\n\n") == std::string::npos &&
                          nookery::trimmed(page.text).size() == page.text.size();
    if (!isFolded || page.title.empty() || !nookery::isValidUtf8(page.text)) std::abort();
    return 0;
}
