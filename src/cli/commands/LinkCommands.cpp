#include <fmt/format.h>

#include <optional>

#include "cli/commands/Commands.h"
#include "cli/context/CommandContext.h"
#include "cli/output/TextLayout.h"
#include "mobilelink/LinkRecords.h"
#include "mobilelink/PhoneLink.h"
#include "platform/CloudContainer.h"
#include "platform/KeyStore.h"

namespace nookery::cli {
namespace {

constexpr std::size_t defaultLogLength = 50;

struct Status {
    PairingState pairing;
    std::string keyStore;  ///< where the key lies
    CloudLookup cloud;
    std::optional<LinkEvent> lastPublished{};
    std::size_t attachmentCount = 0;
};

Status lookAround(CommandContext& context) {
    Status status{.pairing = NookerySecurePairingTransport(context.platform()).pairingState(),
                  .keyStore = context.platform().keyStore.place(),
                  .cloud = context.platform().cloud.locate()};
    auto records =
        LinkRecords::openForReading(context.platform().files, context.layout().linkRecords());
    if (records) {
        status.lastPublished = records->lastEvent("published");
        status.attachmentCount = records->attachmentCount();
    }
    return status;
}

OrderedJson statusJson(const Status& status) {
    OrderedJson json{{"paired", status.pairing.isPaired},
                     {"keyStore", status.keyStore},
                     {"cloudAvailable", status.cloud.container.has_value()},
                     {"attachments", status.attachmentCount}};
    if (!status.pairing.isPaired) json["pairingProblem"] = status.pairing.reason;
    if (status.cloud.container) json["cloudContainer"] = displayName(*status.cloud.container);
    if (!status.cloud.container) json["cloudProblem"] = status.cloud.reason;
    if (status.lastPublished) json["lastPublished"] = toIso8601(status.lastPublished->time);
    return json;
}

Coroutine<int> runStatus(CommandContext& context, const Arguments&) {
    const Status status = lookAround(context);
    if (context.wantsJson()) {
        context.print(statusJson(status));
        co_return exitDone;
    }
    Output& out = context.out();
    out.writeLine("Phone: " +
                  (status.pairing.isPaired ? "paired" : printable(status.pairing.reason)));
    out.writeLine("Key store: " + printable(status.keyStore));
    out.writeLine("Cloud folder: " + printable(status.cloud.container
                                                   ? displayName(*status.cloud.container)
                                                   : status.cloud.reason));
    out.writeLine("Last published: " + (status.lastPublished
                                            ? exactDate(status.lastPublished->time) + ", " +
                                                  printable(status.lastPublished->text)
                                            : "never"));
    co_return exitDone;
}

/// Begins one run of the link and waits for its end. Throws what it failed with.
Coroutine<LinkOutcome> runLink(CommandContext& context, LinkPurpose purpose) {
    co_await context.open(LibraryAccess::writing, LibraryExtent::records);
    PhoneLink& link = context.workspace().link();
    const auto operation = purpose == LinkPurpose::publish ? link.publish() : link.receive();
    co_return co_await context.resultOf(operation);
}

Coroutine<int> runPublish(CommandContext& context, const Arguments&) {
    const LinkOutcome outcome = co_await runLink(context, LinkPurpose::publish);
    const PublishReport& report = outcome.publish;
    if (report.attachmentsFailed > 0) {
        context.say(fmt::format("{} could not be published: {}",
                                counted(report.attachmentsFailed, "attachment", "attachments"),
                                report.firstFailure));
    }
    if (context.wantsJson()) {
        context.print({{"published", report.publishedCount},
                       {"attachmentsWritten", report.attachmentsWritten},
                       {"attachmentsUnchanged", report.attachmentsUnchanged},
                       {"attachmentsFailed", report.attachmentsFailed}});
    } else {
        context.out().writeLine(
            fmt::format("Published {} memories. Refresh on your iPhone.", report.publishedCount));
    }
    co_return exitDone;
}

Coroutine<int> runReceive(CommandContext& context, const Arguments&) {
    const LinkOutcome outcome = co_await runLink(context, LinkPurpose::receive);
    const EditReport& report = outcome.edits;
    if (!report.isPaired) context.say("No phone is paired, so there is nothing to take in.");
    if (context.wantsJson()) {
        context.print({{"applied", report.appliedCount},
                       {"conflict", report.conflictCount},
                       {"missing", report.missingCount},
                       {"skipped", report.skippedCount}});
    } else {
        context.out().writeLine(report.summary());
    }
    co_return exitDone;
}

Coroutine<int> runLog(CommandContext& context, const Arguments& arguments) {
    const std::size_t limit = arguments.count("limit", defaultLogLength);
    auto records =
        LinkRecords::openForReading(context.platform().files, context.layout().linkRecords());
    OrderedJson list = OrderedJson::array();
    for (const LinkEvent& event : records ? records->events(limit) : std::vector<LinkEvent>{}) {
        list.push_back(
            {{"time", toIso8601(event.time)}, {"event", event.kind}, {"text", event.text}});
        if (context.wantsJson()) continue;
        context.out().writeLine(fmt::format("{}  {}  {}", exactDate(event.time),
                                            padded(event.kind, 9), printable(event.text)));
    }
    if (context.wantsJson()) {
        context.print({{"events", std::move(list)}});
    } else if (list.empty()) {
        context.say("The link has done nothing yet.");
    }
    co_return exitDone;
}

}  // namespace

std::vector<Command> linkCommands() {
    return {{.name = "link status",
             .summary = "Say whether a phone is paired and where the two meet",
             .examples = {{"link status", "and when the library was last published"}},
             .run = runStatus},
            {.name = "link publish",
             .summary = "Put a sealed copy of the library where the paired phone reads it",
             .examples = {{"link publish", "takes in the phone's edits first"}},
             .notes = "Secure memories never leave. Files of more than 20 MB stay here; those that "
                      "are already on the drive are not written again.",
             .run = runPublish},
            {.name = "link receive",
             .summary = "Take in the changes that the phone asks for",
             .examples = {{"link receive", "says how many were applied"}},
             .notes = "A change of a memory that has changed here since is not applied; the phone "
                      "keeps it and is told why.",
             .run = runReceive},
            {.name = "link log",
             .summary = "List what the link has done, newest first",
             .examples = {{"link log --limit 5", "the last five runs that did something"}},
             .options = {{"limit", "N", "how many to list"}},
             .run = runLog}};
}

}  // namespace nookery::cli
