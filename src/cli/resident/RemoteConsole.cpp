#include "cli/resident/RemoteConsole.h"

#include <cerrno>
#include <charconv>
#include <utility>

namespace nookery::cli {
namespace {

/// A piece of output that travels in one message.
constexpr std::size_t pieceByteCount = std::size_t{1} << 20;

template <typename Result>
Outcome<Result> failedWith(const std::string& message) {
    return outcomeOf([&]() -> Result { throw Error(message); });
}

/// Calls what waits for it, if anything does.
template <typename Callback, typename Value>
void answer(Callback& waiting, Value value) {
    if (const auto callback = std::exchange(waiting, nullptr)) callback(std::move(value));
}

int errorNumberOf(const std::string& text) {
    int number = EIO;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

}  // namespace

RemoteConsole::RemoteConsole(ConsoleTraits traits, Send send)
    : traits_(std::move(traits)), send_(std::move(send)) {}

void RemoteConsole::receive(const Message& message) {
    switch (message.kind) {
        case MessageKind::stop:
            return stopCommand();
        case MessageKind::input:
            return answer(read_, Outcome<std::string>::done(message.content));
        case MessageKind::inputFailed:
            return answer(read_, failedWith<std::string>(message.content));
        case MessageKind::answer:
            return answer(answered_, Outcome<bool>::done(message.content == "yes"));
        case MessageKind::opened:
            return answer(opened_, message.content.empty() ? Outcome<Nothing>::done({})
                                                           : failedWith<Nothing>(message.content));
        case MessageKind::outputFailed:
            outputFailure_ = errorNumberOf(message.content);
            return;
        default:
            throw Error("The calling command says something that is not understood.");
    }
}

void RemoteConsole::stopCommand() {
    stop_.request_stop();
    answer(read_, Outcome<std::string>::stopped());
    answer(answered_, Outcome<bool>::stopped());
    answer(opened_, Outcome<Nothing>::stopped());
}

void RemoteConsole::waitNoMore() {
    mayWait_ = false;
    if (read_ || answered_) stopCommand();
}

void RemoteConsole::write(std::string_view text) {
    if (outputFailure_ != 0) throw OutputError(outputFailure_);
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, pieceByteCount);
        send_(MessageKind::output, piece);
        text.remove_prefix(piece.size());
    }
}

void RemoteConsole::ask(std::string_view title, std::string_view text, Answered answered) {
    if (!mayWait_) stopCommand();
    if (stop_.stop_requested()) return answered(Outcome<bool>::stopped());
    answered_ = std::move(answered);
    send_(MessageKind::question, toText(Question{std::string(title), std::string(text)}));
}

void RemoteConsole::read(Read done) {
    if (!mayWait_) stopCommand();
    if (stop_.stop_requested()) return done(Outcome<std::string>::stopped());
    read_ = std::move(done);
    send_(MessageKind::wantsInput, {});
}

void RemoteConsole::openOnDesktop(const std::string& target, Opened opened) {
    if (stop_.stop_requested()) return opened(Outcome<Nothing>::stopped());
    opened_ = std::move(opened);
    send_(MessageKind::open, target);
}

}  // namespace nookery::cli
