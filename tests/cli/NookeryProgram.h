#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "foundation/Json.h"
#include "support/TemporaryDirectory.h"

namespace nookery::testing {

/// What one run of the real program came to.
struct Outcome {
    int status = -1;  ///< the exit status; 128 + the signal's number when one ended it
    std::string out;
    std::string error;

    /// Standard output as the one JSON document that it must be.
    Json json() const;
};

struct RunOptions {
    std::string input{};                               ///< what standard input gives, then its end
    std::map<std::string, std::string> environment{};  ///< beside HOME and PATH
    std::string outputTo{};                            ///< a file in place of the pipe
    bool closeOutput = false;                          ///< nobody reads standard output
};

/// The program that was built together with the tests.
std::string theProgramUnderTest();

/// The real program in a home of its own, which no other setting of the machine reaches.
class NookeryProgram {
  public:
    /// Runs to the end.
    Outcome run(const std::vector<std::string>& arguments, const RunOptions& options = {}) const;
    /// Runs with --json and demands exit status 0.
    Json json(std::vector<std::string> arguments, const RunOptions& options = {}) const;

    /// A run that goes on while the test does something else.
    class Running {
      public:
        Running(pid_t process, int input, int output, int error);
        ~Running();
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

        void signal(int number) const;
        void closeInput();
        /// Feeds what is left of the input, reads all output, and waits for the end.
        Outcome finish(const std::string& input = {});
        /// As `finish`, but gives no more input and keeps it open: for a program that is to end
        /// while it waits.
        Outcome finishWhileItWaits();

      private:
        Outcome readToTheEnd(std::string_view input, bool closesInput);

        pid_t process_;
        int input_, output_, error_;
    };
    std::unique_ptr<Running> start(const std::vector<std::string>& arguments,
                                   const RunOptions& options = {}) const;

    /// Runs on a terminal, typing `typed` once `prompt` has been shown; `out` holds all that the
    /// terminal showed.
    Outcome runOnTerminal(const std::vector<std::string>& arguments, const std::string& prompt,
                          const std::string& typed) const;

    std::string program = theProgramUnderTest();
    TemporaryDirectory home;
    Path library = home / ".local/share/Crumb";
};

}  // namespace nookery::testing
