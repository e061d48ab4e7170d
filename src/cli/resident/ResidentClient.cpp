#include "cli/resident/ResidentClient.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <utility>

namespace nookery::cli {

ResidentClient::ResidentClient(int descriptor, const Interrupts& interrupts)
    : descriptor_(descriptor), interrupts_(interrupts) {}

ResidentClient::~ResidentClient() { ::close(descriptor_); }

ResidentClient::Greeting ResidentClient::greeting() {
    const auto message = receive();
    if (!message) return Greeting::none;
    return message->kind == MessageKind::greeting && isOfThisVersion(message->content)
               ? Greeting::ofThisVersion
               : Greeting::ofAnother;
}

std::optional<CommandEnding> ResidentClient::run(const CommandRequest& request, Console& console) {
    isCommandRunning_ = true;
    send(MessageKind::run, toText(request));
    return follow(console);
}

std::optional<CommandEnding> ResidentClient::follow(Console& console) {
    while (true) {
        const Message message = demandMessage();
        if (message.kind == MessageKind::refused) {
            refusal_ = message.content;
            return std::nullopt;
        }
        if (message.kind != MessageKind::ended) {
            obey(message, console);
            continue;
        }
        if (outputFailure_) throw OutputError(*outputFailure_);
        return parseCommandEnding(message.content);
    }
}

void ResidentClient::obey(const Message& message, Console& console) {
    switch (message.kind) {
        case MessageKind::output:
            if (outputFailure_) return;
            try {
                console.write(message.content);
            } catch (const OutputError& failure) {
                outputFailure_ = failure;
                send(MessageKind::outputFailed, std::to_string(failure.errorNumber()));
            }
            return;
        case MessageKind::message:
            return console.writeMessage(message.content);
        case MessageKind::progress:
            return console.showProgress(message.content);
        case MessageKind::question: {
            const Question question = parseQuestion(message.content);
            return console.ask(question.title, question.text, [&](const Outcome<bool>& answer) {
                if (answer.isStopped()) return interrupted();
                send(MessageKind::answer, answer.isDone() && answer.get() ? "yes" : "no");
            });
        }
        case MessageKind::wantsInput:
            readsFor_ = &console;
            return;
        case MessageKind::open:
            return console.openOnDesktop(message.content, [&](const Outcome<Nothing>& opened) {
                const Failure* const failure = opened.failure();
                send(MessageKind::opened, failure == nullptr ? "" : failure->message);
            });
        default:
            throw Error("The nookery that has the library open says something unknown.");
    }
}

void ResidentClient::sendInput() {
    std::exchange(readsFor_, nullptr)->read([&](const Outcome<std::string>& bytes) {
        if (bytes.isStopped()) return interrupted();
        if (bytes.isDone()) return send(MessageKind::input, bytes.get());
        send(MessageKind::inputFailed, bytes.failure()->message);
    });
}

void ResidentClient::borrowLibrary() {
    send(MessageKind::borrow);
    receive();
}

void ResidentClient::endResident() {
    send(MessageKind::end);
    while (receive()) continue;
}

Message ResidentClient::demandMessage() {
    auto message = receive();
    if (!message) {
        throw Error(
            "The nookery that has the library open ended in the middle of this; whatever was done "
            "is whole. Try again.");
    }
    return std::move(*message);
}

std::optional<Message> ResidentClient::receive() {
    while (true) {
        if (auto message = splitter_.next()) return message;
        std::array<pollfd, 3> sources{
            pollfd{descriptor_, POLLIN, 0},
            pollfd{hasAskedToStop_ ? -1 : interrupts_.descriptor(), POLLIN, 0},
            pollfd{readsFor_ == nullptr ? -1 : STDIN_FILENO, POLLIN, 0}};
        if (::poll(sources.data(), sources.size(), -1) < 0) continue;
        if (sources[1].revents != 0) interrupted();
        if (sources[2].revents != 0) sendInput();
        if (sources[0].revents == 0) continue;
        std::string bytes(std::size_t{64} << 10, '\0');
        const ssize_t count = ::recv(descriptor_, bytes.data(), bytes.size(), 0);
        if (count == 0 || (count < 0 && errno != EINTR)) return std::nullopt;
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        splitter_.add(bytes);
    }
}

void ResidentClient::interrupted() {
    if (!isCommandRunning_) throw Cancelled();
    if (!hasAskedToStop_) send(MessageKind::stop);
    hasAskedToStop_ = true;
}

void ResidentClient::send(MessageKind kind, std::string_view content) {
    const std::string bytes = encoded(kind, content);
    std::string_view rest = bytes;
    while (!rest.empty()) {
        const ssize_t count = ::send(descriptor_, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (count > 0) rest.remove_prefix(static_cast<std::size_t>(count));
        // That the other has left is noticed by what it does not say.
        if (count < 0 && errno != EINTR) return;
    }
}

}  // namespace nookery::cli
