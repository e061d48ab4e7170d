#pragma once

#include <coroutine>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "platform/work/Caller.h"
#include "platform/work/Operation.h"

namespace nookery {

template <typename Result>
class Coroutine;

/// What every coroutine's promise does, whatever it answers.
class CoroutinePromise {
  public:
    /// Goes on with whoever awaited the coroutine.
    struct Ending {
        bool await_ready() const noexcept { return false; }
        template <typename Promise>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> ended) const noexcept {
            CoroutinePromise& promise = ended.promise();
            if (promise.whoAwaits) return promise.whoAwaits;
            // Whoever is told may destroy the coroutine.
            const auto tell = std::move(promise.ended);
            if (tell) tell();
            return std::noop_coroutine();
        }
        void await_resume() const noexcept {}
    };

    std::suspend_always initial_suspend() const noexcept { return {}; }
    Ending final_suspend() const noexcept { return {}; }
    void unhandled_exception() noexcept { failure = std::current_exception(); }

    std::coroutine_handle<> whoAwaits{};
    std::function<void()> ended{};
    std::exception_ptr failure{};
};

/// A function that waits without holding its thread up: it is left at each `co_await` and entered
/// again from the main queue when what it waits for is there. It begins when it is awaited or
/// started, and ends at the latest when it is destroyed. Arguments that are references must outlive
/// it. An exception that leaves it reaches whoever awaits it. Main thread.
///
/// Await named values in statements of their own: g++ 12 destroys some temporaries twice in a
/// larger expression that awaits, such as a lambda that holds something, or either side of "?:".
template <typename Result = void>
class [[nodiscard]] Coroutine {
    using Held = std::conditional_t<std::is_void_v<Result>, Nothing, Result>;

    struct ValuePromise : CoroutinePromise {
        void return_value(Held value) { result.emplace(std::move(value)); }
        std::optional<Held> result;
    };
    struct VoidPromise : CoroutinePromise {
        void return_void() {}
        std::optional<Held> result{Held{}};
    };

  public:
    struct promise_type : std::conditional_t<std::is_void_v<Result>, VoidPromise, ValuePromise> {
        Coroutine get_return_object() {
            return Coroutine(std::coroutine_handle<promise_type>::from_promise(*this));
        }
    };

    Coroutine(Coroutine&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Coroutine& operator=(Coroutine&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~Coroutine() {
        if (handle_) handle_.destroy();
    }

    /// Begins it; `ended` is called once it has ended.
    void start(std::function<void()> ended) {
        handle_.promise().ended = std::move(ended);
        handle_.resume();
    }
    /// Its answer, once it has ended. Throws what left it.
    Result result() {
        auto& promise = handle_.promise();
        if (promise.failure) std::rethrow_exception(promise.failure);
        if constexpr (!std::is_void_v<Result>) return std::move(*promise.result);
    }

    // For co_await.
    bool await_ready() const noexcept { return false; }
    std::coroutine_handle<> await_suspend(std::coroutine_handle<> whoAwaits) noexcept {
        handle_.promise().whoAwaits = whoAwaits;
        return handle_;
    }
    Result await_resume() { return result(); }

  private:
    explicit Coroutine(std::coroutine_handle<promise_type> handle) : handle_(handle) {}

    std::coroutine_handle<promise_type> handle_;
};

/// Awaits something that calls back; the first call counts. `begin` is given the function to be
/// called, which may happen at once or later, on the main thread. The coroutine goes on in a piece
/// of work of its own; one that was destroyed meanwhile does not go on.
template <typename Answer>
class [[nodiscard]] Callback {
  public:
    using Begin = std::function<void(std::function<void(Answer)>)>;

    Callback(WorkQueue& mainQueue, Begin begin) : mainQueue_(mainQueue), begin_(std::move(begin)) {}

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> waiting) {
        // What is begun may end at once: nothing of this may be used after it.
        const Begin begin = std::move(begin_);
        const auto caller = CallerScope::current();
        begin(guard_.guarded([this, caller, waiting](Answer answer) {
            if (answer_) return;
            answer_.emplace(std::move(answer));
            // Whoever answers may work for somebody else.
            const CallerScope scope(caller);
            mainQueue_.async(guard_.guarded([waiting] { waiting.resume(); }));
        }));
    }
    Answer await_resume() { return std::move(*answer_); }

  private:
    WorkQueue& mainQueue_;
    Begin begin_;
    std::optional<Answer> answer_;
    CallbackGuard guard_;
};

}  // namespace nookery
