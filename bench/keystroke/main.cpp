// How long a keystroke takes, beside a peer; how large the index is; whether the counts are right.
//
//   apt-cache dumpavail | keystroke_bench [--memories N] [--queries N] [--peer N] [--verify N]
//
// Without --memories, one memory a package. Time is the processor's for RetrievalEngine::search of
// the best 50 with their hints, on one core, for every state of the search box while queries are
// typed.

#include <malloc.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

#include "keystroke/Collections.h"
#include "keystroke/Peers.h"
#include "retrieval/RetrievalEngine.h"

namespace nookery::bench {
namespace {

constexpr std::size_t resultLimit = 50;
constexpr std::uint64_t memorySeed = 20260301;
constexpr std::uint64_t querySeed = 7;

struct Settings {
    std::size_t memories = 0;
    std::size_t queries = 400;
    std::size_t peer = 0;
    std::size_t verify = 0;
    bool slowest = false;
};

/// Measures processor time, so that other programs on the machine do not count: this thread's, or
/// that of all threads.
class Stopwatch {
  public:
    explicit Stopwatch(clockid_t clock = CLOCK_THREAD_CPUTIME_ID) : clock_(clock) {}

    double milliseconds() const { return now() - start_; }

  private:
    double now() const {
        timespec time{};
        clock_gettime(clock_, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    }

    clockid_t clock_;
    double start_ = now();
};

double residentMegabytes() {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

double percentile(std::vector<double> values, double share) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const auto last = static_cast<double>(values.size() - 1);
    return values[static_cast<std::size_t>(last * share + 0.5)];
}

void printTimes(const char* what, const std::vector<double>& milliseconds) {
    std::printf("%-28s p50 %8.3f ms   p95 %8.3f ms   p99 %8.3f ms   most %8.3f ms   (%zu)\n", what,
                percentile(milliseconds, 0.5), percentile(milliseconds, 0.95),
                percentile(milliseconds, 0.99), percentile(milliseconds, 1), milliseconds.size());
}

/// `count` keystrokes spread over all.
std::vector<std::string> sample(const std::vector<std::string>& keystrokes, std::size_t count) {
    std::vector<std::string> some;
    count = std::min(count, keystrokes.size());
    for (std::size_t i = 0; i < count; ++i) {
        some.push_back(keystrokes[i * keystrokes.size() / count]);
    }
    return some;
}

void timeKeystrokes(const RetrievalEngine& engine, const std::vector<std::string>& keystrokes,
                    bool printSlowest) {
    std::vector<double> times;
    std::vector<std::pair<double, std::string>> slowest;
    for (const std::string& keystroke : keystrokes) {
        const Stopwatch watch;
        const LexicalSnapshot snapshot = engine.search(keystroke, resultLimit);
        times.push_back(watch.milliseconds());
        slowest.emplace_back(-times.back(),
                             keystroke + "  (" + std::to_string(snapshot.totalCount) + ")");
    }
    printTimes("keystroke", times);
    if (!printSlowest) return;
    std::sort(slowest.begin(), slowest.end());
    slowest.resize(std::min<std::size_t>(slowest.size(), 25));
    for (const auto& [time, what] : slowest) std::printf("    %8.3f ms  %s\n", -time, what.c_str());
}

void comparePeer(const RetrievalEngine& engine, const CrumbItemList& memories,
                 const std::vector<std::string>& keystrokes) {
    const Stopwatch building;
    TrigramPeer peer(memories);
    std::printf("peer (FTS5 trigram, bm25) built in %.1f s\n", building.milliseconds() / 1e3);
    std::vector<double> own;
    std::vector<double> peers;
    for (const std::string& keystroke : keystrokes) {
        const Stopwatch peerWatch;
        if (peer.search(keystroke) == 0) continue;
        peers.push_back(peerWatch.milliseconds());
        const Stopwatch watch;
        engine.search(keystroke, resultLimit);
        own.push_back(watch.milliseconds());
    }
    printTimes("same keystrokes, own", own);
    printTimes("same keystrokes, peer", peers);
    std::printf("faster at p95: %.1f times, at p50: %.1f times\n",
                percentile(peers, 0.95) / percentile(own, 0.95),
                percentile(peers, 0.5) / percentile(own, 0.5));
}

std::size_t verifyCounts(const RetrievalEngine& engine, const CrumbItemList& memories,
                         const std::vector<std::string>& keystrokes) {
    const RawScan scan(memories);
    std::size_t differences = 0;
    std::size_t corrected = 0;
    for (const std::string& keystroke : keystrokes) {
        const std::size_t found = engine.search(keystroke, resultLimit).totalCount;
        const RawScan::Count expected = scan.count(keystroke);
        corrected += expected.everyWordFound ? 0 : 1;
        const bool same =
            expected.everyWordFound ? found == expected.memories : found >= expected.memories;
        if (same) continue;
        ++differences;
        std::printf("    \"%s\": %zu found, %zu by scan\n", keystroke.c_str(), found,
                    expected.memories);
    }
    std::printf(
        "counts against a raw scan: %zu differences in %zu keystrokes"
        " (%zu with a word that stands nowhere)\n",
        differences, keystrokes.size(), corrected);
    return differences;
}

int run(const Settings& settings) {
    const PackageList packages = readPackages(std::cin);
    if (packages.names.empty()) {
        std::fprintf(stderr,
                     "keystroke_bench: no packages on standard input; "
                     "use: apt-cache dumpavail | keystroke_bench\n");
        return 2;
    }
    const CrumbItemList memories = settings.memories == 0
                                       ? packageMemories(packages)
                                       : shortMemories(packages, settings.memories, memorySeed);
    malloc_trim(0);
    const double before = residentMegabytes();
    const Stopwatch building(CLOCK_PROCESS_CPUTIME_ID);
    RetrievalEngine engine;
    engine.putAll(memories, {});
    const double built = building.milliseconds() / 1e3;
    malloc_trim(0);
    std::printf("%zu memories, index built in %.2f s of processor time\n", engine.size(), built);
    std::printf("index: %.0f MB by its own count, %.0f MB more resident; whole process %.0f MB\n",
                static_cast<double>(engine.indexByteCount()) / 1e6, residentMegabytes() - before,
                residentMegabytes());
    const auto keystrokes = keystrokesOf(typedQueries(memories, settings.queries, querySeed));
    timeKeystrokes(engine, keystrokes, settings.slowest);
    if (settings.peer > 0) comparePeer(engine, memories, sample(keystrokes, settings.peer));
    if (settings.verify == 0) return 0;
    return verifyCounts(engine, memories, sample(keystrokes, settings.verify)) == 0 ? 0 : 1;
}

}  // namespace
}  // namespace nookery::bench

int main(int argc, char** argv) {
    nookery::bench::Settings settings;
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--slowest") {
            settings.slowest = true;
            continue;
        }
        std::size_t* value = name == "--memories"  ? &settings.memories
                             : name == "--queries" ? &settings.queries
                             : name == "--peer"    ? &settings.peer
                             : name == "--verify"  ? &settings.verify
                                                   : nullptr;
        if (value == nullptr || i + 1 == argc) {
            std::fprintf(stderr, "keystroke_bench: not understood: %s\n", argv[i]);
            return 2;
        }
        *value = std::strtoull(argv[++i], nullptr, 10);
    }
    return nookery::bench::run(settings);
}
