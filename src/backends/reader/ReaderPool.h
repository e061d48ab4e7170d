#pragma once

#include <memory>
#include <mutex>
#include <span>
#include <stop_token>

#include "backends/reader/ReaderChannel.h"
#include "backends/reader/ReaderProcess.h"

namespace nookery {

/// A reader process gave no answer. The stand-ins for the platform's services (Isolated.h) make it
/// the failure that each service promises.
class ReaderFault : public std::exception {
  public:
    enum class Cause { tookTooLong, died, answeredNonsense, notStarted };

    explicit ReaderFault(Cause cause);
    ReaderFault(Cause cause, std::string clause) : cause_(cause), clause_(std::move(clause)) {}

    Cause cause() const { return cause_; }
    /// Follows the name of what was to be read, and ends the sentence: "was given up: ...".
    const std::string& clause() const { return clause_; }
    const char* what() const noexcept override { return clause_.c_str(); }

  private:
    Cause cause_;
    std::string clause_;
};

struct ReaderRequest {
    ReaderQuestion question{};
    Path path{};  ///< of the file that is read, for failures of the system
    std::string fields{};
    std::span<const std::uint8_t> pixels{};
    MessageBounds answer{};  ///< a longer one is not accepted
    std::stop_token stop{};
};

struct ReaderOptions {
    /// Where the reader program may lie; the first that is there is used, the last one is named
    /// when none is.
    std::vector<Path> programs;
    std::optional<ReaderBounds> bounds{};  ///< in place of each subject's own
    /// A process that has had nothing to do for so long ends.
    std::chrono::milliseconds idleTime{20'000};
};

/// Keeps reader processes for whoever asks next. As many run as threads ask at a time, and one that
/// fails is replaced. Any thread.
class ReaderPool {
  public:
    explicit ReaderPool(ReaderOptions options) : options_(std::move(options)) {}

    const ReaderOptions& options() const { return options_; }

    /// An idle process for this subject at the calling thread's priority; null when there is none.
    std::unique_ptr<ReaderProcess> takeIdle(ReaderSubject subject);
    /// Throws ReaderFault.
    std::unique_ptr<ReaderProcess> start(ReaderSubject subject) const;
    void giveBack(std::unique_ptr<ReaderProcess> process);

  private:
    ReaderOptions options_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<ReaderProcess>> idle_;
};

/// Questions to one process, one after the other. The process is given back to the pool when
/// `finish` was called, and ended otherwise. One thread.
class ReaderConversation {
  public:
    /// The pool outlives this.
    ReaderConversation(ReaderPool& pool, ReaderSubject subject) : pool_(pool), subject_(subject) {}

    /// Asks, and waits for the answer. Throws what the reader failed with (ReaderErrors.h),
    /// ReaderFault when it gave no answer, or Cancelled soon after stop is requested; after the
    /// last two the conversation is over.
    ReaderMessage ask(const ReaderRequest& request);

    /// Nothing more will be asked.
    void finish();

  private:
    struct Attempt {
        Transfer sent = Transfer::closed;
        Transfer received = Transfer::closed;
        ReaderMessage answer{};
    };
    ReaderMessage exchanged(const ReaderRequest& request);
    Attempt attempt(std::string_view fields, const ReaderRequest& request, Deadline deadline) const;
    bool endedWhileIdle(const Attempt& attempt);
    [[noreturn]] void failBy(const Attempt& attempt);
    std::string withHead(const ReaderRequest& request, const ReaderBounds& bounds) const;

    ReaderPool& pool_;
    ReaderSubject subject_;
    std::unique_ptr<ReaderProcess> process_;
    bool wasIdle_ = false;
};

inline std::string quotedName(const Path& path) {
    return "\"" + displayName(path.filename()) + "\"";
}

inline std::string usualClause(const ReaderFault& fault) { return fault.clause(); }

/// Asks a single question, and lets `decode` take the answer apart, all of it. A reader that gives
/// none is a `Failure` whose sentence is `name` and what `clauseOf` says about the fault.
template <typename Failure, typename Decode>
auto answered(ReaderPool& pool, ReaderSubject subject, const ReaderRequest& request,
              const std::string& name, const Decode& decode,
              std::string (*clauseOf)(const ReaderFault&) = &usualClause) {
    try {
        ReaderConversation conversation(pool, subject);
        ReaderMessage answer = conversation.ask(request);
        FieldReader fields(answer.fields);
        try {
            auto result = decode(fields, answer.pixels);
            fields.demandEnd();
            conversation.finish();
            return result;
        } catch (const MalformedMessage&) {
            throw ReaderFault(ReaderFault::Cause::answeredNonsense);
        }
    } catch (const ReaderFault& fault) {
        throw Failure(name + " " + clauseOf(fault));
    }
}

}  // namespace nookery
