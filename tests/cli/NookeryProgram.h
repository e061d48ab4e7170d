#pragma once

#include <sys/types.h>

#include <cstdlib>
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

/// The real program in a home of its own, which no other setting of the machine reaches. With
/// NOOKERY_TESTS_BESIDE_WATCH in the tests' environment every command but the first, which makes
/// the library, finds a resident that has it open: nothing may come out differently.
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
        void type(const std::string& line);
        /// What comes back, up to the end of a line.
        std::string hear();
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

    /// For a test that must have the library's files to itself.
    void workAlone() { isBesideWatch_ = false; }
    /// Has another process open the library and serve, from now on.
    void beginWatching() const;

    std::string program = theProgramUnderTest();
    TemporaryDirectory home;
    Path library = home / ".local/share/Crumb";

  private:
    void prepareFor(const std::vector<std::string>& arguments) const;

    bool isBesideWatch_ = ::getenv("NOOKERY_TESTS_BESIDE_WATCH") != nullptr;
    mutable std::unique_ptr<Running> watching_;
};

}  // namespace nookery::testing
