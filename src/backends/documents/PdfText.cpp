#include <QPdfSelection>
#include <algorithm>
#include <mutex>

#include "backends/documents/DocumentFormatReaders.h"
#include "backends/documents/OpenPdf.h"

namespace nookery {
namespace {

std::string pageText(QPdfDocument& document, int page) {
    const std::lock_guard lock(OpenPdf::mutex());
    return document.getAllText(page).text().toStdString();
}

std::string ownTitle(const QPdfDocument& document) {
    const std::lock_guard lock(OpenPdf::mutex());
    const QVariant title = document.metaData(QPdfDocument::MetaDataField::Title);
    GatheredText text(maximumTitleByteCount);
    text.add(title.toString().toStdString());
    return text.take();
}

}  // namespace

DocumentText readPdf(DocumentReading& reading) {
    const OpenPdf document(reading);
    const int pageCount = std::min(document->pageCount(), maximumPageCount);
    GatheredText text(reading.limits().maximumTextByteCount);
    for (int page = 0; page < pageCount && !text.isFull(); ++page) {
        reading.checkStop();
        text.addLines(pageText(*document, page));
    }
    return {ownTitle(*document), text.take()};
}

}  // namespace nookery
