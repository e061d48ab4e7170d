#pragma once

#include <exception>
#include <string>
#include <utility>
#include <variant>

#include "foundation/Error.h"

namespace nookery {

/// The result of work that has none.
struct Nothing {};

/// Why a piece of work has no result, for the person who asked for it.
struct Failure {
    std::string message;  ///< one line that names the thing
    std::string advice;   ///< what to do about it; may be empty
    std::exception_ptr cause;
};

/// The failure that an exception of any type describes. Must not be called with a Cancelled.
Failure failureOf(const std::exception_ptr& cause);

/// What a piece of work came to: done with a result, stopped before its end, or failed.
template <typename Result>
class [[nodiscard]] Outcome {
  public:
    static Outcome done(Result result) {
        return Outcome(std::in_place_type<Result>, std::move(result));
    }
    static Outcome stopped() { return Outcome(std::in_place_type<Stopped>); }
    static Outcome failed(Failure failure) {
        return Outcome(std::in_place_type<Failure>, std::move(failure));
    }
    /// Stopped for Cancelled, failed for anything else.
    static Outcome of(const std::exception_ptr& cause);

    bool isDone() const { return std::holds_alternative<Result>(state_); }
    bool isStopped() const { return std::holds_alternative<Stopped>(state_); }
    /// Null unless it failed.
    const Failure* failure() const { return std::get_if<Failure>(&state_); }

    /// The result. Throws Cancelled when the work was stopped, and what the work threw when it
    /// failed.
    Result& get() {
        if (isStopped()) throw Cancelled();
        if (const Failure* why = failure()) rethrow(*why);
        return std::get<Result>(state_);
    }
    const Result& get() const { return const_cast<Outcome*>(this)->get(); }

  private:
    struct Stopped {};
    using State = std::variant<Result, Stopped, Failure>;

    template <typename Alternative, typename... Values>
    explicit Outcome(std::in_place_type_t<Alternative> which, Values&&... values)
        : state_(which, std::forward<Values>(values)...) {}

    [[noreturn]] static void rethrow(const Failure& failure) {
        if (failure.cause) std::rethrow_exception(failure.cause);
        throw Error(failure.message, failure.advice);
    }

    State state_;
};

template <typename Result>
Outcome<Result> Outcome<Result>::of(const std::exception_ptr& cause) {
    try {
        std::rethrow_exception(cause);
    } catch (const Cancelled&) {
        return stopped();
    } catch (...) {
        return failed(failureOf(cause));
    }
}

/// Runs the work and says what it came to. `work` may return nothing.
template <typename Work>
auto outcomeOf(Work&& work) {
    using Returned = decltype(work());
    using Result = std::conditional_t<std::is_void_v<Returned>, Nothing, Returned>;
    try {
        if constexpr (std::is_void_v<Returned>) {
            work();
            return Outcome<Result>::done({});
        } else {
            return Outcome<Result>::done(work());
        }
    } catch (...) {
        return Outcome<Result>::of(std::current_exception());
    }
}

}  // namespace nookery
