#pragma once

#include <memory>
#include <string>
#include <vector>

#include "fieldreports/FieldReportRepository.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"

namespace nookery {

/// What one look at the upload place came to.
struct FieldReportScan {
    struct Failure {
        std::string folderName;
        std::string message;
    };

    std::vector<Uuid> received;
    std::size_t waitingCount = 0;  ///< reports of which something is not on this computer yet
    std::vector<Failure> failed;   ///< bad reports, and good ones that could not be copied
    std::string unavailable;       ///< why there was no place to look at; empty when there was
};

/// Takes every whole report that is neither in the repository nor deleted. What is uploaded is
/// never changed. A bad report never stops the others. Works on the link queue; asked to stop, it
/// ends before the next report. Fails with Error when the upload place, or what was deleted, cannot
/// be read. Main thread, one scan at a time.
OperationPointer<FieldReportScan> scanFieldReports(const Platform& platform,
                                                   std::shared_ptr<FieldReportRepository> reports);

}  // namespace nookery
