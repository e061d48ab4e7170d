#pragma once

#include <string>
#include <vector>

#include "foundation/FileSystem.h"
#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"

namespace nookery {

struct FieldReportAttachment {
    Uuid id;
    std::string name;     ///< what the file was called on the phone
    std::string caption;  ///< of the working copy; empty without one
    Path url;             ///< the received file
};

/// A report that the phone sent, as the library holds it. What was received never changes; title
/// and captions are those of the working copy where there is one.
struct NookeryReceivedFieldReport {
    Uuid id;
    std::string title;
    std::string clientProject;
    std::string location;
    Timestamp reportDate;
    Timestamp createdAt;
    Timestamp updatedAt;
    std::string notes;
    std::vector<FieldReportAttachment> attachments;
    Path folderURL;  ///< the local copy

    std::string shownTitle() const { return title.empty() ? "Untitled Field Report" : title; }
};

/// Carries out what the person asks to be done with a received report. Both throw Error when it
/// cannot be done. Main thread.
class FieldReportReceiver {
  public:
    virtual ~FieldReportReceiver() = default;
    virtual void rename(const NookeryReceivedFieldReport& report, const std::string& title) = 0;
    virtual void remove(const NookeryReceivedFieldReport& report) = 0;
};

}  // namespace nookery
