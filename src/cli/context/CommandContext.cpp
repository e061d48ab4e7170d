#include "cli/context/CommandContext.h"

#include <fmt/format.h>

#include <cstdlib>

#include "platform/Clock.h"

namespace nookery::cli {
namespace {

bool wantsColour(const Output& output, const Arguments& arguments) {
    const char* noColour = ::getenv("NO_COLOR");
    const char* kind = ::getenv("TERM");
    return output.isTerminal() && !arguments.has("no-color") &&
           (noColour == nullptr || *noColour == '\0') &&
           (kind == nullptr || std::string_view(kind) != "dumb");
}

std::string progressText(const OperationProgress& progress) {
    if (progress.total == 0) return fmt::format("{}: {}", progress.what, progress.done);
    return fmt::format("{}: {} of {}", progress.what, progress.done, progress.total);
}

}  // namespace

CommandContext::CommandContext(World world, Output& output, const Arguments& arguments)
    : world_(std::move(world)),
      output_(output),
      wantsJson_(arguments.has("json")),
      hasConsent_(arguments.has("yes")),
      style_(wantsColour(output, arguments) ? Style::coloured() : Style::plain()),
      messages_(arguments.has("quiet"), !arguments.has("no-input")) {}

CommandContext::~CommandContext() { messages_.endProgress(); }

CrumbStore& CommandContext::open(LibraryAccess access, SessionLength length) {
    if (access == LibraryAccess::reading) demandLibrary();
    store_ = std::make_unique<CrumbStore>(world_.platform, layout(), access);
    resultOf(store_->open(length));
    tell(store_->restoreNotice());
    if (store_->startFailure()) throw Error(*store_->startFailure());
    return *store_;
}

void CommandContext::demandLibrary() const {
    FileSystem& files = world_.platform.files;
    if (files.statusFollowingLinks(layout().database())) return;
    if (files.statusFollowingLinks(layout().legacyFile())) return;
    throw Error(fmt::format("There is no library in {} yet; \"nookery add\" makes one.",
                            displayName(layout().library())));
}

void CommandContext::tell(const std::optional<RestoreNotice>& notice) {
    if (notice) say(fmt::format("{} {}", notice->title, notice->detail));
}

void CommandContext::waitUntil(const std::function<bool()>& condition) {
    world_.runUntil(condition);
    messages_.endProgress();
}

void CommandContext::save(const std::function<void(Saved)>& begin) {
    std::optional<SaveFailure> outcome;
    begin([&](const SaveFailure& failure) { outcome = failure; });
    waitUntil([&] { return outcome.has_value(); });
    outcome->throwIfFailed();
}

void CommandContext::waitFor(OperationBase& operation) {
    const std::stop_callback stopping(stop(), [&operation] { operation.stop(); });
    const Subscription following = operation.progress().subscribe([this](const auto& progress) {
        if (progress) messages_.progress(progressText(*progress));
    });
    waitUntil([&] { return operation.isFinished(); });
}

std::optional<std::size_t> CommandContext::columns() const {
    return output_.isTerminal() ? std::optional(terminalColumns()) : std::nullopt;
}

void CommandContext::say(std::string_view text) {
    output_.flush();
    messages_.say(text);
}

void CommandContext::print(const OrderedJson& document) { output_.writeLine(toJsonText(document)); }

void CommandContext::demandConsent(const std::string& title, const std::string& text) {
    if (hasConsent_) return;
    if (!messages_.canAsk()) {
        throw UsageError(
            "Nobody can be asked here: say --yes to go on; --help says how to see first what would "
            "happen.");
    }
    if (!messages_.confirm(title, text, interruptDescriptor())) {
        throw Error("Nothing was changed.");
    }
}

Timestamp CommandContext::now() const { return world_.platform.clock.now(); }

}  // namespace nookery::cli
