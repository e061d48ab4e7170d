#pragma once

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "archive/ArchiveHarness.h"
#include "archive/RestoreAtStart.h"

namespace nookery::testing {

enum class RestoreKind { snapshot, archive };
void PrintTo(RestoreKind kind, std::ostream* out);

/// A library whose everything says "formerly", and a restore, of either kind, that makes one of it
/// whose everything says "lately". As long as databases are only moved nobody opens them here: what
/// they hold is told from their bytes, so that looking changes nothing.
class RestoreWorld {
  public:
    /// Everything prepared, nothing begun.
    explicit RestoreWorld(RestoreKind kind);

    void prepare();
    std::vector<RestoreNotice> start() { return completeWaitingRestores(platform, world.layout()); }

    /// What lies in the world of files and in the settings, but for the pending folder, the lock
    /// and the note of the last restore: file by file, folders with a slash.
    Tree everything() const;
    /// The same without what a restore may yet have to clear away.
    static Tree filesOf(Tree tree);
    /// What of the one tree is not as in the other, name by name; "" when nothing.
    static std::string differences(const Tree& found, const Tree& expected);
    Path pending() const;
    Path journal() const;

    /// Keeps the files under a name; the settings are always those of "formerly".
    void keepAs(const std::string& name) const;
    void putBack(const std::string& name);

    /// How a start ended that met a fault.
    struct Ending {
        bool isWhole = false;  ///< it returned: the library may be opened
        bool toldFailure = false;
    };
    /// Starts with a fault at operation `k`, and holds what it says against what is there.
    Ending startWith(Fault fault, int k, Fault secondFault = Fault::none, int second = 0);
    /// The last operation whose failure makes a start undo everything it has done.
    int deepestFailure();
    /// Starts as a person would next, and then once more: the restore is over, done or given up,
    /// and nothing of it is left.
    void expectEndsWell(const Ending& before);

    RestoreKind kind;
    TestPlatform world{Place::memory};
    const Platform platform = world.platform();
    Path library = world.layout().library();
    std::string snapshotName;
    Tree formerly;
    Tree lately;
    std::map<std::string, std::string> heldLately;
    int operations = 0;     ///< of a start that completes the restore undisturbed
    int operationsMet = 0;  ///< of the last `startWith`

  private:
    void makeSource();
};

}  // namespace nookery::testing
