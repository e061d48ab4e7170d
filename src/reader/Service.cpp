#include "reader/Service.h"

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

}  // namespace

void serve(int socket, Service& service) {
    ReaderMessage message;
    while (receiveMessage(socket, message, longestRequest, {}) == Transfer::done) {
        FieldReader fields(message.fields);
        const Head head = takeHead(fields);
        limitWhatFollows(head.bounds);
        const ServiceAnswer answer = answered(service, {head.question, fields, message.pixels});
        if (sendMessage(socket, answer.fields.fields(), answer.pixels, {}) != Transfer::done)
            return;
        message = {};
        if (!isReadableWithin(socket, head.idleTime)) return;
    }
}

}  // namespace nookery
