#pragma once

#include <string>

#include "foundation/Error.h"
#include "foundation/FileSystem.h"

namespace nookery {

/// A field report that is not what it should be, or that cannot be worked on.
class FieldReportError : public Error {
  public:
    using Error::Error;
};

/// Runs `work`; when a file or the report is at fault, says what could not be done.
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
