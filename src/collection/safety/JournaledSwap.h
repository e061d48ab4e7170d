#pragma once

#include <optional>
#include <string>
#include <vector>

#include "foundation/FileSystem.h"

namespace nookery {

/// One thing (a file or a folder) that gives way to another. All three places lie on one file
/// system; each path is relative to the swap's root.
struct SwapMove {
    std::string live;                   ///< where it is used
    std::optional<std::string> staged;  ///< what comes in; none: what is live only goes away
    std::string safety;                 ///< where what was live goes; nothing may be there yet

    bool operator==(const SwapMove&) const = default;
};

/// Exchanges files and folders that belong together, such that after an interruption at any point
/// the next start can finish or undo it: the plan stands in a journal before the first move, and
/// each move can be seen from where things lie. Nothing may have the live things open meanwhile.
/// Throws FileError; what was moved until then stays moved, for `finish` or `undo` to go on.
class JournaledSwap {
  public:
    /// Writes the plan. Throws FileError when a safety place is taken or something staged is not
    /// there.
    static JournaledSwap begin(FileSystem& files, Path root, Path journal,
                               std::vector<SwapMove> moves);
    /// The swap that was interrupted; none when there is no journal. Throws JsonError for a journal
    /// that cannot be read.
    static std::optional<JournaledSwap> find(FileSystem& files, Path root, Path journal);

    const std::vector<SwapMove>& moves() const { return moves_; }
    /// An undoing was begun; only `undo` may go on.
    bool isBeingUndone() const { return beingUndone_; }

    /// Makes all moves that are not made yet.
    void finish();
    /// Puts everything back where it was.
    void undo();
    /// Removes the journal: the swap is over.
    void close();

  private:
    JournaledSwap(FileSystem& files, Path root, Path journal, std::vector<SwapMove> moves,
                  bool beingUndone);

    void writeJournal() const;
    bool exists(const std::string& place) const;
    void move(const std::string& from, const std::string& to) const;

    FileSystem& files_;
    Path root_;
    Path journal_;
    std::vector<SwapMove> moves_;
    bool beingUndone_;
};

}  // namespace nookery
