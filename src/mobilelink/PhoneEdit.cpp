#include "mobilelink/PhoneEdit.h"

#include "foundation/Json.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

/// Limits for a request, which is one flat object.
constexpr JsonLimits requestLimits{.maximumByteCount = 64u << 20, .maximumDepth = 8};

Uuid requiredID(const Json& object, std::string_view key) {
    const auto id = Uuid::parse(requiredString(object, key));
    if (!id) throw JsonError("JSON key \"" + std::string(key) + "\" must be an identifier.");
    return *id;
}

std::optional<std::string> newText(const Json& object, std::string_view key) {
    auto text = optionalString(object, key);
    if (text) text = toValidUtf8(*text);
    return text;
}

struct Wording {
    const char* result;
    const char* explanation;
};

Wording wordingOf(EditAnswer answer) {
    switch (answer) {
        case EditAnswer::applied:
            return {"applied", "Changes saved on Mac"};
        case EditAnswer::conflictChanged:
            return {"conflict",
                    "This memory changed on the Mac. Your phone edit was preserved, not "
                    "overwritten."};
        case EditAnswer::conflictFormatted:
            return {"conflict", "This memory contains formatted text. Edit its body on the Mac."};
        case EditAnswer::missing:
            return {"missing",
                    "The memory no longer exists on the Mac. Your phone edit was preserved."};
    }
    return {"", ""};
}

}  // namespace

PhoneEdit phoneEditFromJson(std::string_view json) {
    const Json object = parseJson(json, requestLimits);
    return {.id = requiredID(object, "id"),
            .memoryID = requiredID(object, "memoryID"),
            .createdAt = Timestamp::since2001(requiredNumber(object, "createdAt")),
            .baseTitle = requiredString(object, "baseTitle"),
            .baseDetails = requiredString(object, "baseDetails"),
            .baseBody = requiredString(object, "baseBody"),
            .title = newText(object, "title"),
            .details = newText(object, "details"),
            .body = newText(object, "body")};
}

std::string receiptJson(const EditReceipt& receipt) {
    const Wording wording = wordingOf(receipt.answer);
    return toJsonText(OrderedJson{{"requestID", receipt.requestID.toString()},
                                  {"result", wording.result},
                                  {"explanation", wording.explanation}});
}

}  // namespace nookery
