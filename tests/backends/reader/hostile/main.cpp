// Stands in for the reader program, and answers as one does that a hostile file has taken over. The
// name of the file that it is asked about says how.
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <map>
#include <string>

#include "backends/reader/ReaderChannel.h"
#include "backends/reader/ReaderErrors.h"
#include "foundation/FileSystem.h"

namespace nookery {
namespace {

FieldWriter succeeded() {
    FieldWriter fields;
    writeSuccess(fields);
    return fields;
}

/// The facts of a picture of 3 x 2 points, taken in some month.
std::string facts(int month, double latitude) {
    FieldWriter fields = succeeded();
    fields.integer(3).integer(2).text("Camera").integer(1);
    for (const int field : {2026, month, 1, 0, 0, 0, 0}) fields.integer(field);
    fields.integer(1).real(latitude).real(0);
    return fields.take();
}

std::string picture(int width, int height) {
    return succeeded().integer(width).integer(height).take();
}

std::string failure(int kind) {
    FieldWriter fields;
    return fields.integer(kind).integer(0).integer(-3).take();
}

const std::map<std::string, std::string>& answers() {
    static const std::map<std::string, std::string> all{
        {"honest", facts(5, 10)},
        {"nothing", ""},
        {"half a number", std::string(3, '\1')},
        {"unknown failure", failure(99)},
        {"failure of no number", failure(2)},
        {"month", facts(13, 10)},
        {"latitude", facts(5, 91)},
        {"not a number", facts(5, std::numeric_limits<double>::quiet_NaN())},
        {"more than asked", facts(5, 10) + "more"},
        {"long text",
         succeeded().integer(1).integer(1).integer(std::numeric_limits<int>::max()).take()},
        {"few pixels", picture(3, 2)},
        {"wide", picture(1000, 0)},
        {"negative", picture(-3, -2)},
        {"text", succeeded().text("\xFF title").text("one\0two\xC3").take()},
        {"backwards", succeeded().integer(4).integer(3).take()}};
    return all;
}

void misbehave(const std::string& how, const Path& file) {
    if (how == "crash") ::raise(SIGSEGV);
    if (how == "leave") ::_exit(0);
    if (how == "sleep") {
        ::unlink(file.c_str());  // which says that it has begun
        ::pause();
    }
    if (how == "busy") ::raise(SIGXCPU);
    if (how == "endless") {
        const std::string lengths("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F\0\0\0\0\0\0\0\0", 16);
        if (::write(STDIN_FILENO, lengths.data(), lengths.size()) < 0) ::_exit(1);
        ::pause();
    }
    // Whatever was inherited besides the socket and the two outputs.
    if (how == "descriptors" &&
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}) > 4) {
        std::abort();
    }
}

void serve() {
    constexpr MessageBounds any{std::size_t{1} << 20, std::size_t{1} << 20};
    ReaderMessage request;
    while (receiveMessage(STDIN_FILENO, request, any, {}) == Transfer::done) {
        FieldReader fields(request.fields);
        for (int head = 0; head < 4; ++head) fields.integer();
        const Path file(std::string(fields.bytes(1 << 20)));
        const std::string how = file.filename();
        misbehave(how, file);
        const auto found = answers().find(how);
        const std::string answer = found == answers().end() ? facts(5, 10) : found->second;
        const std::vector<std::uint8_t> pixels(how == "few pixels" ? 5 : 0);
        if (sendMessage(STDIN_FILENO, answer, pixels, {}) != Transfer::done) return;
    }
}

}  // namespace
}  // namespace nookery

int main() { nookery::serve(); }
