// Adding many small text files, durably and on one core, beside `cp -r` followed by `sync`.
//   capture_bench [FOLDER [FILES [RUNS]]]     FOLDER lies on the disk to be measured
#include <fmt/format.h>
#include <sched.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <random>

#include "backends/StderrLog.h"
#include "backends/SystemPlatform.h"
#include "collection/store/CrumbStore.h"
#include "foundation/DurableFile.h"
#include "support/Benchmark.h"
#include "support/Waiting.h"

namespace nookery {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int filesPerFolder = 100;
constexpr int wordsPerFile = 150;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// This process, its threads and its children share the core that it runs on now.
void stayOnOneCore() {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(sched_getcpu(), &cores);
    if (sched_setaffinity(0, sizeof cores, &cores) != 0) throw Error("Could not keep to one core.");
}

std::vector<std::string> someWords(std::mt19937& random) {
    std::vector<std::string> words(20'000);
    for (std::string& word : words) {
        const unsigned length = 2 + random() % 9;
        for (unsigned i = 0; i < length; ++i) word += static_cast<char>('a' + random() % 26);
    }
    return words;
}

/// A few words often, most of them seldom, as in people's notes.
std::string someText(const std::vector<std::string>& words, std::mt19937& random) {
    std::string text;
    for (int word = 0; word < wordsPerFile; ++word) {
        const double share = std::pow(static_cast<double>(random()) / 4294967296.0, 3);
        text += words[static_cast<std::size_t>(share * static_cast<double>(words.size()))];
        text += word % 12 == 11 ? '\n' : ' ';
    }
    return text;
}

std::int64_t writeSources(FileSystem& files, const Path& folder, int count) {
    std::mt19937 random(7);
    const std::vector<std::string> words = someWords(random);
    std::int64_t byteCount = 0;
    for (int i = 0; i < count; ++i) {
        const Path below = folder / fmt::format("folder-{:03}", i / filesPerFolder);
        if (i % filesPerFolder == 0) createDirectories(files, below);
        const std::string text = someText(words, random);
        byteCount += static_cast<std::int64_t>(text.size());
        const auto file = files.createFile(below / fmt::format("note {:05}.txt", i));
        file->write(std::as_bytes(std::span(text)));
        file->close();
    }
    return byteCount;
}

void runProgram(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t child = 0;
    int status = 0;
    if (::posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0 ||
        ::waitpid(child, &status, 0) != child || status != 0) {
        throw Error("Could not run " + words[0]);
    }
}

/// `sync -f` waits for the whole file system, so that whatever was written before is out of the
/// way.
double timeCopy(const Path& source, const Path& target) {
    runProgram({"sync", "-f", source});
    const auto start = Clock::now();
    runProgram({"cp", "-r", source, target});
    runProgram({"sync", "-f", target});
    return secondsSince(start);
}

double timeCapture(const Path& source, const Path& home, int count) {
    runProgram({"sync", "-f", source});
    const auto start = Clock::now();
    const auto files = makePosixFileSystem();
    createDirectories(*files, home);
    StderrLog log;
    SystemPlatform world({home / "settings.json", home, home}, log);
    CrumbStore store(world.platform(), {home / "data", home / "cache"}, LibraryAccess::writing);
    resultOf(world.mainLoop(), store.open(SessionLength::oneCommand));
    CaptureRequest request;
    request.sources.push_back(CaptureFile{source});
    const CaptureReport report = resultOf(world.mainLoop(), store.capture(std::move(request)));
    const double seconds = secondsSince(start);
    if (report.added.size() != static_cast<std::size_t>(count)) {
        throw Error(fmt::format("Only {} of {} files were added; the first failure: {}",
                                report.added.size(), count,
                                report.failed.empty() ? "none" : report.failed[0].message));
    }
    return seconds;
}

/// What this process has computed so far; other load on the machine does not count.
double processorSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void measure(const Path& folder, int count, int runs) {
    const auto files = makePosixFileSystem();
    const Path root = temporaryBeside(folder / "capture-bench");
    const Path source = root / "source";
    const std::int64_t byteCount = writeSources(*files, source, count);
    stayOnOneCore();
    std::vector<double> copies;
    std::vector<double> captures;
    for (int run = 0; run < runs; ++run) {
        copies.push_back(timeCopy(source, root / fmt::format("copy-{}", run)));
        const double before = processorSeconds();
        captures.push_back(timeCapture(source, root / fmt::format("home-{}", run), count));
        fmt::print("run {}: cp -r and sync {:.2f} s, capture {:.2f} s ({:.2f} s of it computing)\n",
                   run + 1, copies.back(), captures.back(), processorSeconds() - before);
    }
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    fmt::print(
        "{} files, {:.1f} MB, one core, medians of {}: cp -r and sync {:.2f} s, capture "
        "{:.2f} s, ratio {:.1f}; most memory {} MB\n",
        count, static_cast<double>(byteCount) / 1e6, runs, median(copies), median(captures),
        median(captures) / median(copies), usage.ru_maxrss / 1024);
    removeTree(*files, root);
}

}  // namespace
}  // namespace nookery

int main(int argumentCount, char** arguments) try {
    const nookery::Path folder = argumentCount > 1 ? arguments[1] : "/var/tmp";
    nookery::measure(folder, argumentCount > 2 ? std::atoi(arguments[2]) : 10'000,
                     argumentCount > 3 ? std::atoi(arguments[3]) : 3);
    return 0;
} catch (const std::exception& error) {
    fmt::print(stderr, "capture_bench: {}\n", error.what());
    return 1;
}
