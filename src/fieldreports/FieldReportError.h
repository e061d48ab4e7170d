#pragma once

#include <string>

#include "foundation/Error.h"
#include "foundation/FileSystem.h"

namespace nookery {

/// A field report is damaged, or cannot be worked on.
class FieldReportError : public Error {
  public:
    using Error::Error;
};

/// Runs `work`. Rethrows a failure of a file or of the report with what could not be done.
template <typename Work>
auto explaining(const std::string& whatFailed, const Work& work) {
    try {
        return work();
    } catch (const FileError& error) {
        throw FieldReportError(whatFailed + error.description());
    } catch (const FieldReportError& error) {
        throw FieldReportError(whatFailed + error.description());
    }
}

}  // namespace nookery
