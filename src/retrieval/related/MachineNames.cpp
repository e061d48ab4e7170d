#include "retrieval/related/MachineNames.h"

#include <re2/re2.h>

#include "foundation/Text.h"

namespace nookery {
namespace {

struct MachineNamePatterns {
    RE2 captureName{
        "(?i)^Crumb[-_ ](Photo|Video|Note|File|Audio|Image|Document)[-_ ]"
        "\\p{Nd}{4}[-_]\\p{Nd}{2}[-_]\\p{Nd}{2}[-_]\\p{Nd}{6}[-_][A-F0-9]{8}"
        "(?:[-_][A-F0-9]{4,})?$"};
    RE2 uuid{"(?i)[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}"};
    RE2 cameraOrScanner{
        "(?i)^(?:IMG|DSC|DSCF|DCIM|MOV|VID|VIDEO|PXL|PHOTO|SCREENSHOT|SCAN|FILE|CRUMB)"
        "[-_ ]?[0-9A-Z]{4,}$"};
    RE2 longSuffix{"(?i)[-_ ](?:[0-9a-f]{12,}|[0-9]{6,})$"};
    RE2 allHex{"(?i)^[0-9a-f-]{10,}$"};
};

const MachineNamePatterns& patterns() {
    static const MachineNamePatterns compiled;
    return compiled;
}

}  // namespace

std::optional<std::string> captureNameKind(std::string_view title) {
    std::string kind;
    if (!RE2::PartialMatch(title, patterns().captureName, &kind)) return std::nullopt;
    return lowerCased(kind);
}

bool isMachineGenerated(std::string_view title) {
    return captureNameKind(title) || RE2::PartialMatch(title, patterns().uuid) ||
           RE2::PartialMatch(title, patterns().cameraOrScanner) ||
           RE2::PartialMatch(title, patterns().longSuffix) ||
           RE2::PartialMatch(title, patterns().allHex);
}

}  // namespace nookery
