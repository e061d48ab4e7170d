#pragma once

#include <memory>
#include <vector>

#include "cli/resident/ServedCommand.h"
#include "foundation/Published.h"
#include "platform/LocalSocket.h"

namespace nookery::cli {

/// Lets the commands of other processes of this user work in the library that this process has
/// open: they meet at a socket, and each sees, asks and ends as if it were alone. Commands that
/// come while no library is offered wait. Main thread.
class Resident {
  public:
    /// The referred objects outlive this.
    Resident(const Platform& platform, ProblemLog& problems, const Places& places);
    /// Commands that still run are given up where they are whole; those that were not begun are
    /// sent away, to do it alone.
    ~Resident();

    /// From now on other processes find this one. The library's lock must be held. Throws Error.
    void listen();

    /// Commands run in this library from now on, those that waited at once.
    void offer(Workspace& library);
    /// No command begins any more. Those that run go on, but one that waits for its caller's input
    /// or answer ends.
    void withdraw();
    /// Ends what runs where it is whole.
    void stopCommands();
    const Published<int>& runningCount() const { return runningCount_; }

    /// What another process wants of this one.
    enum class Wish {
        none,
        library,  ///< to have the library to itself for a while: withdraw, close it, and lend it
        end,      ///< that this one closes the library and ends
    };
    const Published<Wish>& wish() const { return wish_; }
    /// Tells those who want the library, one after the other, that it is theirs. There is a wish
    /// for it until the last of them has gone.
    void lend();

  private:
    class Visitor;

    void greet(std::unique_ptr<LocalConnection> connection);
    void beginWaiting();
    void publishWish();
    void remove(const Visitor* visitor);

    ServingPlace place_;
    Places resolvedPlaces_;
    std::unique_ptr<LocalListener> listener_;
    Workspace* library_ = nullptr;
    std::vector<std::unique_ptr<Visitor>> visitors_;
    Visitor* borrower_ = nullptr;  ///< who has the library; null: nobody
    Published<int> runningCount_{0};
    Published<Wish> wish_{Wish::none};
    CallbackGuard guard_;
};

}  // namespace nookery::cli
