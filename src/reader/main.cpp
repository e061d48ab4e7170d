// Reads files for nookery, which alone starts it: a process for each subject, with a socket as its
// standard input.
#include <malloc.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>

#include "reader/Confinement.h"
#include "reader/Service.h"

namespace nookery {
namespace {

std::unique_ptr<Service> serviceFor(ReaderSubject subject) {
    switch (subject) {
        case ReaderSubject::documents:
            return makeDocumentService();
        case ReaderSubject::pictures:
            return makePictureService();
        case ReaderSubject::media:
            return makeMediaService();
        case ReaderSubject::recognition:
            return makeRecognitionService();
        case ReaderSubject::drawing:
            return makeDrawingService();
        case ReaderSubject::web:
            return makeWebService();
    }
    return nullptr;
}

bool isSocket(int descriptor) {
    int type = 0;
    socklen_t length = sizeof type;
    return ::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &length) == 0;
}

/// Pictures come and go: memory that is taken anew from the kernel for each costs more time than
/// copying it. What is kept so is given back when nothing is asked (Service.h).
void keepFreedMemory() {
    constexpr int longestPiece = 32 << 20;
    constexpr int mostInAll = 512 << 20;
    ::mallopt(M_MMAP_THRESHOLD, longestPiece);
    ::mallopt(M_TRIM_THRESHOLD, mostInAll);
}

/// Leaves without the libraries' last words, which may go wrong.
[[noreturn]] void run(ReaderSubject subject) {
    keepFreedMemory();
    confine(subject);
    endWith(STDIN_FILENO);
    const auto service = serviceFor(subject);
    serve(STDIN_FILENO, *service);
    ::_exit(0);
}

}  // namespace
}  // namespace nookery

int main(int argumentCount, char** arguments) {
    const auto subject = argumentCount == 3 ? nookery::subjectNamed(arguments[1]) : std::nullopt;
    if (!subject || !nookery::isSocket(STDIN_FILENO)) {
        std::fputs("nookery-reader: nookery starts this program by itself.\n", stderr);
        return 2;
    }
    if (arguments[2] != nookery::readerVersion()) return nookery::otherVersionStatus;
    try {
        nookery::run(*subject);
    } catch (const std::exception&) {
        return 1;  // the other end says what it was reading
    }
}
