#include <QFile>
#include <QPdfDocument>
#include <QPdfSelection>
#include <algorithm>
#include <mutex>

#include "backends/documents/DocumentFormatReaders.h"
#include "backends/documents/OpenedFile.h"

namespace nookery {
namespace {

/// A damaged or hostile page tree can claim any number of pages.
constexpr int maximumPageCount = 50'000;

/// PDFium may be used by one thread at a time only. Held a page long, so that a short document
/// need not wait for the end of a long one.
std::mutex& pdfMutex() {
    static std::mutex mutex;
    return mutex;
}

void load(QPdfDocument& document, QFile& file, const DocumentReading& reading) {
    document.load(&file);
    switch (document.error()) {
        case QPdfDocument::Error::None:
            break;
        case QPdfDocument::Error::IncorrectPassword:
        case QPdfDocument::Error::UnsupportedSecurityScheme:
            reading.failEncrypted();
        default:
            reading.failDamaged("it is no whole PDF file");
    }
    if (document.pageCount() <= 0) reading.failDamaged("it has no pages");
}

std::string pageText(QPdfDocument& document, int page) {
    const std::lock_guard lock(pdfMutex());
    return document.getAllText(page).text().toStdString();
}

std::string ownTitle(const QPdfDocument& document) {
    const std::lock_guard lock(pdfMutex());
    const QVariant title = document.metaData(QPdfDocument::MetaDataField::Title);
    GatheredText text(maximumTitleByteCount);
    text.add(title.toString().toStdString());
    return text.take();
}

/// Opened and closed under the lock, read page by page.
class OpenPdf {
  public:
    OpenPdf(QFile& file, const DocumentReading& reading) : lock_(pdfMutex()) {
        document_ = std::make_unique<QPdfDocument>();
        load(*document_, file, reading);
        lock_.unlock();
    }
    ~OpenPdf() {
        if (!lock_.owns_lock()) lock_.lock();
        document_.reset();
    }
    OpenPdf(const OpenPdf&) = delete;
    OpenPdf& operator=(const OpenPdf&) = delete;

    QPdfDocument& operator*() const { return *document_; }
    QPdfDocument* operator->() const { return document_.get(); }

  private:
    std::unique_lock<std::mutex> lock_;
    std::unique_ptr<QPdfDocument> document_;
};

}  // namespace

DocumentText readPdf(DocumentReading& reading) {
    OpenedFile opened = OpenedFile::open(reading);
    QFile file;
    if (!file.open(opened.descriptor(), QIODevice::ReadOnly, QFileDevice::DontCloseHandle)) {
        throw FileError("read", reading.path(), EIO);
    }
    const OpenPdf document(file, reading);
    const int pageCount = std::min(document->pageCount(), maximumPageCount);
    GatheredText text(reading.limits().maximumTextByteCount);
    for (int page = 0; page < pageCount && !text.isFull(); ++page) {
        reading.checkStop();
        text.addLines(pageText(*document, page));
    }
    return {ownTitle(*document), text.take()};
}

}  // namespace nookery
