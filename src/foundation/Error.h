#pragma once

#include <new>
#include <stdexcept>
#include <string>

namespace nookery {

/// Base of every failure that this program raises itself. The description is one line for the
/// person: it names the thing that failed and says what to do, where something can be done.
/// Subsystems derive their own types, so that a caller can catch what it can handle.
class Error : public std::runtime_error {
  public:
    explicit Error(const std::string& description, std::string advice = {})
        : std::runtime_error(description), advice_(std::move(advice)) {}

    std::string description() const { return what(); }
    /// What the person can do about it, as a sentence of its own; empty when the description says
    /// it already.
    virtual std::string advice() const { return advice_; }

  private:
    std::string advice_;
};

/// A message and what can be done about it, in one line.
inline std::string withAdvice(const std::string& message, const std::string& advice) {
    if (advice.empty()) return message;
    return message + (message.ends_with('.') ? " " : ". ") + advice;
}

/// The person or the program asked for the work to stop. Whatever was finished before is whole.
class Cancelled : public Error {
  public:
    Cancelled() : Error("Cancelled.") {}
};

/// What went wrong, for the person: of this program's own failures and of others.
inline std::string describe(const std::exception& error) {
    if (dynamic_cast<const std::bad_alloc*>(&error) == nullptr) return error.what();
    return "This takes more memory than there is.";
}

}  // namespace nookery
