#include "backends/reader/ReaderPool.h"

#include <fmt/format.h>
#include <sys/wait.h>

#include <csignal>
#include <cstring>

#include "backends/reader/ReaderErrors.h"

namespace nookery {
namespace {

std::string clauseFor(ReaderFault::Cause cause) {
    switch (cause) {
        case ReaderFault::Cause::tookTooLong:
            return "was given up: it takes too long.";
        case ReaderFault::Cause::answeredNonsense:
            return "was given up: what was read from it makes no sense.";
        default:
            return "was given up: it takes too much memory or crashes the program that reads it.";
    }
}

ReaderFault notStarted(const FileError& error) {
    const std::string program = displayName(error.path());
    return {ReaderFault::Cause::notStarted,
            error.isNotFound()
                ? fmt::format("needs the program \"{}\", which is missing. Install Nookery again.",
                              program)
                : fmt::format("needs the program \"{}\", which could not be started: {}.", program,
                              std::strerror(error.errorNumber()))};
}

/// A program that ended before it could answer anything; none when it did start.
std::optional<ReaderFault> startFailure(int status, const Path& program) {
    constexpr int missingLibraryStatus = 127;  // of the system's loader
    if (!WIFEXITED(status)) return std::nullopt;
    const std::string name = displayName(program);
    switch (WEXITSTATUS(status)) {
        case otherVersionStatus:
            return ReaderFault(ReaderFault::Cause::notStarted,
                               fmt::format("needs the program \"{}\", which is of another version "
                                           "by now. Start Nookery again.",
                                           name));
        case missingLibraryStatus:
            return ReaderFault(ReaderFault::Cause::notStarted,
                               fmt::format("needs the program \"{}\", which lacks a library. "
                                           "Install Nookery again.",
                                           name));
        default:
            return std::nullopt;
    }
}

}  // namespace

ReaderFault::ReaderFault(Cause cause) : ReaderFault(cause, clauseFor(cause)) {}

std::unique_ptr<ReaderProcess> ReaderPool::takeIdle(ReaderSubject subject) {
    const int niceness = currentNiceness();
    const std::lock_guard lock(mutex_);
    std::erase_if(idle_, [](const auto& process) { return process->hasEnded(); });
    // The one that was used last still has most in memory.
    for (auto process = idle_.rbegin(); process != idle_.rend(); ++process) {
        if ((*process)->subject() != subject || (*process)->niceness() != niceness) continue;
        auto taken = std::move(*process);
        idle_.erase(std::next(process).base());
        return taken;
    }
    return nullptr;
}

std::unique_ptr<ReaderProcess> ReaderPool::start(ReaderSubject subject) const {
    try {
        return std::make_unique<ReaderProcess>(options_.programs, subject);
    } catch (const FileError& error) {
        throw notStarted(error);
    }
}

void ReaderPool::giveBack(std::unique_ptr<ReaderProcess> process) {
    const std::lock_guard lock(mutex_);
    idle_.push_back(std::move(process));
}

ReaderMessage ReaderConversation::ask(const ReaderRequest& request) {
    if (request.stop.stop_requested()) throw Cancelled();
    ReaderMessage answer = exchanged(request);
    FieldReader fields(answer.fields);
    try {
        throwWhatFailed(fields, request.path);
    } catch (const MalformedMessage&) {
        throw ReaderFault(ReaderFault::Cause::answeredNonsense);
    } catch (const std::bad_alloc&) {
        throw ReaderFault(ReaderFault::Cause::died);
    } catch (const Error&) {
        finish();
        throw;
    }
    answer.fields.erase(0, answer.fields.size() - fields.restByteCount());
    return answer;
}

void ReaderConversation::finish() {
    if (process_) pool_.giveBack(std::move(process_));
}

ReaderMessage ReaderConversation::exchanged(const ReaderRequest& request) {
    const ReaderBounds bounds = pool_.options().bounds.value_or(boundsOf(subject_));
    const std::string fields = withHead(request, bounds);
    if (!process_) {
        process_ = pool_.takeIdle(subject_);
        wasIdle_ = process_ != nullptr;
        if (!process_) process_ = pool_.start(subject_);
    }
    const Deadline deadline = std::chrono::steady_clock::now() + bounds.time;
    Attempt made = attempt(fields, request, deadline);
    if (endedWhileIdle(made)) {
        process_ = pool_.start(subject_);
        made = attempt(fields, request, deadline);
    }
    wasIdle_ = false;
    if (made.received == Transfer::done) return std::move(made.answer);
    if (request.stop.stop_requested()) {
        process_.reset();
        throw Cancelled();
    }
    failBy(made);
}

ReaderConversation::Attempt ReaderConversation::attempt(std::string_view fields,
                                                        const ReaderRequest& request,
                                                        Deadline deadline) const {
    const std::stop_callback interrupt(request.stop, [this] { process_->interrupt(); });
    Attempt made;
    made.sent = sendMessage(process_->socket(), fields, request.pixels, deadline);
    if (made.sent != Transfer::done) return made;
    made.received = receiveMessage(process_->socket(), made.answer, request.answer, deadline);
    return made;
}

/// An idle process ends by itself in the end, perhaps at the very moment when it is asked again.
/// Then it has taken no request, and leaves with the status of success.
bool ReaderConversation::endedWhileIdle(const Attempt& made) {
    if (!wasIdle_ || made.received != Transfer::closed) return false;
    if (made.sent == Transfer::closed) return true;
    const int status = process_->end();
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void ReaderConversation::failBy(const Attempt& made) {
    const int status = process_->end();
    process_.reset();
    const bool isLate = made.sent == Transfer::late || made.received == Transfer::late ||
                        (WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU);
    if (isLate) throw ReaderFault(ReaderFault::Cause::tookTooLong);
    if (const auto fault = startFailure(status, pool_.options().programs.back())) throw *fault;
    throw ReaderFault(made.received == Transfer::tooLong ? ReaderFault::Cause::answeredNonsense
                                                         : ReaderFault::Cause::died);
}

std::string ReaderConversation::withHead(const ReaderRequest& request,
                                         const ReaderBounds& bounds) const {
    FieldWriter head;
    head.integer(static_cast<int>(request.question))
        .integer(bounds.processorTime.count())
        .integer(static_cast<std::int64_t>(bounds.memoryByteCount))
        .integer(pool_.options().idleTime.count());
    return head.take() + request.fields;
}

}  // namespace nookery
