#pragma once

#include <QFile>
#include <QPdfDocument>
#include <memory>
#include <mutex>

#include "backends/documents/DocumentReading.h"
#include "backends/documents/OpenedFile.h"

namespace nookery {

/// A damaged or hostile page tree can claim any number of pages; no more are looked at.
constexpr int maximumPageCount = 50'000;

/// A PDF document, open while this lives. Only one thread at a time may use PDFium: hold the mutex
/// around each use, for one page at a time, so that a short document need not wait for a long one.
class OpenPdf {
  public:
    static std::mutex& mutex();

    /// Throws DocumentError when the file is damaged, encrypted or too large, or FileError.
    explicit OpenPdf(const DocumentReading& reading);
    ~OpenPdf();
    OpenPdf(const OpenPdf&) = delete;
    OpenPdf& operator=(const OpenPdf&) = delete;

    QPdfDocument& operator*() const { return *document_; }
    QPdfDocument* operator->() const { return document_.get(); }

  private:
    OpenedFile opened_;
    QFile file_;
    std::unique_ptr<QPdfDocument> document_;
};

}  // namespace nookery
