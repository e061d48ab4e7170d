// How long related memories and versions take in a library of 100,000 memories that holds a family
// of 1,000 versions, each time for a memory not asked for before.
#include <fmt/format.h>

#include <algorithm>
#include <random>

#include "retrieval/RetrievalEngine.h"
#include "support/Benchmark.h"

namespace nookery {
namespace {

constexpr std::size_t memoryCount = 100000;
constexpr std::size_t familySize = 1000;
constexpr std::size_t askedCount = 400;
constexpr std::size_t dimension = 384;

/// Words with the frequencies of a language: the k-th one is k times rarer than the first.
class Words {
  public:
    std::string next() {
        const double place = std::exp(uniform_(generator_) * std::log(200000.0));
        return fmt::format("w{:x}", static_cast<std::uint64_t>(place) * 2654435761U % 4294967296U);
    }
    std::string text(std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) text += next() + " ";
        return text;
    }
    std::size_t below(std::size_t limit) { return generator_() % limit; }
    std::vector<double> vector() {
        std::vector<double> values(dimension);
        for (double& value : values) value = normal_(generator_);
        return values;
    }

  private:
    std::mt19937 generator_{11};
    std::uniform_real_distribution<double> uniform_;
    std::normal_distribution<double> normal_;
};

CrumbItemList makeLibrary(Words& words) {
    CrumbItemList items;
    const std::string work = words.text(120);
    for (std::size_t i = 0; i < memoryCount; ++i) {
        CrumbItem item;
        item.id = Uuid::random();
        item.createdAt = Timestamp{1.7e9 + static_cast<double>(i)};
        if (i % (memoryCount / familySize) == 0) {
            item.kind = CrumbKind::file;
            item.title = fmt::format("Yearly report v{}", i);
            item.filePath = "/library/Items/" + item.title + ".pdf";
            item.searchableText = work + words.text(words.below(12));
        } else if (i % 2 == 0) {
            item.kind = CrumbKind::file;
            item.title = words.next() + " " + words.next();
            item.filePath = "/library/Items/" + item.title + ".pdf";
            item.searchableText = words.text(40 + words.below(300));
        } else {
            item.title = words.text(3);
            item.text = words.text(10 + words.below(80));
        }
        items.push_back(std::make_shared<const CrumbItem>(item));
    }
    return items;
}

void report(const char* name, std::vector<double> seconds) {
    std::sort(seconds.begin(), seconds.end());
    fmt::print("{:<34} median {:7.3f} ms   p95 {:7.3f} ms   worst {:7.3f} ms\n", name,
               1e3 * median(seconds), 1e3 * seconds[seconds.size() * 95 / 100],
               1e3 * seconds.back());
}

void measure(const RetrievalEngine& engine, const CrumbItemList& items, bool inFamily,
             const char* name) {
    constexpr std::size_t step = memoryCount / familySize;
    std::vector<double> seconds;
    std::size_t found = 0;
    for (std::size_t i = 0; i < askedCount; ++i) {
        const Uuid& id = items[i * step + (inFamily ? 0 : 1 + i % (step - 1))]->id;
        seconds.push_back(
            secondsFor([&] { found += engine.related(id).size() + engine.versions(id).size(); }));
    }
    report(name, seconds);
    fmt::print("{:<34} {} found\n", "", found);
}

int run() {
    Words words;
    const CrumbItemList items = makeLibrary(words);
    RetrievalEngine engine;
    engine.putAll(items, {});
    for (const auto& item : items) engine.setVector(item->id, words.vector());
    fmt::print("first question, names read         {:.1f} ms\n",
               1e3 * secondsFor([&] { engine.versions(items.back()->id); }));
    measure(engine, items, false, "related + versions, any memory");
    measure(engine, items, true, "related + versions, of the family");
    return 0;
}

}  // namespace
}  // namespace nookery

int main() { return nookery::run(); }
