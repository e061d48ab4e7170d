// Taking in 1,000 mixed files and reading them in the background (texts, PDF documents, images of
// text, scanned pages), and how long a keystroke waits meanwhile beside a quiet library.
//   enrichment_bench [FOLDER]     FOLDER holds files to be read in place of those made here
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <random>

#include "backends/StderrLog.h"
#include "backends/SystemPlatform.h"
#include "collection/store/CrumbStore.h"
#include "foundation/DurableFile.h"
#include "platform/PageReader.h"
#include "platform/PdfWriter.h"
#include "platform/PictureEncoder.h"
#include "support/Benchmark.h"
#include "support/Waiting.h"

namespace nookery {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int textCount = 300;
constexpr int documentCount = 300;
constexpr int imageCount = 300;
constexpr int scanCount = 100;
constexpr int quietKeystrokes = 300;

/// Words that are read and recognised as words.
constexpr std::array words{"garden", "letter", "morning", "river",  "invoice", "window", "harbour",
                           "bread",  "street", "paper",   "autumn", "number",  "market", "winter",
                           "doctor", "school", "evening", "bridge", "kitchen", "travel"};

class SampleFolder {
  public:
    SampleFolder(const Platform& platform, Path folder)
        : platform_(platform), folder_(std::move(folder)) {
        createDirectories(platform_.files, folder_);
    }

    void fill() {
        for (int i = 0; i < textCount; ++i) write(fmt::format("note {}.txt", i), text(200));
        for (int i = 0; i < documentCount; ++i) document(fmt::format("letter {}.pdf", i), 3);
        for (int i = 0; i < imageCount; ++i) image(fmt::format("photo {}.jpg", i));
        for (int i = 0; i < scanCount; ++i) scan(fmt::format("scan {}.pdf", i));
    }

  private:
    std::string text(int count) {
        std::string text;
        for (int i = 0; i < count; ++i) {
            text += fmt::format("{} {}", words[random_() % words.size()],
                                i % 9 == 8 ? fmt::format("{}.\n", random_() % 10000) : "");
        }
        return text;
    }

    void write(const std::string& name, const std::string& bytes) {
        writeDurably(platform_.files, folder_ / name, bytes);
    }

    void draw(const std::string& name, const std::function<void(PdfCanvas&)>& pages) {
        replaceDurably(platform_.files, folder_ / name,
                       [&](WritableFile& file) { platform_.pdf.write(file, {}, pages); });
    }

    void document(const std::string& name, int pageCount) {
        draw(name, [&](PdfCanvas& canvas) {
            for (int page = 0; page < pageCount; ++page) {
                if (page > 0) canvas.beginPage();
                double top = 60;
                for (const auto& line : canvas.breakText(text(160), {.size = 12}, 480)) {
                    canvas.drawText(line, {.size = 12}, {}, {60, top}, 480, PdfAlignment::left);
                    top += 16;
                }
            }
        });
    }

    Picture pageOfText(int longestSide) {
        document("page.tmp.pdf", 1);
        Picture picture =
            platform_.pages.render(folder_ / "page.tmp.pdf", 0, longestSide, DocumentLimits{}, {});
        platform_.files.removeFile(folder_ / "page.tmp.pdf");
        return picture;
    }

    void image(const std::string& name) {
        write(name, platform_.pictureEncoder.jpeg(pageOfText(1600)));
    }

    void scan(const std::string& name) {
        const Picture page = pageOfText(2200);
        draw(name, [&](PdfCanvas& canvas) { canvas.drawPicture(page, {0, 0, 612, 792}); });
    }

    const Platform& platform_;
    Path folder_;
    std::mt19937 random_{3};
};

/// Types a letter every 40 ms on the main thread's queue and notes how long each waited for its
/// list.
class Typist {
  public:
    Typist(CrumbStore& store, WorkQueue& queue) : store_(store), queue_(queue) {}

    void begin() {
        const auto due = Clock::now() + std::chrono::milliseconds(40);
        queue_.after(WorkQueue::Delay(0.04), guard_.guarded([this, due] {
            store_.search().setText(typed_.substr(0, 1 + waits_.size() % typed_.size()));
            const std::chrono::duration<double, std::milli> waited = Clock::now() - due;
            waits_.push_back(waited.count());
            begin();
        }));
    }
    std::size_t count() const { return waits_.size(); }
    void report(const char* name) {
        std::sort(waits_.begin(), waits_.end());
        fmt::print("{:<24} {} keystrokes, median {:.2f} ms, p95 {:.2f} ms\n", name, waits_.size(),
                   median(waits_), waits_[waits_.size() * 95 / 100]);
    }

  private:
    CrumbStore& store_;
    WorkQueue& queue_;
    std::string typed_ = "garden letter harbour";
    std::vector<double> waits_;
    CallbackGuard guard_;
};

void measure(const Path& folder, const std::optional<Path>& given) {
    StderrLog log;
    SystemPlatform system({.configFolder = folder,
                           .userData = folder / "data",
                           .programFolder = NOOKERY_PROGRAM_FOLDER},
                          log);
    const Platform& platform = system.platform();
    const Path samples = given.value_or(folder / "samples");
    if (!given) SampleFolder(platform, samples).fill();
    CrumbStore store(platform, {folder / "home", folder / "cache"}, LibraryAccess::writing);
    resultOf(system.mainLoop(), store.open(SessionLength::oneCommand));
    CaptureReport report;
    const double captureSeconds = secondsFor([&] {
        report = resultOf(system.mainLoop(), store.capture({.sources = {CaptureFile{samples}}}));
    });
    fmt::print("{} files taken in in {:.1f} s; {} waiting; {} threads, meaning {}\n",
               report.added.size(), captureSeconds, *store.indexingCount(),
               platform.enrichThreadCount, platform.embedder == nullptr ? "off" : "on");

    Typist quiet(store, platform.mainQueue);
    quiet.begin();
    system.mainLoop().runUntil([&] { return quiet.count() >= quietKeystrokes; });
    quiet.report("typing, quiet");

    std::optional<Typist> busy(std::in_place, store, platform.mainQueue);
    busy->begin();
    const double seconds = secondsFor([&] {
        store.enrichment().start();
        system.mainLoop().runUntil([&] { return *store.indexingCount() == 0; });
    });
    busy->report("typing, reading");
    fmt::print("read in {:.1f} s, {} failures\n", seconds, store.enrichment().failures().size());
}

}  // namespace
}  // namespace nookery

int main(int argumentCount, char** arguments) {
    std::optional<nookery::Path> given;
    if (argumentCount > 1) given = arguments[1];
    return nookery::runInTemporaryFolder(
        "enrichment_bench", [&](const std::string& folder) { nookery::measure(folder, given); });
}
