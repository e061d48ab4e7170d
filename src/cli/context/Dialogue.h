#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "cli/line/Arguments.h"
#include "cli/output/Input.h"
#include "cli/output/Messages.h"
#include "cli/output/Output.h"
#include "foundation/Json.h"
#include "platform/Platform.h"
#include "platform/work/Coroutine.h"

namespace nookery::cli {

/// What a command says to the person who called it, and hears from them. Main thread.
class Dialogue {
  public:
    /// `spoolFolder` is for files that can be made again; it is made when it is needed.
    Dialogue(const Platform& platform, Path spoolFolder, Console& console,
             const Arguments& arguments);
    ~Dialogue();
    Dialogue(const Dialogue&) = delete;
    Dialogue& operator=(const Dialogue&) = delete;

    bool wantsJson() const { return wantsJson_; }
    Output& out() { return output_; }
    const Style& style() const { return style_; }
    /// Columns for tables; none when standard output is no terminal, and nothing is cut.
    std::optional<std::size_t> columns() const { return console_.traits().columns; }
    Messages& messages() { return messages_; }
    /// One line for the person, after what was printed before it.
    void say(std::string_view text);
    /// The answer of a command with --json.
    void print(const OrderedJson& document);

    /// Asks before something is destroyed. With --yes the answer is yes; where nobody can be asked
    /// throws UsageError. Throws Error when the person says no.
    Coroutine<> demandConsent(std::string title, std::string text);

    /// All of standard input. Throws Error when it is too long to be taken at once.
    Coroutine<std::string> readInput();
    /// The next line of standard input; none at its end.
    Coroutine<std::optional<std::string>> nextLine();
    /// All of standard input as a file, for work on another thread, which must not wait for a
    /// person. It is kept with what can be made again, under no name.
    Coroutine<std::unique_ptr<ReadableFile>> inputFile();
    Console& console() const { return console_; }

  private:
    Coroutine<std::string> readSome();

    FileSystem& files_;
    WorkQueue& mainQueue_;
    Path spoolFolder_;
    Console& console_;
    Output output_;
    bool wantsJson_;
    bool hasConsent_;
    Style style_;
    Messages messages_;
    LineSplitter lines_;
};

}  // namespace nookery::cli
