#include "backends/documents/IsolatedPdf.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <mutex>

#include "backends/documents/OpenedFile.h"
#include "backends/documents/PdfService.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

/// A process that reads PDF documents. The destructor ends it.
class PdfProcess {
  public:
    /// Throws FileError when the program cannot be started.
    explicit PdfProcess(const Path& program) {
        std::array<int, 2> ends{-1, -1};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
            throw FileError("start", program, errno);
        }
        socket_ = ends[0];
        posix_spawn_file_actions_t actions{};
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
        for (const int output : {STDOUT_FILENO, STDERR_FILENO}) {
            ::posix_spawn_file_actions_addopen(&actions, output, "/dev/null", O_WRONLY, 0);
        }
        std::string name = "nookery";
        std::string argument(pdfServiceArgument);
        char* const arguments[] = {name.data(), argument.data(), nullptr};
        const int failure =
            ::posix_spawn(&process_, program.c_str(), &actions, nullptr, arguments, environ);
        ::posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
        if (failure == 0) return;
        ::close(socket_);
        throw FileError("start", program, failure);
    }
    ~PdfProcess() {
        ::close(socket_);
        if (process_ > 0) end();
    }
    PdfProcess(const PdfProcess&) = delete;
    PdfProcess& operator=(const PdfProcess&) = delete;

    int socket() const { return socket_; }

    /// Ends the process, unless it has ended. Returns its wait status.
    int end() {
        ::kill(process_, SIGKILL);
        int status = 0;
        while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
        }
        process_ = -1;
        return status;
    }

  private:
    int socket_ = -1;
    pid_t process_ = -1;
};

/// One process for each request that runs at a time. Idle processes are kept for later requests.
class PdfProcesses {
  public:
    explicit PdfProcesses(Path program) : program_(std::move(program)) {}

    /// The answer, at least `count` fields. Throws DocumentError, FileError or Cancelled.
    PdfFields ask(const DocumentReading& reading, std::string_view what, PdfFields details,
                  std::size_t count, const std::stop_token& stop) {
        reading.checkStop();
        OpenedFile::open(reading);
        details.insert(details.begin(), {std::string(what), reading.path().native()});
        auto process = take();
        if (!sendFields(process->socket(), details)) {  // it ended while it was idle
            process = std::make_unique<PdfProcess>(program_);
            if (!sendFields(process->socket(), details)) failBy(process->end(), reading);
        }
        auto answer = receiveFields(process->socket(), stop);
        if (!answer || answer->empty()) failBy(process->end(), reading);
        giveBack(std::move(process));
        if (!answer->front().empty()) throw DocumentError(answer->front());
        answer->erase(answer->begin());
        if (answer->size() < count) reading.failDamaged("the PDF library could not read it");
        return *answer;
    }

  private:
    [[noreturn]] static void failBy(int status, const DocumentReading& reading) {
        if (WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU) {
            reading.fail("was given up: reading it takes more than half a minute.");
        }
        reading.fail("was given up: it takes too much memory or crashes the PDF library.");
    }

    std::unique_ptr<PdfProcess> take() {
        {
            const std::lock_guard lock(mutex_);
            if (!idle_.empty()) {
                auto process = std::move(idle_.back());
                idle_.pop_back();
                return process;
            }
        }
        return std::make_unique<PdfProcess>(program_);
    }

    void giveBack(std::unique_ptr<PdfProcess> process) {
        const std::lock_guard lock(mutex_);
        idle_.push_back(std::move(process));
    }

    Path program_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<PdfProcess>> idle_;
};

int numberFrom(std::string_view text) {
    int number = -1;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

class IsolatedDocuments final : public DocumentReader {
  public:
    IsolatedDocuments(std::unique_ptr<DocumentReader> inner, Path program)
        : inner_(std::move(inner)), processes_(std::move(program)) {}

    bool canRead(const ContentType& type) const override { return inner_->canRead(type); }

    DocumentText read(const Path& path, const ContentType& type, const DocumentLimits& limits,
                      std::stop_token stop) const override {
        if (type.mediaType != "application/pdf") return inner_->read(path, type, limits, stop);
        const DocumentReading reading(path, limits, stop);
        PdfFields answer =
            processes_.ask(reading, "text", {std::to_string(limits.maximumTextByteCount)}, 2, stop);
        return {toValidUtf8(answer[0]), toValidUtf8(answer[1])};
    }

  private:
    std::unique_ptr<DocumentReader> inner_;
    mutable PdfProcesses processes_;
};

class IsolatedPages final : public PageReader {
  public:
    explicit IsolatedPages(Path program) : processes_(std::move(program)) {}

    int pageCount(const Path& path, const DocumentLimits& limits) const override {
        const DocumentReading reading(path, limits, {});
        return numberFrom(processes_.ask(reading, "count", {}, 1, {})[0]);
    }

    std::vector<int> pagesWithoutText(const Path& path, const DocumentLimits& limits,
                                      std::stop_token stop) const override {
        const DocumentReading reading(path, limits, stop);
        const PdfFields answer = processes_.ask(reading, "without text", {}, 1, stop);
        std::vector<int> pages;
        for (const auto page : splitWhiteSpace(answer[0])) pages.push_back(numberFrom(page));
        return pages;
    }

    Picture render(const Path& path, int page, int longestSide, const DocumentLimits& limits,
                   std::stop_token stop) const override {
        const DocumentReading reading(path, limits, stop);
        const PdfFields answer = processes_.ask(
            reading, "page", {std::to_string(page), std::to_string(longestSide)}, 3, stop);
        Picture picture{numberFrom(answer[0]), numberFrom(answer[1]), {}};
        picture.pixels.assign(answer[2].begin(), answer[2].end());
        const bool isWhole =
            !picture.isEmpty() && std::max(picture.width, picture.height) <= longestSide &&
            picture.pixels.size() == std::size_t{3} * static_cast<std::size_t>(picture.width) *
                                         static_cast<std::size_t>(picture.height);
        if (!isWhole) reading.failDamaged("the PDF library could not draw it");
        return picture;
    }

  private:
    mutable PdfProcesses processes_;
};

}  // namespace

std::unique_ptr<DocumentReader> makeIsolatedDocuments(std::unique_ptr<DocumentReader> inner,
                                                      Path program) {
    return std::make_unique<IsolatedDocuments>(std::move(inner), std::move(program));
}

std::unique_ptr<PageReader> makeIsolatedPages(Path program) {
    return std::make_unique<IsolatedPages>(std::move(program));
}

}  // namespace nookery
