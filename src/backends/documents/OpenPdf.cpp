#include "backends/documents/OpenPdf.h"

#include <cerrno>

namespace nookery {
namespace {

void load(QPdfDocument& document, QFile& file, const DocumentReading& reading) {
    document.load(&file);
    switch (document.error()) {
        case QPdfDocument::Error::None:
            break;
        case QPdfDocument::Error::IncorrectPassword:
        case QPdfDocument::Error::UnsupportedSecurityScheme:
            reading.failEncrypted();
        default:
            reading.failDamaged("it is not a whole PDF file");
    }
    if (document.pageCount() <= 0) reading.failDamaged("it has no pages");
}

}  // namespace

std::mutex& OpenPdf::mutex() {
    static std::mutex mutex;
    return mutex;
}

OpenPdf::OpenPdf(const DocumentReading& reading) : opened_(OpenedFile::open(reading)) {
    if (!file_.open(opened_.descriptor(), QIODevice::ReadOnly, QFileDevice::DontCloseHandle)) {
        throw FileError("read", reading.path(), EIO);
    }
    const std::lock_guard lock(mutex());
    auto document = std::make_unique<QPdfDocument>();
    load(*document, file_, reading);
    document_ = std::move(document);
}

OpenPdf::~OpenPdf() {
    const std::lock_guard lock(mutex());
    document_.reset();
}

}  // namespace nookery
