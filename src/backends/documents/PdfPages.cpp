#include "backends/documents/PdfPages.h"

#include <fmt/format.h>

#include <QImage>
#include <QPdfSelection>
#include <algorithm>

#include "backends/documents/OpenPdf.h"
#include "backends/images/QtPictures.h"

namespace nookery {
namespace {

QSize sizeInPixels(const QSizeF& points, int longestSide) {
    return points.scaled(longestSide, longestSide, Qt::KeepAspectRatio)
        .toSize()
        .expandedTo(QSize(1, 1));
}

class PdfPages final : public PageReader {
  public:
    int pageCount(const Path& path, const DocumentLimits& limits) const override {
        const DocumentReading reading(path, limits, {});
        const OpenPdf document(reading);
        return document->pageCount();
    }

    std::vector<int> pagesWithoutText(const Path& path, const DocumentLimits& limits,
                                      std::stop_token stop) const override {
        const DocumentReading reading(path, limits, std::move(stop));
        const OpenPdf document(reading);
        std::vector<int> pages;
        const int count = std::min(document->pageCount(), maximumPageCount);
        for (int page = 0; page < count; ++page) {
            reading.checkStop();
            if (!hasText(*document, page)) pages.push_back(page);
        }
        return pages;
    }

    Picture render(const Path& path, int page, int longestSide, const DocumentLimits& limits,
                   std::stop_token stop) const override {
        const DocumentReading reading(path, limits, std::move(stop));
        const OpenPdf document(reading);
        if (page < 0 || page >= document->pageCount()) {
            reading.fail(fmt::format("has no page {}.", page + 1));
        }
        reading.checkStop();
        const QImage image = rendered(*document, page, longestSide);
        if (image.isNull()) reading.failDamaged(fmt::format("page {} shows nothing", page + 1));
        return pictureFrom(image);
    }

  private:
    static bool hasText(QPdfDocument& document, int page) {
        const std::lock_guard lock(OpenPdf::mutex());
        return !document.getAllText(page).text().trimmed().isEmpty();
    }

    static QImage rendered(QPdfDocument& document, int page, int longestSide) {
        const std::lock_guard lock(OpenPdf::mutex());
        const QSizeF points = document.pagePointSize(page);
        if (points.isEmpty()) return {};
        return document.render(page, sizeInPixels(points, longestSide));
    }
};

}  // namespace

std::unique_ptr<PageReader> makePdfPages() { return std::make_unique<PdfPages>(); }

}  // namespace nookery
