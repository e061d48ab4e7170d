#include "workspace/OpenTarget.h"

#include "collection/text/WebAddress.h"
#include "foundation/Error.h"
#include "foundation/FileSystem.h"

namespace nookery {

void demandOpenable(const std::string& target) {
    const bool isPath = target.starts_with('/') && target.find('\0') == std::string::npos;
    if (isPath || parseWebAddress(target)) return;
    throw Error("\"" + displayName(target) + "\" is neither a file nor a web address.",
                "It is not opened; \"nookery show\" prints it.");
}

}  // namespace nookery
