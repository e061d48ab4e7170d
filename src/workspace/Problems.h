#pragma once

#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "collection/database/ProblemTable.h"
#include "collection/store/CrumbStore.h"
#include "foundation/Json.h"
#include "foundation/Published.h"
#include "platform/Platform.h"
#include "platform/work/WorkQueue.h"
#include "workspace/ProblemLog.h"

namespace nookery {

using ProblemList = std::vector<KnownProblem>;

/// What went wrong in the background and is not mended, for a person to look at: kept across
/// restarts, each problem once. When it happens again its count goes up, and when it had been
/// dismissed it comes back; when what it was about is well again, or gone, it disappears. What an
/// earlier session left disappears when this one does the same thing well, or looks and finds it
/// gone; until then it stands with the time when it was last seen. Main thread. Must not outlive
/// the store and the log.
class Problems {
  public:
    Problems(const Platform& platform, LibraryLayout layout, ProblemLog& log, CrumbStore& store);
    /// Writes down what has come until now.
    ~Problems();

    /// Adds what earlier sessions left. Once, when the library is open. What cannot be read is
    /// logged, and forgotten.
    void load();

    /// Those seen last come first, the dismissed ones among them. At most 500: past that, the one
    /// that was not seen for longest goes. Announced at most once in a turn of the main queue, and
    /// after `dismiss`.
    const Published<ProblemList>& all() const { return all_; }
    /// Takes what has come and was not announced yet.
    void takeNews();
    /// Answers whether there is such a problem.
    bool dismiss(std::string_view id);
    void dismissAll();

  private:
    void take(const Problem& problem);
    void take(const ProblemSubject& mended);
    void take(const ProblemSurvey& survey);
    void readStored(ProblemList& stored);
    void forgetRemoved(const MemoryListChange& change);
    template <typename IsGone>
    void forgetIf(const IsGone& isGone);
    void merge(KnownProblem stored);
    KnownProblem* find(std::string_view id);
    void dismiss(KnownProblem& known);
    void finishChange();
    void writeChanges();

    const Platform& platform_;
    LibraryLayout layout_;
    ProblemLog& log_;
    CrumbStore& store_;
    Published<ProblemList> all_;
    ProblemList problems_;                ///< as in `all_`, with the changes that are under way
    std::set<std::string> changedIDs_;    ///< to be written, once what is there was read
    std::vector<ProblemSurvey> surveys_;  ///< until then
    bool isLoaded_ = false;
    Subscription memories_;
    CallbackGuard guard_;
};

/// {"id", "what", "path", "memory", "message", "advice", "first", "last", "count", "dismissed"};
/// "path" and "memory" are left out where there is none.
OrderedJson toJson(const KnownProblem& known);

}  // namespace nookery
