#include "reader/Service.h"

#include <malloc.h>

#include <algorithm>

#include "backends/reader/ReaderChannel.h"
#include "backends/reader/ReaderErrors.h"
#include "reader/Confinement.h"

namespace nookery {
namespace {

/// The program sends nothing longer.
constexpr MessageBounds longestRequest{std::size_t{256} << 20, std::size_t{1} << 30};

struct Head {
    ReaderQuestion question{};
    ReaderBounds bounds;
    std::chrono::milliseconds idleTime{0};
};

Head takeHead(FieldReader& fields) {
    Head head;
    head.question = static_cast<ReaderQuestion>(fields.integer(0, readerQuestionCount - 1));
    head.bounds.processorTime = std::chrono::seconds(fields.integer());
    head.bounds.memoryByteCount = static_cast<std::size_t>(fields.integer());
    head.idleTime = std::chrono::milliseconds(fields.integer());
    return head;
}

ServiceAnswer answered(Service& service, const ServiceRequest& request) {
    try {
        ServiceAnswer answer;
        writeSuccess(answer.fields);
        service.answer(request, answer);
        return answer;
    } catch (const std::exception& error) {
        ServiceAnswer failure;
        writeFailure(failure.fields, error);
        return failure;
    }
}

/// Receives a request and answers it. Returns how long to wait for the next one; none when the
/// other end is gone.
std::optional<std::chrono::milliseconds> serveOne(int socket, Service& service) {
    ReaderMessage message;
    if (receiveMessage(socket, message, longestRequest, {}) != Transfer::done) return std::nullopt;
    FieldReader fields(message.fields);
    const Head head = takeHead(fields);
    limitWhatFollows(head.bounds);
    const ServiceAnswer answer = answered(service, {head.question, fields, message.pixels});
    const Transfer sent = sendMessage(socket, answer.fields.fields(), answer.pixels, {});
    return sent == Transfer::done ? std::optional(head.idleTime) : std::nullopt;
}

/// Whether something is asked within the time. Whoever asks often does so soon: after a while the
/// memory of the last requests goes back to the kernel.
bool isAskedAgain(int socket, std::chrono::milliseconds idleTime) {
    const auto soon = std::min(idleTime, std::chrono::milliseconds(500));
    if (isReadableWithin(socket, soon)) return true;
    ::malloc_trim(0);
    return isReadableWithin(socket, idleTime - soon);
}

}  // namespace

void serve(int socket, Service& service) {
    while (const auto idleTime = serveOne(socket, service)) {
        if (!isAskedAgain(socket, *idleTime)) return;
    }
}

}  // namespace nookery
