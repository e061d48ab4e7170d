// How long single commands take, from the program's start to its end, over a library of 100,000
// memories of about 1 kB. Peers in the same run: the program when it needs no library at all, and
// grep over the same memories in one file of text.

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "foundation/Json.h"
#include "foundation/Timestamp.h"
#include "support/Benchmark.h"
#include "support/WordSource.h"

namespace {

using namespace nookery;
using Words = std::vector<std::string>;

constexpr int memoryCount = 100'000;
constexpr int wordsPerNote = 150;
constexpr int runCount = 11;
constexpr const char* program = NOOKERY_PROGRAM_FOLDER "/nookery";

/// Writes the memories as JSON lines.
void writeMemories(const std::string& file) {
    WordSource source;
    std::ofstream lines(file);
    for (int i = 0; i < memoryCount; ++i) {
        const Json memory{{"title", source.words(5)},
                          {"created", toIso8601({1'700'000'000.0 + i})},
                          {"text", source.words(wordsPerNote)}};
        lines << toJsonText(memory) << '\n';
    }
    if (!lines.flush()) throw std::runtime_error("the memories cannot be written");
}

/// Runs a program to its end.
void run(Words words, const std::string& output = "/dev/null") {
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    const auto open = [&](int descriptor, const std::string& path) {
        ::posix_spawn_file_actions_addopen(&actions, descriptor, path.c_str(), O_RDWR | O_CREAT,
                                           0600);
    };
    open(STDIN_FILENO, "/dev/null");
    open(STDOUT_FILENO, output);
    open(STDERR_FILENO, "/dev/null");
    pid_t process = 0;
    const int failure =
        ::posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (failure != 0 || ::waitpid(process, &status, 0) < 0 || status != 0) {
        throw std::runtime_error(fmt::format("{} {} failed", words[0], words.at(1)));
    }
}

/// Prints the median over some runs. Their output goes into a file: who writes to nowhere may stop
/// early.
void time(const std::string& what, const std::string& bar, const Words& words) {
    const std::string output = std::string(::getenv("HOME")) + "/output.txt";
    std::vector<double> times;
    for (int i = 0; i < runCount; ++i) times.push_back(secondsFor([&] { run(words, output); }));
    fmt::print("{:32} {:7.1f} ms  ({})\n", what, median(times) * 1000, bar);
}

Words nookery(Words words) {
    words.insert(words.begin(), program);
    return words;
}

std::string idOfNewest(const std::string& folder) {
    const std::string output = folder + "/list.json";
    run(nookery({"list", "--limit", "1", "--json"}), output);
    std::stringstream text;
    text << std::ifstream(output).rdbuf();
    return parseJson(text.str()).at("items").at(0).at("id").get<std::string>();
}

void timeCommands(const std::string& folder) {
    const std::string file = folder + "/memories.jsonl";
    ::setenv("NOOKERY_DATA_HOME", (folder + "/data").c_str(), 1);
    ::setenv("HOME", folder.c_str(), 1);
    writeMemories(file);
    fmt::print("{} memories of 1 kB, medians of {} runs\n", memoryCount, runCount);
    const double imported = secondsFor([&] { run(nookery({"import", file})); });
    fmt::print("{:32} {:7.1f} s\n", "import", imported);
    const std::string id = idOfNewest(folder);
    const std::string word = WordSource::word(300);
    time("--version", "peer", nookery({"--version"}));
    time("grep, one word", "peer", {"grep", "-iw", word, file});
    time("list", "bar 150, hope 60", nookery({"list"}));
    time("tag", "bar 150, hope 60", nookery({"tag", id, "--add", "bench"}));
    time("add --text", "bar 150, hope 60", nookery({"add", "--text", "a note"}));
    time("edit", "as tag", nookery({"edit", id, "--note", "another note"}));
    time("show", "bar 700, hope 300", nookery({"show", id}));
    time("search", "bar 1200, hope 600", nookery({"search", word}));
}

}  // namespace

int main() { return nookery::runInTemporaryFolder("command_bench", timeCommands); }
