// Changing tags through the real settings, until they are durable: one among many, and many at
// once. Beside a change stands the least that a durable file costs.
//   TMPDIR=FOLDER settings_bench     FOLDER lies on the disk to be measured
#include <fmt/format.h>

#include <algorithm>

#include "backends/StderrLog.h"
#include "backends/SystemPlatform.h"
#include "collection/database/MemoryAnnotations.h"
#include "foundation/DurableFile.h"
#include "records/DefaultsKeys.h"
#include "support/Benchmark.h"

namespace nookery {
namespace {

constexpr std::size_t taggedCount = 20'000;
constexpr int changeCount = 201;

using TagsByID = std::unordered_map<Uuid, std::vector<std::string>>;

TagsByID makeTags(std::size_t count) {
    TagsByID tags;
    while (tags.size() < count) {
        tags[Uuid::random()] = {"kitchen", fmt::format("shelf {}", tags.size() % 97)};
    }
    return tags;
}

/// Settings of their own in a folder, and the annotations in them.
class World {
  public:
    explicit World(const Path& folder)
        : system_({.configFolder = folder, .userData = folder, .programFolder = folder}, log_),
          annotations_(system_.platform()) {
        load();
    }
    void load() { annotations_.adopt(loadAnnotations(system_.platform())); }
    void setTags(const TagsByID& tags) {
        annotations_.setManualTags(tags);
        save(system_.platform().defaults, annotations_.takeUnsaved());
    }

    const Platform& platform() const { return system_.platform(); }

  private:
    StderrLog log_;
    SystemPlatform system_;
    MemoryAnnotations annotations_;
};

void printMilliseconds(std::string_view what, std::vector<double> seconds) {
    std::sort(seconds.begin(), seconds.end());
    fmt::print("{:42} p50 {:7.2f} ms, p95 {:7.2f} ms, most {:7.2f} ms\n", what,
               seconds[seconds.size() / 2] * 1e3, seconds[seconds.size() * 95 / 100] * 1e3,
               seconds.back() * 1e3);
}

void measureOneAmongMany(const Path& folder) {
    World world(folder / "one");
    const TagsByID tags = makeTags(taggedCount);
    world.setTags(tags);
    std::vector<double> changes;
    std::vector<double> plainFiles;
    auto each = tags.begin();
    for (int i = 0; i < changeCount; ++i, ++each) {
        changes.push_back(secondsFor([&] {
            world.setTags({{each->first, {"kitchen", fmt::format("new {}", i)}}});
        }));
        plainFiles.push_back(secondsFor(
            [&] { writeDurably(world.platform().files, folder / "plain", "one line\n"); }));
    }
    printMilliseconds(fmt::format("one tag among {} tagged memories", taggedCount), changes);
    printMilliseconds("peer: a file of one line, durably", plainFiles);
    // As after a restore, which sets the value whole.
    UserDefaults& defaults = world.platform().defaults;
    defaults.set(manualTagsDefaultsKey, *defaults.get(manualTagsDefaultsKey));
    fmt::print("{:42} {:7.2f} ms\n", "the first such change after a restore",
               1e3 * secondsFor([&] {
                   world.setTags({{tags.begin()->first, {"first"}}});
               }));
}

void measureManyAtOnce(const Path& folder, std::size_t count) {
    const Path place = folder / fmt::format("many {}", count);
    const TagsByID tags = makeTags(count);
    double save = 0;
    {
        World world(place);
        save = secondsFor([&] { world.setTags(tags); });
    }
    World again(place);
    const double load = secondsFor([&] { again.load(); });
    fmt::print("tags of {:7} memories at once: {:6.2f} s, {:5.2f} us each; loaded in {:6.2f} s\n",
               count, save, save * 1e6 / static_cast<double>(count), load);
}

void run(const Path& folder) {
    measureOneAmongMany(folder);
    for (const std::size_t count : {100'000, 200'000}) measureManyAtOnce(folder, count);
}

}  // namespace
}  // namespace nookery

int main() { return nookery::runInTemporaryFolder("settings_bench", nookery::run); }
