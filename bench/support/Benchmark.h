#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace nookery {

/// Runs `work` in a new folder of the system's place for temporary files and removes the folder
/// afterwards. What `work` throws becomes one line on standard error and exit status 1.
int runInTemporaryFolder(std::string_view program,
                         const std::function<void(const std::string& folder)>& work);

/// Wall-clock seconds that `work` takes.
double secondsFor(const std::function<void()>& work);

/// Processor seconds that this process spends meanwhile, all threads together: what other work on
/// the machine changes least.
double computingSecondsFor(const std::function<void()>& work);

/// The lesser of the two middle values when their number is even; `values` is not empty.
double median(std::vector<double> values);

}  // namespace nookery
