#include "support/Benchmark.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>

namespace nookery {

int runInTemporaryFolder(std::string_view program,
                         const std::function<void(const std::string& folder)>& work) {
    std::string folder = (std::filesystem::temp_directory_path() / "nookery-bench-XXXXXX").native();
    if (::mkdtemp(folder.data()) == nullptr) {
        fmt::print(stderr, "{}: no temporary folder could be made\n", program);
        return 1;
    }
    int result = 0;
    try {
        work(folder);
    } catch (const std::exception& error) {
        fmt::print(stderr, "{}: {}\n", program, error.what());
        result = 1;
    }
    std::filesystem::remove_all(folder);
    return result;
}

double secondsFor(const std::function<void()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double computingSecondsFor(const std::function<void()>& work) {
    const auto now = [] {
        timespec time{};
        ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
    };
    const double start = now();
    work();
    return now() - start;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>((values.size() - 1) / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

}  // namespace nookery
