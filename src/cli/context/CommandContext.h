#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "cli/context/Places.h"
#include "cli/line/Arguments.h"
#include "cli/output/Input.h"
#include "cli/output/Messages.h"
#include "cli/output/Output.h"
#include "foundation/Json.h"
#include "platform/Platform.h"
#include "platform/work/Coroutine.h"
#include "platform/work/Operation.h"
#include "records/LibraryLayout.h"
#include "workspace/Workspace.h"

namespace nookery::cli {

/// What a command works with: the world, the library once it is opened, and the person who called.
/// A command is a coroutine: it awaits what takes long, and holds up nobody meanwhile. Main thread.
class CommandContext {
  public:
    /// `problems` is the platform's log. `lent` is a library that is open already, which the
    /// command works in; null: it opens its own.
    CommandContext(const Platform& platform, ProblemLog& problems, const Places& places,
                   Console& console, const Arguments& arguments, Workspace* lent = nullptr);
    ~CommandContext();

    const Platform& platform() const { return platform_; }
    ProblemLog& problemLog() { return problemLog_; }
    const Places& places() const { return places_; }
    const LibraryLayout& layout() const { return layout_; }
    /// A path as the person gave it, meant from where they are.
    Path path(const std::string& given) const;

    /// Opens the library, or as much of it as the command needs. Throws LibraryInUse, or Error when
    /// it cannot be read, or when there is none and reading was asked for. Once, until
    /// `closeLibrary`.
    Coroutine<CrumbStore*> open(LibraryAccess access,
                                SessionLength length = SessionLength::oneCommand,
                                LibraryExtent extent = LibraryExtent::index);
    Coroutine<CrumbStore*> open(LibraryAccess access, LibraryExtent extent) {
        return open(access, SessionLength::oneCommand, extent);
    }
    /// The library that was opened, with all that can be done with it.
    Workspace& workspace() { return *workspace_; }
    /// Ends what goes on in the library, and lets go of it.
    Coroutine<> closeLibrary();
    /// Throws Error when there is no library yet.
    void demandLibrary() const;

    /// Begins a change that is saved elsewhere; ends when it is durable. Throws Error when it is
    /// not.
    Coroutine<> save(std::function<void(Saved)> begin);
    /// The end of an operation; shows how far it is, and stops it when the person interrupts. The
    /// outcome is there afterwards.
    Coroutine<> waitFor(std::shared_ptr<OperationBase> operation);
    /// The same, and answers its result. Throws what the operation failed with, and Cancelled when
    /// it was stopped.
    template <typename Result>
    Coroutine<Result> resultOf(OperationPointer<Result> operation) {
        co_await waitFor(operation);
        // The operation may be known to others, who read its outcome too.
        co_return operation->outcome()->get();
    }
    /// As waitFor, but ends when the person interrupts too.
    Coroutine<> endOrInterruption(std::shared_ptr<OperationBase> operation);
    /// Ends when the value meets the condition.
    template <typename Value>
    Coroutine<> when(const Published<Value>& value, std::function<bool(const Value&)> isMet) {
        if (isMet(*value)) co_return;
        Subscription following;
        Callback<Nothing> met(platform_.mainQueue, [&](const std::function<void(Nothing)>& answer) {
            following = value.subscribe([isMet, answer](const Value& now) {
                if (isMet(now)) answer({});
            });
        });
        co_await met;
    }
    /// Ends when the value meets the condition, or the person interrupts.
    template <typename Value>
    Coroutine<> until(const Published<Value>& value, std::function<bool(const Value&)> isMet) {
        if (isMet(*value) || isInterrupted()) co_return;
        Subscription following;
        const Begin begin = [&](const std::function<void()>& goOn) {
            following = value.subscribe([isMet, goOn](const Value& now) {
                if (isMet(now)) goOn();
            });
        };
        co_await interruptible(begin);
        messages_.endProgress();
    }
    /// Ends when the person interrupts.
    Coroutine<> interruption();
    /// Ends after the time.
    Coroutine<> pause(WorkQueue::Delay time);
    std::stop_token stop() const { return console_.stop(); }
    bool isInterrupted() const { return stop().stop_requested(); }

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
    Console& console() { return console_; }

    Timestamp now() const;

  private:
    void tell(const std::optional<RestoreNotice>& notice);
    Coroutine<std::string> readSome();
    using Begin = std::function<void(const std::function<void()>& goOn)>;
    /// Ends when the function that `begin` is given was called, or the person interrupts.
    Coroutine<> interruptible(Begin begin);

    const Platform& platform_;
    ProblemLog& problemLog_;
    Places places_;
    LibraryLayout layout_;
    Console& console_;
    Output output_;
    bool wantsJson_;
    bool hasConsent_;
    Style style_;
    Messages messages_;
    LineSplitter lines_;
    std::unique_ptr<Workspace> ownWorkspace_;
    Workspace* workspace_;  ///< the own one, or a lent one; null until the library is open
};

}  // namespace nookery::cli
