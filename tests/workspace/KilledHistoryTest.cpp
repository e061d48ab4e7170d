// Kills the program at any point of a change, and at any point of its undoing.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>

#include "support/FaultyDatabaseFiles.h"
#include "workspace/WorkspaceWorld.h"

namespace nookery {
namespace {

using testing::Fault;
using testing::FaultyDatabaseFiles;
using testing::SimulatedCrash;
using testing::WorkspaceWorld;

/// Lets everything run that was begun, and throws what the operation failed with.
template <typename Result>
void letRun(WorkspaceWorld& library, const OperationPointer<Result>& operation) {
    library.world.time.settle();
    if (operation->isFinished()) static_cast<void>(operation->outcome()->get());
}

class KilledHistory : public ::testing::TestWithParam<int> {
  protected:
    using Act = std::function<void(WorkspaceWorld&, const Uuid&)>;

    /// Kills the process after each piece of work and at each change of a file, starts again, and
    /// has `state` say what there is.
    void killEverywhere(const Act& prepare, const Act& act, const std::set<std::string>& allowed) {
        isOver_ = false;
        for (int k = 1; !isOver_; ++k) killAfter(k, prepare, act, allowed);
    }

    void killAfter(int k, const Act& prepare, const Act& act,
                   const std::set<std::string>& allowed) {
        WorkspaceWorld library;
        const Uuid id = library.addFile("letter.txt", "dear Ada");
        prepare(library, id);
        int pieces = 0;
        if (GetParam() == 0) {
            library.world.time.hasCrashed = [&] { return ++pieces >= k; };
        } else {
            library.world.files.arm(Fault::crash, k);
        }
        bool hasDied = false;
        try {
            act(library, id);
        } catch (const SimulatedCrash&) {
            hasDied = true;
        }
        isOver_ = !hasDied;
        library.die();
        library.start();
        const std::string now = stateOf(library, id);
        EXPECT_TRUE(allowed.contains(now)) << "killed at " << k << ": " << now;
        if (!library.store->item(id)) expectWayBack(library, id, k);
        EXPECT_EQ(library.world.log.contains("history recovery error"), false) << k;
    }

    /// The original lies in the trash wherever the deletion was cut off.
    static void expectWayBack(WorkspaceWorld& library, const Uuid& id, int k) {
        EXPECT_EQ(library.world.folder.filesBelow("data/Crumb/Items"), std::vector<std::string>())
            << k;
        std::filesystem::remove_all(library.world.layout().snapshots());
        library.undo();
        EXPECT_EQ(library.contentOf(id), "dear Ada") << k;
    }

    static std::string stateOf(WorkspaceWorld& library, const Uuid& id) {
        const auto& state = *library.history->state();
        return library.titleOf(id) + "/" + library.contentOf(id) + "/" +
               (library.store->tagsOf(id).empty() ? "" : library.store->tagsOf(id)[0]) + " " +
               state.undoName.value_or("-") + " " + state.redoName.value_or("-");
    }

    bool isOver_ = false;
};

TEST_P(KilledHistory, AnEditIsDoneOrNot) {
    killEverywhere(
        [](auto&, auto&) {},
        [](WorkspaceWorld& library, const Uuid& id) {
            letRun(library, library.edits->edit(id, {.title = TextPatch{"letter", "Letter"}}));
        },
        {"letter/dear Ada/ - -", "Letter/dear Ada/ Edit \"letter\" -"});
}

TEST_P(KilledHistory, TaggingIsDoneOrNot) {
    killEverywhere([](auto&, auto&) {},
                   [](WorkspaceWorld& library, const Uuid& id) {
                       letRun(library, library.edits->tag({id}, {.added = {"x"}}));
                   },
                   {"letter/dear Ada/ - -", "letter/dear Ada/x Tag \"letter\" #x -"});
}

TEST_P(KilledHistory, ADeletionIsDoneOrNot) {
    killEverywhere([](auto&, auto&) {},
                   [](WorkspaceWorld& library, const Uuid& id) {
                       letRun(library, library.edits->deleteMemories({id}));
                   },
                   {"letter/dear Ada/ - -", "-/-/ Delete \"letter\" -"});
}

TEST_P(KilledHistory, TheUndoingOfADeletionIsDoneOrNot) {
    killEverywhere(
        [](WorkspaceWorld& library, const Uuid& id) {
            library.wait(library.edits->tag({id}, {.added = {"x"}}));
            library.wait(library.edits->deleteMemories({id}));
        },
        [](WorkspaceWorld& library, const Uuid&) {
            letRun(library, library.history->undo(Consent::none));
        },
        {"-/-/ Delete \"letter\" -", "letter/dear Ada/x Tag \"letter\" #x Delete \"letter\""});
}

TEST_P(KilledHistory, AnAdditionIsDoneOrNotAndSoIsItsUndoing) {
    const Act add = [](WorkspaceWorld& library, const Uuid&) {
        letRun(library, library.edits->add({.sources = {CaptureText{"hello", "a text"}}}));
    };
    const std::string file = "letter/dear Ada/ ";
    // One that is killed between its commit and its end is called by its number.
    killEverywhere([](auto&, auto&) {}, add,
                   {file + "- -", file + "Add 1 memory -", file + "Add \"hello\" -"});
    killEverywhere(add,
                   [](WorkspaceWorld& library, const Uuid&) {
                       letRun(library, library.history->undo(Consent::none));
                   },
                   {file + "Add \"hello\" -", file + "- Add \"hello\""});
}

/// In processes of their own, since what is written within one piece of work cannot be cut off
/// otherwise.
class HistoryKilledAtItsDatabases : public ::testing::Test {
  protected:
    using Act = std::function<void(WorkspaceWorld&)>;
    static constexpr int lived = 42;

    /// Dies at each `stride`th change of a database file, and at which states that leaves.
    std::set<std::string> statesAfterDeaths(WorkspaceWorld& library, int stride, const Act& act,
                                            const std::function<std::string()>& state,
                                            const Act& reset) {
        std::set<std::string> states;
        int deathCount = 0;
        for (int k = 1;; k += stride) {
            reset(library);
            library.end();
            const bool hasLived = actAndDie(library, k, act);
            library.start();
            states.insert(state());
            if (hasLived) break;
            ++deathCount;
        }
        EXPECT_GT(deathCount, 3);
        return states;
    }

    static bool actAndDie(WorkspaceWorld& library, int k, const Act& act) {
        const pid_t child = ::fork();
        if (child == 0) {
            auto* faults = new FaultyDatabaseFiles;
            library.start();
            faults->arm(Fault::crash, k);
            act(library);
            ::_exit(lived);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) == lived;
    }
};

TEST_F(HistoryKilledAtItsDatabases, AnEditAndItsUndoingAreWholeAndTheHistorySaysWhich) {
    WorkspaceWorld library;
    const Uuid note = library.addNote("old");
    const auto state = [&] {
        return library.titleOf(note) + " " + library.history->state()->undoName.value_or("-") +
               " " + library.history->state()->redoName.value_or("-");
    };
    const Act takeBack = [](WorkspaceWorld& each) {
        if (each.history->state()->undoName) each.undo();
    };
    const Act edit = [&](WorkspaceWorld& each) { each.retitle(note, "new"); };
    EXPECT_EQ(statesAfterDeaths(library, 1, edit, state, takeBack),
              (std::set<std::string>{"old - -", "new Edit \"old\" -"}));
    const Act editAnew = [&](WorkspaceWorld& each) {
        if (each.titleOf(note) == "old") each.retitle(note, "new");
    };
    EXPECT_EQ(statesAfterDeaths(
                  library, 1, [](WorkspaceWorld& each) { each.undo(); }, state, editAnew),
              (std::set<std::string>{"old - Edit \"old\"", "new Edit \"old\" -"}));
}

TEST_F(HistoryKilledAtItsDatabases, ADeletionAndItsUndoingAreWholeAndTheHistorySaysWhich) {
    WorkspaceWorld library;
    const Uuid id = library.addFile("letter.txt", "dear Ada");
    const auto state = [&] {
        return library.titleOf(id) + " " + library.contentOf(id) + " " +
               library.history->state()->undoName.value_or("-");
    };
    const Act bringBack = [&](WorkspaceWorld& each) {
        if (!each.store->item(id)) each.undo();
    };
    const Act remove = [&](WorkspaceWorld& each) { each.wait(each.edits->deleteMemories({id})); };
    const std::set<std::string> both{"- - Delete \"letter\"", "letter dear Ada -"};
    EXPECT_EQ(statesAfterDeaths(library, 4, remove, state, bringBack), both);
    const Act removeAnew = [&](WorkspaceWorld& each) {
        if (each.store->item(id)) remove(each);
    };
    EXPECT_EQ(statesAfterDeaths(
                  library, 2, [](WorkspaceWorld& each) { each.undo(); }, state, removeAnew),
              both);
}

INSTANTIATE_TEST_SUITE_P(BetweenPiecesAndAtFiles, KilledHistory, ::testing::Values(0, 1));

}  // namespace
}  // namespace nookery
