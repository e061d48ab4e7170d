#pragma once

#include <string>
#include <vector>

#include "foundation/Error.h"

namespace nookery {

/// Why an archive was not written. The live library is untouched, and nothing is at the
/// destination.
class ArchiveError : public Error {
  public:
    enum class Case {
        missingOriginals,    ///< originals that records name are not there
        sqlite,              ///< a database could not be copied
        verificationFailed,  ///< what lies in storage or in the archive is not as it should be
        invalidLocation,     ///< the destination lies inside live storage
    };

    static ArchiveError missingOriginals(const std::vector<std::string>& paths);
    static ArchiveError sqlite(const std::string& message);
    static ArchiveError verificationFailed(const std::string& message);
    static ArchiveError invalidLocation();

    Case which() const { return case_; }

  private:
    ArchiveError(Case which, const std::string& description) : Error(description), case_(which) {}

    Case case_;
};

}  // namespace nookery
