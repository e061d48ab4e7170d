#include "cli/context/CommandContext.h"

#include <fmt/format.h>

#include "cli/line/Command.h"
#include "foundation/Uuid.h"
#include "platform/Clock.h"

namespace nookery::cli {
namespace {

constexpr std::size_t maximumInputByteCount = std::size_t{64} << 20;

std::string progressText(const OperationProgress& progress) {
    if (progress.total == 0) return fmt::format("{}: {}", progress.what, progress.done);
    return fmt::format("{}: {} of {}", progress.what, progress.done, progress.total);
}

}  // namespace

CommandContext::CommandContext(const Platform& platform, ProblemLog& problems, const Places& places,
                               Console& console, const Arguments& arguments, Workspace* lent)
    : platform_(platform),
      problemLog_(problems),
      places_(places),
      layout_{places.dataHome, places.cacheHome},
      console_(console),
      output_(console),
      wantsJson_(arguments.has("json")),
      hasConsent_(arguments.has("yes")),
      style_(console.traits().hasColour ? Style::coloured() : Style::plain()),
      messages_(console, arguments.has("quiet")),
      workspace_(lent) {}

CommandContext::~CommandContext() { messages_.endProgress(); }

Path CommandContext::path(const std::string& given) const {
    return given.empty() ? Path() : console_.traits().workingFolder / given;
}

Coroutine<CrumbStore*> CommandContext::open(LibraryAccess access, SessionLength length,
                                            LibraryExtent extent) {
    if (access == LibraryAccess::reading) demandLibrary();
    if (workspace_ == nullptr) {
        ownWorkspace_ = std::make_unique<Workspace>(platform_, layout_, problemLog_);
        workspace_ = ownWorkspace_.get();
        co_await resultOf(workspace_->open(access, length, extent));
        tell(workspace_->store().restoreNotice());
    }
    CrumbStore& store = workspace_->store();
    if (store.startFailure()) throw Error(*store.startFailure());
    co_return &store;
}

Coroutine<> CommandContext::closeLibrary() {
    const auto closing = workspace_->close();
    co_await resultOf(closing);
    workspace_ = nullptr;
    ownWorkspace_.reset();
}

void CommandContext::demandLibrary() const {
    FileSystem& files = platform_.files;
    if (files.statusFollowingLinks(layout_.database())) return;
    if (files.statusFollowingLinks(layout_.legacyFile())) return;
    throw Error(fmt::format("There is no library in {} yet; \"nookery add\" makes one.",
                            displayName(layout_.library())));
}

void CommandContext::tell(const std::optional<RestoreNotice>& notice) {
    if (notice) say(fmt::format("{} {}", notice->title, notice->detail));
}

Coroutine<> CommandContext::save(std::function<void(Saved)> begin) {
    Callback<SaveFailure> saved(platform_.mainQueue, begin);
    const SaveFailure failure = co_await saved;
    failure.throwIfFailed();
}

Coroutine<> CommandContext::waitFor(std::shared_ptr<OperationBase> operation) {
    const std::stop_callback stopping(stop(), [operation] { operation->stop(); });
    const Subscription following = operation->progress().subscribe([this](const auto& progress) {
        if (progress) messages_.progress(progressText(*progress));
    });
    if (!operation->isFinished()) {
        Callback<Nothing> ended(platform_.mainQueue,
                                [&](const std::function<void(Nothing)>& answer) {
                                    operation->whenEnded([answer] { answer({}); });
                                });
        co_await ended;
    }
    messages_.endProgress();
}

Coroutine<> CommandContext::interruptible(Begin begin) {
    std::optional<std::stop_callback<std::function<void()>>> stopping;
    Callback<Nothing> reached(platform_.mainQueue, [&](const std::function<void(Nothing)>& answer) {
        const auto goOn = [answer] { answer({}); };
        begin(goOn);
        stopping.emplace(stop(), [&queue = platform_.mainQueue, goOn] { queue.async(goOn); });
    });
    co_await reached;
}

Coroutine<> CommandContext::interruption() {
    const Begin nothing = [](const auto&) {};
    co_await interruptible(nothing);
}

Coroutine<> CommandContext::pause(WorkQueue::Delay time) {
    Callback<Nothing> over(platform_.mainQueue, [&](const std::function<void(Nothing)>& answer) {
        platform_.mainQueue.after(time, [answer] { answer({}); });
    });
    co_await over;
}

Coroutine<> CommandContext::endOrInterruption(std::shared_ptr<OperationBase> operation) {
    const Begin begin = [&](const std::function<void()>& goOn) { operation->whenEnded(goOn); };
    co_await interruptible(begin);
    messages_.endProgress();
}

void CommandContext::say(std::string_view text) {
    output_.flush();
    messages_.say(text);
}

void CommandContext::print(const OrderedJson& document) { output_.writeLine(toJsonText(document)); }

Coroutine<> CommandContext::demandConsent(std::string title, std::string text) {
    if (hasConsent_) co_return;
    if (!console_.traits().canAsk) {
        throw UsageError(
            "Nobody can be asked here: say --yes to go on; --help says how to see first what would "
            "happen.");
    }
    messages_.endProgress();
    Callback<Outcome<bool>> asking(platform_.mainQueue, [&](Console::Answered answered) {
        console_.ask(title, text, std::move(answered));
    });
    const Outcome<bool> answer = co_await asking;
    if (!answer.get()) throw Error("Nothing was changed.");
}

Coroutine<std::string> CommandContext::readSome() {
    Callback<Outcome<std::string>> reading(
        platform_.mainQueue, [&](Console::Read done) { console_.read(std::move(done)); });
    Outcome<std::string> bytes = co_await reading;
    co_return std::move(bytes.get());
}

Coroutine<std::string> CommandContext::readInput() {
    std::string all;
    while (true) {
        const std::string some = co_await readSome();
        if (some.empty()) co_return all;
        all += some;
        if (all.size() > maximumInputByteCount) {
            throw Error(fmt::format("The input is too long: at most {} MiB are taken at once.",
                                    maximumInputByteCount >> 20));
        }
    }
}

Coroutine<std::optional<std::string>> CommandContext::nextLine() {
    while (true) {
        if (auto line = lines_.next()) co_return line;
        if (lines_.hasEnded()) co_return std::nullopt;
        lines_.add(co_await readSome());
    }
}

Coroutine<std::unique_ptr<ReadableFile>> CommandContext::inputFile() {
    FileSystem& files = platform_.files;
    createDirectories(files, layout_.cacheHome);
    const Path path = layout_.cacheHome / fmt::format("input-{}", Uuid::random().toString());
    const auto spool = files.createFile(path);
    // From here on only the open files know it: however the program ends, nothing is left behind.
    auto file = files.openForReading(path);
    files.removeFile(path);
    while (true) {
        const std::string some = co_await readSome();
        if (some.empty()) break;
        spool->write(std::as_bytes(std::span(some)));
    }
    spool->close();
    co_return std::move(file);
}

Timestamp CommandContext::now() const { return platform_.clock.now(); }

}  // namespace nookery::cli
