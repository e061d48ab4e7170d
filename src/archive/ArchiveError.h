#pragma once

#include <string>
#include <vector>

#include "foundation/Error.h"

namespace nookery {

/// An archive was not written. The live library is unchanged, and nothing is at the destination.
class ArchiveError : public Error {
  public:
    enum class Case {
        missingOriginals,    ///< records name originals that do not exist
        sqlite,              ///< a database could not be copied
        verificationFailed,  ///< storage or archive has something that it must not have
        invalidLocation,     ///< the destination is inside live storage
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
