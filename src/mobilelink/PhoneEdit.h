#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"

namespace nookery {

/// A change of a memory that the phone requests.
struct PhoneEdit {
    Uuid id;
    Uuid memoryID;
    Timestamp createdAt;
    // The memory as the phone last saw it.
    std::string baseTitle;
    std::string baseDetails;
    std::string baseBody;
    // None means unchanged.
    std::optional<std::string> title;
    std::optional<std::string> details;
    std::optional<std::string> body;
};

/// Throws JsonError unless the text is a whole request.
PhoneEdit phoneEditFromJson(std::string_view json);

/// The answer to a request. Each gives one result, and one sentence for the phone's user.
enum class EditAnswer {
    applied,
    conflictChanged,    ///< the memory is no longer as the phone last saw it
    conflictFormatted,  ///< the body of formatted text cannot be changed from the phone
    missing,            ///< no such memory, or one that the phone may not know of
};

struct EditReceipt {
    Uuid requestID;
    EditAnswer answer = EditAnswer::applied;
};

std::string receiptJson(const EditReceipt& receipt);

}  // namespace nookery
