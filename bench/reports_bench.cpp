// The PDF of a field report with many photographs.
//   reports_bench [PHOTOGRAPHS]     of 12 megapixels each; 50 unless told otherwise
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QImage>
#include <QImageWriter>
#include <cstdlib>

#include "backends/StderrLog.h"
#include "backends/SystemPlatform.h"
#include "fieldreports/FieldReportRepository.h"
#include "fieldreports/NookeryFieldReportPDF.h"
#include "foundation/Json.h"
#include "platform/ImageReader.h"
#include "support/Benchmark.h"

namespace nookery {
namespace {

constexpr int photographWidth = 4000;
constexpr int photographHeight = 3000;
constexpr int longestSide = 1800;

/// Soft shapes with a camera's noise: about as many bytes as a telephone makes of such a scene.
QImage photograph(int seed) {
    QImage image(photographWidth, photographHeight, QImage::Format_RGB888);
    auto random = static_cast<std::uint32_t>(seed + 1);
    for (int y = 0; y < photographHeight; ++y) {
        uchar* pixel = image.scanLine(y);
        for (int x = 0; x < photographWidth; ++x) {
            random = random * 1664525u + 1013904223u;
            const int noise = static_cast<int>(random >> 29);
            *pixel++ = static_cast<uchar>((x / 16 + seed * 5 + noise) & 0xff);
            *pixel++ = static_cast<uchar>((y / 12 + noise) & 0xff);
            *pixel++ = static_cast<uchar>(((x * y) >> 16 & 0x7f) + noise);
        }
    }
    return image;
}

/// In a process of its own, so that its memory is not counted.
void writePhotographs(const Path& folder, int count) {
    const pid_t child = ::fork();
    if (child == 0) {
        for (int i = 0; i < count; ++i) {
            const Path file = folder / fmt::format("{}.jpg", i);
            QImageWriter writer(QString::fromStdString(file.native()), "jpeg");
            writer.setQuality(90);
            if (i % 2 == 1) writer.setTransformation(QImageIOHandler::TransformationRotate90);
            if (!writer.write(photograph(i))) ::_exit(1);
        }
        ::_exit(0);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || status != 0) {
        throw Error("Could not make the photographs.");
    }
}

Json manifestOf(const Uuid& id, int count) {
    constexpr auto date = "2026-03-01T09:00:00Z";
    Json attachments = Json::array();
    for (int i = 0; i < count; ++i) {
        const std::string name = fmt::format("{}.jpg", i);
        attachments.push_back({{"id", Uuid::random().toString()},
                               {"originalName", name},
                               {"storedName", name},
                               {"addedAt", date}});
    }
    return {{"format", "nookery.fieldreport"},
            {"version", 1},
            {"report",
             {{"id", id.toString()},
              {"title", "Survey"},
              {"clientProject", "Harbour"},
              {"location", "Pier 4"},
              {"reportDate", date},
              {"createdAt", date},
              {"updatedAt", date},
              {"notes", "All photographs."},
              {"attachments", std::move(attachments)}}}};
}

double peakMegabytes() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

void measure(const Path& folder, int count) {
    StderrLog log;
    SystemPlatform system({.configFolder = folder,
                           .userData = folder / "share",
                           .programFolder = NOOKERY_PROGRAM_FOLDER},
                          log);
    const Platform& platform = system.platform();
    const LibraryLayout layout{folder / "data", folder / "cache"};
    const Uuid id = Uuid::random();
    const Path upload = folder / "upload";
    createDirectories(platform.files, upload / fieldReportAttachmentsName);
    writePhotographs(upload / fieldReportAttachmentsName, count);

    FieldReportRepository shelf(platform, layout);
    const std::string manifest = manifestOf(id, count).dump();
    const double receiving =
        secondsFor([&] { shelf.receive(upload, manifest, readFieldReportManifest(manifest, id)); });
    const auto report = shelf.load().at(0);
    const FieldReportWorkingCopy workingCopy(platform.files, layout, report);
    const double before = peakMegabytes();
    FieldReportPdfOutcome outcome;
    const double writing = secondsFor([&] {
        const auto operation =
            writeFieldReportPdf(platform, workingCopy, workingCopy.draft(), folder / "report.pdf");
        system.mainLoop().runUntil([&] { return operation->isFinished(); });
        outcome = operation->outcome()->get();
    });
    const double peak = peakMegabytes();
    const double decoding = secondsFor([&] {
        for (const auto& attachment : report.attachments) {
            platform.images.read(attachment.url, {"image/jpeg"}, longestSide, {}, {});
        }
    });
    const auto byteCount = [&](const Path& file) {
        return static_cast<double>(platform.files.status(file)->byteCount) / 1e6;
    };
    fmt::print("{} photographs, the first {:.1f} MB; {} pages, PDF of {:.1f} MB\n", count,
               byteCount(report.attachments[0].url), outcome.pageCount,
               byteCount(folder / "report.pdf"));
    fmt::print("received {:.2f} s; PDF {:.2f} s, of which decoding {:.2f} s\n", receiving, writing,
               decoding);
    fmt::print("most memory {:.0f} MB, before the PDF {:.0f} MB\n", peak, before);
}

}  // namespace
}  // namespace nookery

int main(int argumentCount, char** arguments) {
    const int count = argumentCount > 1 ? std::atoi(arguments[1]) : 50;
    return nookery::runInTemporaryFolder(
        "reports_bench", [&](const std::string& folder) { nookery::measure(folder, count); });
}
