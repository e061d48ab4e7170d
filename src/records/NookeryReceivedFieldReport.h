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

/// A report that the phone sent, as the library holds it. The received files never change. Title
/// and captions are the working copy's where there is one.
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

/// Changes a received report for the person. Both functions throw Error when they cannot. Main
/// thread.
class FieldReportReceiver {
  public:
    virtual ~FieldReportReceiver() = default;
    virtual void rename(const NookeryReceivedFieldReport& report, const std::string& title) = 0;
    virtual void remove(const NookeryReceivedFieldReport& report) = 0;
};

}  // namespace nookery
