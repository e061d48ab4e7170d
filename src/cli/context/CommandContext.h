#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "cli/context/Interrupts.h"
#include "cli/line/Arguments.h"
#include "cli/output/Output.h"
#include "cli/output/Terminal.h"
#include "collection/store/CrumbStore.h"
#include "foundation/Json.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"
#include "records/LibraryLayout.h"

namespace nookery::cli {

/// Runs the main thread's queue until the condition holds; it is asked after each piece of work.
using RunUntil = std::function<void(const std::function<bool()>&)>;

/// What a command works with: the world, the library once it is opened, and the person's terminal.
class CommandContext {
  public:
    struct World {
        const Platform& platform;
        RunUntil runUntil;
        const Interrupts& interrupts;
        LibraryLayout layout;
    };

    CommandContext(World world, Output& output, const Arguments& arguments);
    ~CommandContext();

    const Platform& platform() const { return world_.platform; }
    const LibraryLayout& layout() const { return world_.layout; }

    /// Opens the library. Throws LibraryInUse, or Error when it cannot be read, or when there is
    /// none and reading was asked for. Once per session.
    CrumbStore& open(LibraryAccess access, SessionLength length = SessionLength::oneCommand);
    /// Throws Error when there is no library yet.
    void demandLibrary() const;

    /// Runs what comes back to the main thread until the condition holds.
    void waitUntil(const std::function<bool()>& condition);
    /// Begins a change that is saved elsewhere, and waits until it is durable. Throws Error when it
    /// is not.
    void save(const std::function<void(Saved)>& begin);
    /// Waits for the end of an operation, shows how far it is, and stops it when the person
    /// interrupts. The outcome is there afterwards.
    void waitFor(OperationBase& operation);
    /// The same, and answers its result. Throws what the operation failed with, and Cancelled when
    /// it was stopped.
    template <typename Result>
    Result resultOf(const OperationPointer<Result>& operation) {
        waitFor(*operation);
        return operation->outcome()->get();
    }
    std::stop_token stop() const { return world_.interrupts.token(); }
    bool isInterrupted() const { return stop().stop_requested(); }
    int interruptDescriptor() const { return world_.interrupts.descriptor(); }

    bool wantsJson() const { return wantsJson_; }
    Output& out() { return output_; }
    const Style& style() const { return style_; }
    /// Columns for tables; none when standard output is no terminal, and nothing is cut.
    std::optional<std::size_t> columns() const;
    Messages& messages() { return messages_; }
    /// One line for the person, after what was printed before it.
    void say(std::string_view text);
    /// The answer of a command with --json.
    void print(const OrderedJson& document);

    /// Asks before something is destroyed. With --yes the answer is yes; where nobody can be asked
    /// throws UsageError. Throws Error when the person says no.
    void demandConsent(const std::string& title, const std::string& text);

    Timestamp now() const;

  private:
    void tell(const std::optional<RestoreNotice>& notice);

    World world_;
    Output& output_;
    bool wantsJson_;
    bool hasConsent_;
    Style style_;
    Messages messages_;
    std::unique_ptr<CrumbStore> store_;
};

}  // namespace nookery::cli
