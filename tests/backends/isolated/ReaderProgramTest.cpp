#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/landlock.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

#include "backends/BothWays.h"
#include "backends/documents/DocumentFormats.h"
#include "backends/images/ImageFiles.h"
#include "backends/images/QtPictures.h"
#include "reader/Confinement.h"
#include "support/TemporaryDirectory.h"

namespace nookery {
namespace {

constexpr std::size_t megabyte = std::size_t{1} << 20;

/// Grain without text, which keeps the recogniser busy for many seconds.
Picture grain(int side) {
    std::mt19937 random(5);
    Picture picture{side, side, {}};
    picture.pixels.resize(std::size_t{3} * static_cast<std::size_t>(side * side));
    for (auto& level : picture.pixels) level = static_cast<std::uint8_t>(random());
    return picture;
}

std::string failureOf(const std::function<void()>& reading) {
    try {
        reading();
        return "none";
    } catch (const Error& error) {
        return error.description();
    }
}

class ReaderProgram : public ::testing::Test {
  protected:
    Path greyPicture(int side) {
        const std::string sides = std::to_string(side) + " " + std::to_string(side);
        const auto count = static_cast<std::size_t>(side) * static_cast<std::size_t>(side);
        return folder.write("grey.pgm", "P5 " + sides + " 255\n" + std::string(count, '\x80'));
    }

    const ContentType type{"image/x-portable-greymap"};
    testing::TemporaryDirectory folder;
    std::unique_ptr<FileSystem> files = makePosixFileSystem();
};

TEST_F(ReaderProgram, TakesNoMoreMemoryThanItsBoundAndTheNextOneWorks) {
    ReaderPool pool(
        {.programs = {NOOKERY_READER}, .bounds = ReaderBounds{.memoryByteCount = 320 * megabyte}});
    const auto images = makeIsolatedImages(pool);
    EXPECT_EQ(images->read(greyPicture(500), type, 100, {}, {}).width, 100);
    const Path large = greyPicture(12'000);
    EXPECT_EQ(failureOf([&] { images->read(large, type, 100, {}, {}); }),
              "\"grey.pgm\" was given up: it takes too much memory or crashes the program that "
              "reads it.");
    EXPECT_EQ(images->read(greyPicture(500), type, 100, {}, {}).width, 100);
}

TEST_F(ReaderProgram, ReadsALargePictureWithinTheUsualBounds) {
    const auto images = makeIsolatedImages(testing::testReaders());
    const Picture whole = images->read(greyPicture(10'000), type, 10'000, {}, {});
    EXPECT_EQ(whole.pixels.size(), std::size_t{300'000'000});
    EXPECT_EQ(whole.pixels.back(), 0x80);
}

TEST_F(ReaderProgram, TakesNoMoreTimeThanItsBoundAndEndsWhenItsWorkIsCancelled) {
    ReaderPool hurried({.programs = {NOOKERY_READER},
                        .bounds = ReaderBounds{.processorTime = std::chrono::seconds(1)}});
    const Picture picture = grain(2500);
    const auto recognizer = makeIsolatedTextRecognizer(hurried, *files);
    ASSERT_TRUE(recognizer);
    EXPECT_EQ(failureOf([&] { recognizer->recognise(picture, {}); }),
              "The text in the picture was given up: it takes too long.");
    std::stop_source stop;
    std::jthread person([&] { stop.request_stop(); });
    EXPECT_THROW(makeIsolatedTextRecognizer(testing::testReaders(), *files)
                     ->recognise(picture, stop.get_token()),
                 Cancelled);
}

TEST_F(ReaderProgram, OneThatIsAboutToEndForWantOfWorkFailsNoRequest) {
    ReaderPool pool({.programs = {NOOKERY_READER}, .idleTime = std::chrono::milliseconds(0)});
    const auto encoder = makeIsolatedPictureEncoder(pool);
    const std::string expected = makePictureEncoder()->jpeg(grain(16));
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(encoder->jpeg(grain(16)) == expected) << i;
}

/// In a process of its own: starts a reader, tells its number, and is killed while the reader
/// works.
[[noreturn]] void dieInTheMiddleOfARequest(int teller) {
    ReaderPool pool({.programs = {NOOKERY_READER}});
    const auto process = pool.start(ReaderSubject::recognition);
    const Picture picture = grain(2500);
    FieldWriter fields;
    fields.integer(static_cast<int>(ReaderQuestion::recognisedText));
    fields.integer(100).integer(2048 * megabyte).integer(10'000);
    writeSize(fields, picture);
    const auto sent = sendMessage(process->socket(), fields.fields(), picture.pixels, {});
    const pid_t reader = sent == Transfer::done ? process->id() : -1;
    if (::write(teller, &reader, sizeof reader) == sizeof reader) ::raise(SIGKILL);
    ::_exit(1);
}

TEST_F(ReaderProgram, EndsWithTheProgramThatItWorksFor) {
    // Orphans become children of this process, so that it can wait for them.
    ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    const pid_t program = ::fork();
    if (program == 0) dieInTheMiddleOfARequest(pipe[1]);
    pid_t reader = -1;
    ASSERT_EQ(::read(pipe[0], &reader, sizeof reader), static_cast<ssize_t>(sizeof reader));
    ASSERT_GT(reader, 0);
    int status = 0;
    ASSERT_EQ(::waitpid(program, &status, 0), program);
    EXPECT_EQ(::waitpid(reader, &status, 0), reader);
    EXPECT_TRUE(WIFEXITED(status));
    for (const int end : pipe) ::close(end);
    ::prctl(PR_SET_CHILD_SUBREAPER, 0);
}

TEST_F(ReaderProgram, IsConfinedBeforeItReadsAnything) {
    ReaderConversation conversation(testing::testReaders(), ReaderSubject::documents);
    EXPECT_THROW(conversation.ask({.question = ReaderQuestion::webPage}), Error);
    const auto process = testing::testReaders().takeIdle(ReaderSubject::documents);
    ASSERT_TRUE(process);
    std::stringstream status;
    status << std::ifstream("/proc/" + std::to_string(process->id()) + "/status").rdbuf();
    EXPECT_NE(status.str().find("NoNewPrivs:\t1"), std::string::npos);
    EXPECT_NE(status.str().find("Seccomp:\t2"), std::string::npos);
}

bool kernelHasLandlock() {
    return ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) > 0;
}

/// In a process that was confined: the first thing that it can do and should not, or "nothing".
std::string whatAConfinedProcessCanDo(const Path& folder) {
    const std::string file = folder / "file";
    const std::string fresh = folder / "fresh";
    if (::open(file.c_str(), O_RDONLY) < 0) return "not even read";
    if (::open("/dev/null", O_WRONLY) < 0) return "not even throw away";
    if (::socket(AF_UNIX, SOCK_STREAM, 0) >= 0) return "talk to the desktop";
    if (::socket(AF_INET, SOCK_STREAM, 0) >= 0) return "reach the network";
    if (::truncate(file.c_str(), 0) == 0) return "cut a file short";
    if (::chmod(file.c_str(), 0777) == 0) return "let others write";
    ::execl("/bin/true", "true", nullptr);
    if (errno != EPERM) return "run programs";
    if (!kernelHasLandlock()) return "nothing";
    if (::open(file.c_str(), O_WRONLY) >= 0) return "write";
    if (::open(fresh.c_str(), O_CREAT | O_WRONLY, 0600) >= 0) return "make files";
    if (::unlink(file.c_str()) == 0) return "remove files";
    if (::rename(file.c_str(), fresh.c_str()) == 0) return "rename files";
    return "nothing";
}

TEST_F(ReaderProgram, CanNeitherChangeFilesNorReachAnything) {
    folder.write("file", "kept");
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        confine(ReaderSubject::documents);
        const std::string can = whatAConfinedProcessCanDo(folder.path());
        ::_exit(::write(pipe[1], can.data(), can.size()) > 0 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    std::string can(100, '\0');
    can.resize(static_cast<std::size_t>(::read(pipe[0], can.data(), can.size())));
    EXPECT_EQ(can, "nothing");
    EXPECT_EQ(folder.read("file"), "kept");
    for (const int end : pipe) ::close(end);
}

TEST_F(ReaderProgram, ReadsTheTypesThatTheProgramBelievesItReads) {
    ReaderPool pool({.programs = {NOOKERY_READER}});
    const auto here = makeImageReader(*files);
    const auto documents = makeDocumentReader();
    for (const char* mediaType :
         {"image/jpeg",
          "image/png",
          "image/webp",
          "image/tiff",
          "image/gif",
          "image/bmp",
          "image/x-ms-bmp",
          "image/vnd.microsoft.icon",
          "image/x-icon",
          "image/x-tga",
          "image/x-portable-bitmap",
          "image/x-portable-greymap",
          "image/x-portable-pixmap",
          "image/heic",
          "image/heif",
          "image/avif",
          "image/svg+xml",
          "image/x-xcf",
          "application/pdf",
          "application/rtf",
          "message/rfc822",
          "application/epub+zip",
          "application/vnd.oasis.opendocument.text",
          "application/vnd.oasis.opendocument.spreadsheet",
          "application/vnd.oasis.opendocument.presentation",
          "application/zip",
          "text/plain",
          "application/vnd.openxmlformats-officedocument.wordprocessingml.document",
          "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet",
          "application/vnd.openxmlformats-officedocument.presentationml.presentation"}) {
        EXPECT_EQ(makeIsolatedImages(pool)->canRead({mediaType}), here->canRead({mediaType}))
            << mediaType;
        EXPECT_EQ(makeIsolatedDocuments(pool)->canRead({mediaType}),
                  documents->canRead({mediaType}))
            << mediaType;
    }
}

}  // namespace
}  // namespace nookery
