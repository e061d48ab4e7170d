#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "foundation/Error.h"

namespace nookery {

/// Why a change did not reach the disk, or that it did. Whoever is told of a failure and does
/// nothing about it has lost somebody's work, so it cannot be dropped unread.
class [[nodiscard]] SaveFailure {
  public:
    /// It is saved.
    SaveFailure() = default;
    SaveFailure(std::string message, std::string advice = {})
        : reason_(Reason{std::move(message), std::move(advice)}) {}
    explicit SaveFailure(const Error& error) : SaveFailure(error.description(), error.advice()) {}

    /// True when it failed.
    explicit operator bool() const { return reason_.has_value(); }
    /// One line for the person; empty when it is saved.
    std::string message() const { return reason_ ? reason_->message : std::string(); }
    /// What the person can do about it, as a sentence of its own; may be empty.
    std::string advice() const { return reason_ ? reason_->advice : std::string(); }

    /// Both in one line.
    std::string text() const { return withAdvice(message(), advice()); }

    /// Throws Error with the words of the failure, if it failed.
    void throwIfFailed() const {
        if (reason_) throw Error(reason_->message, reason_->advice);
    }

    bool operator==(const SaveFailure&) const = default;

  private:
    struct Reason {
        std::string message;
        std::string advice;
        bool operator==(const Reason&) const = default;
    };
    std::optional<Reason> reason_;
};

/// Called on the main thread, once, when a change is durable or has failed.
using Saved = std::function<void(const SaveFailure&)>;

}  // namespace nookery
