#include "workspace/history/Consent.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace nookery {

ConsentCheck consentCheck(Consent consent) {
    return [consent](const UndoPreview& preview) {
        if (!preview.needsConsent() || consent == Consent::given) return;
        throw ConsentNeeded(fmt::format("{}", fmt::join(preview.lost, " ")));
    };
}

ConsentCheck consentCheck(const UndoPreview& agreed) {
    return [number = agreed.number, lost = agreed.lost](const UndoPreview& preview) {
        if (preview.number == number && preview.lost == lost) return;
        throw Error("Another change was made meanwhile; look again.");
    };
}

}  // namespace nookery
