#include "workspace/ReceiptEdits.h"

#include <fmt/format.h>

#include "foundation/Text.h"
#include "workspace/Relay.h"
#include "workspace/StepMaking.h"

namespace nookery {
namespace {

std::string nameOf(const CrumbReceipt& receipt) {
    return fmt::format("receipt \"{}\"", shownMerchant(receipt, false));
}

std::string withoutEnds(const std::optional<std::string>& text) {
    return std::string(trimmed(text.value_or("")));
}

}  // namespace

std::string ReceiptEdits::knownCategory(const std::string& given) const {
    const std::string wanted = lowerCased(trimmed(given));
    for (std::string& name : service_().categories()) {
        if (lowerCased(name) == wanted) return std::move(name);
    }
    throw Error(fmt::format(
        "There is no category \"{}\"; \"nookery receipts categories --add\" adds one.", given));
}

OperationPointer<PatchOutcome> ReceiptEdits::edit(const CrumbReceipt& base, CrumbReceipt edited,
                                                  std::optional<EditingToken> token) {
    // As it will be saved, so that the step says what the record does.
    const std::string merchant = withoutEnds(edited.merchant);
    edited.merchant = merchant.empty() ? std::nullopt : std::optional(merchant);
    const auto draft = [this, base, edited](StepDraft& drafted) {
        const auto now = service_().find(base.id);
        if (!now) throw Error("The receipt is not there any more.");
        drafted.step.name = fmt::format("Edit {}", nameOf(*now));
        PatchOutcome outcome;
        for (const ReceiptField& field : receiptFields()) {
            const Json before = field.get(*now);
            const Json after = field.get(edited);
            if (after == field.get(base) || after == before) continue;
            if (before != field.get(base)) {
                outcome.conflicts.push_back({field.name, before.is_string()
                                                             ? before.get<std::string>()
                                                             : toJsonText(before)});
                continue;
            }
            drafted.step.changes.push_back({.thing = ChangedThing::receipt,
                                            .id = base.id.toString(),
                                            .field = field.name,
                                            .before = before,
                                            .after = after});
        }
        return outcome;
    };
    return makeStep<PatchOutcome>(history_, platform_.mainQueue, guard_, draft, token);
}

OperationPointer<Nothing> ReceiptEdits::remove(const Uuid& id) {
    return makeStep<Nothing>(history_, platform_.mainQueue, guard_, [this, id](StepDraft& drafted) {
        const auto receipt = service_().find(id);
        if (!receipt) throw Error("The receipt is not there any more.");
        drafted.step.name = fmt::format("Remove {}", nameOf(*receipt));
        drafted.step.changes.push_back({.thing = ChangedThing::receipt,
                                        .id = id.toString(),
                                        .field = {},
                                        .before = receiptRecord(*receipt)});
        return Nothing();
    });
}

OperationPointer<Nothing> ReceiptEdits::addCategory(const std::string& name) {
    const auto draft = [this, name](StepDraft& drafted) {
        const std::string plain(trimmed(name));
        if (plain.empty()) throw Error("A category needs a name.");
        Change change{.thing = ChangedThing::receiptCategory, .id = plain, .field = {}};
        for (const std::string& known : service_().categories()) {
            if (lowerCased(known) == lowerCased(plain)) return Nothing();
        }
        change.after = true;
        drafted.step.name = fmt::format("Add category \"{}\"", plain);
        drafted.step.changes.push_back(std::move(change));
        return Nothing();
    };
    return makeStep<Nothing>(history_, platform_.mainQueue, guard_, draft);
}

/// Each record is written down before it is added; what was read of it by then is no part of it.
OperationPointer<ReceiptImport> ReceiptEdits::import(std::vector<ReceiptSource> sources) {
    struct Addition {
        Step step;
        std::optional<std::int64_t> number{};
    };
    auto operation = Operation<ReceiptImport>::create(platform_.mainQueue);
    const auto addition =
        std::make_shared<Addition>(Addition{.step = {.name = {}, .at = history_.now()}});
    const auto note = [this, addition](const CrumbReceipt& receipt) {
        auto& changes = addition->step.changes;
        changes.push_back({.thing = ChangedThing::receipt,
                           .id = receipt.id.toString(),
                           .field = {},
                           .before = {},
                           .after = receiptRecord(receipt)});
        addition->step.name =
            fmt::format("Import {} receipt{}", changes.size(), changes.size() == 1 ? "" : "s");
        return history_.recordAddition(addition->step, addition->number);
    };
    const auto end = [this, operation, addition](const Outcome<ReceiptImport>& outcome) {
        if (!addition->number) return operation->finish(outcome);
        history_.finishAddition(addition->step, *addition->number,
                                [operation, outcome] { operation->finish(outcome); });
    };
    const auto begin = [this, operation, sources = std::move(sources), note,
                        end](const SaveFailure& unready) {
        try {
            unready.throwIfFailed();
            relay(service_().import(sources, note), operation, guard_.guarded(end));
        } catch (...) {
            operation->finish(Outcome<ReceiptImport>::of(std::current_exception()));
        }
    };
    history_.whenReady(guard_.guarded(begin));
    return operation;
}

}  // namespace nookery
