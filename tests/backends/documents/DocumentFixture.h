#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "backends/BothWays.h"
#include "backends/documents/DocumentFormats.h"
#include "support/TemporaryDirectory.h"

namespace nookery::testing {

/// Writes documents part by part and reads them back as text.
class DocumentFixture : public ::testing::TestWithParam<Way> {
  protected:
    using Parts = std::vector<std::pair<std::string, std::string>>;

    DocumentText read(const Path& path, const std::string& mediaType) {
        return reader_->read(path, {mediaType}, limits_, stop_.get_token());
    }
    DocumentText readBytes(const std::string& bytes, const std::string& mediaType) {
        return read(folder_.write("document", bytes), mediaType);
    }
    /// Of a zip archive of these parts; encrypted when there is a password.
    DocumentText readParts(const Parts& parts, const std::string& mediaType,
                           const char* password = nullptr);
    /// The message that reading ends with.
    std::string problemOf(const std::function<void()>& reading);

    TemporaryDirectory folder_;
    DocumentLimits limits_;
    std::stop_source stop_;
    std::unique_ptr<DocumentReader> reader_ =
        GetParam() == Way::direct ? makeDocumentReader() : makeIsolatedDocuments(testReaders());
};

}  // namespace nookery::testing
