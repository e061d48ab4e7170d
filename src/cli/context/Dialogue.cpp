#include "cli/context/Dialogue.h"

#include <fmt/format.h>

#include "cli/line/Command.h"
#include "cli/output/TextLayout.h"
#include "foundation/Text.h"
#include "foundation/Uuid.h"

namespace nookery::cli {
namespace {

constexpr std::size_t maximumInputByteCount = std::size_t{64} << 20;

}  // namespace

Dialogue::Dialogue(const Platform& platform, Path spoolFolder, Console& console,
                   const Arguments& arguments)
    : files_(platform.files),
      mainQueue_(platform.mainQueue),
      spoolFolder_(std::move(spoolFolder)),
      console_(console),
      output_(console),
      wantsJson_(arguments.has("json")),
      hasConsent_(arguments.has("yes")),
      style_(console.traits().hasColour ? Style::coloured() : Style::plain()),
      messages_(console, arguments.has("quiet")) {}

Dialogue::~Dialogue() { messages_.endProgress(); }

void Dialogue::say(std::string_view text) {
    output_.flush();
    messages_.say(text);
}

void Dialogue::print(const OrderedJson& document) {
    output_.write(printableJson(toJsonText(document)) + "\n");
}

Coroutine<> Dialogue::demandConsent(std::string title, std::string text) {
    if (hasConsent_) co_return;
    if (!console_.traits().canAsk) {
        throw UsageError(
            "Nobody can be asked here: say --yes to go on; --help says how to see first what would "
            "happen.");
    }
    messages_.endProgress();
    Callback<Outcome<bool>> asking(mainQueue_, [&](Console::Answered answered) {
        console_.ask(withoutSteering(title), withoutSteering(text), std::move(answered));
    });
    const Outcome<bool> answer = co_await asking;
    if (!answer.get()) throw Error("Nothing was changed.");
}

Coroutine<std::string> Dialogue::readSome() {
    Callback<Outcome<std::string>> reading(
        mainQueue_, [&](Console::Read done) { console_.read(std::move(done)); });
    Outcome<std::string> bytes = co_await reading;
    co_return std::move(bytes.get());
}

Coroutine<std::string> Dialogue::readInput() {
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

Coroutine<std::optional<std::string>> Dialogue::nextLine() {
    while (true) {
        if (auto line = lines_.next()) co_return line;
        if (lines_.hasEnded()) co_return std::nullopt;
        lines_.add(co_await readSome());
    }
}

Coroutine<std::unique_ptr<ReadableFile>> Dialogue::inputFile() {
    createDirectories(files_, spoolFolder_);
    const Path path = spoolFolder_ / fmt::format("input-{}", Uuid::random().toString());
    const auto spool = files_.createFile(path);
    // From here on only the open files know it: however the program ends, nothing is left behind.
    auto file = files_.openForReading(path);
    files_.removeFile(path);
    while (true) {
        const std::string some = co_await readSome();
        if (some.empty()) break;
        spool->write(std::as_bytes(std::span(some)));
    }
    spool->close();
    co_return std::move(file);
}

}  // namespace nookery::cli
