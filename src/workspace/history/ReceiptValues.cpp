#include "workspace/history/ReceiptValues.h"

#include <fmt/format.h>

#include <algorithm>

#include "foundation/Text.h"

namespace nookery {
namespace {

template <typename Value>
Json orNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json();
}

std::optional<std::string> textFrom(const Json& value) {
    return value.is_null() ? std::nullopt : std::optional(value.get<std::string>());
}

Json dayJson(const std::optional<CalendarDay>& day) { return day ? Json(toText(*day)) : Json(); }

std::optional<CalendarDay> dayFrom(const Json& value) {
    return value.is_null() ? std::nullopt : parseCalendarDay(value.get<std::string>());
}

Json amountJson(const std::optional<Cents>& amount) {
    return amount ? Json(amount->count) : Json();
}

std::optional<Cents> amountFrom(const Json& value) {
    return value.is_null() ? std::nullopt : std::optional(Cents{value.get<std::int64_t>()});
}

CrumbReceipt receiptFrom(const Uuid& id, const Json& json) {
    CrumbReceipt receipt;
    receipt.id = id;
    for (const ReceiptField& field : receiptFields()) field.set(receipt, json.at(field.name));
    if (const auto source = textFrom(json.at("source")))
        receipt.sourceCrumbID = Uuid::parse(*source);
    receipt.originalFilePath = textFrom(json.at("file"));
    receipt.importedAt = {json.at("importedAt").get<double>()};
    return receipt;
}

const ReceiptField* findField(const std::string& name) {
    for (const ReceiptField& field : receiptFields()) {
        if (field.name == name) return &field;
    }
    return nullptr;
}

}  // namespace

const std::vector<ReceiptField>& receiptFields() {
    using Receipt = CrumbReceipt;
    static const std::vector<ReceiptField> fields{
        {"type", [](const Receipt& r) { return Json(rawValue(r.type)); },
         [](Receipt& r, const Json& v) {
             r.type = receiptTypeFromRawValue(v.get<std::string>()).value_or(r.type);
         }},
        {"merchant", [](const Receipt& r) { return orNull(r.merchant); },
         [](Receipt& r, const Json& v) { r.merchant = textFrom(v); }},
        {"date", [](const Receipt& r) { return dayJson(r.purchaseDate); },
         [](Receipt& r, const Json& v) { r.purchaseDate = dayFrom(v); }},
        {"amount", [](const Receipt& r) { return amountJson(r.totalCents); },
         [](Receipt& r, const Json& v) { r.totalCents = amountFrom(v); }},
        {"classification", [](const Receipt& r) { return Json(rawValue(r.classification)); },
         [](Receipt& r, const Json& v) {
             r.classification =
                 classificationFromRawValue(v.get<std::string>()).value_or(r.classification);
         }},
        {"category", [](const Receipt& r) { return orNull(r.category); },
         [](Receipt& r, const Json& v) { r.category = textFrom(v); }},
        {"flag", [](const Receipt& r) { return Json(r.needsReview); },
         [](Receipt& r, const Json& v) { r.needsReview = v.get<bool>(); }},
        {"note", [](const Receipt& r) { return Json(r.note); },
         [](Receipt& r, const Json& v) { r.note = v.get<std::string>(); }},
    };
    return fields;
}

Json receiptRecord(const CrumbReceipt& receipt) {
    Json json{{"source", receipt.sourceCrumbID ? Json(receipt.sourceCrumbID->toString()) : Json()},
              {"file", orNull(receipt.originalFilePath)},
              {"importedAt", receipt.importedAt.secondsSince1970}};
    for (const ReceiptField& field : receiptFields()) json[field.name] = field.get(receipt);
    return json;
}

bool ReceiptValues::holds(ChangedThing thing) const {
    return thing == ChangedThing::receipt || thing == ChangedThing::receiptCategory;
}

bool ReceiptValues::isWhole(const Change& change) const {
    return change.thing == ChangedThing::receipt && change.field.empty();
}

std::optional<Json> ReceiptValues::current(const Change& change) const {
    ReceiptService& service = service_();
    if (change.thing == ChangedThing::receiptCategory) {
        const auto names = service.categories();
        const bool isThere = std::any_of(names.begin(), names.end(), [&](const std::string& name) {
            return lowerCased(name) == lowerCased(change.id);
        });
        return isThere ? Json(true) : Json();
    }
    const auto id = Uuid::parse(change.id);
    const auto receipt = id ? service.find(*id) : nullptr;
    if (isWhole(change)) return receipt ? receiptRecord(*receipt) : Json();
    const ReceiptField* field = findField(change.field);
    if (!receipt || field == nullptr) return std::nullopt;
    return field->get(*receipt);
}

std::string ReceiptValues::nameOf(const Change& change) const {
    if (change.thing == ChangedThing::receiptCategory) {
        return fmt::format("the category \"{}\"", change.id);
    }
    const auto id = Uuid::parse(change.id);
    const auto receipt = id ? service_().find(*id) : nullptr;
    const std::string whose =
        fmt::format("the receipt \"{}\"", receipt ? shownMerchant(*receipt, false) : "");
    return change.field.empty() ? whose : fmt::format("the {} of {}", change.field, whose);
}

Json ReceiptValues::remembered(const Change& change, const Json& recorded) const {
    const auto gone = gone_.find(change.id);
    if (gone != gone_.end()) return gone->second;
    const auto now = current(change);
    return now && !now->is_null() ? *now : recorded;
}

void ReceiptValues::set(std::vector<Assignment> assignments, SaveReason, Saved saved) {
    try {
        setAll(assignments);
    } catch (const Error& error) {
        return saved(SaveFailure(error));
    }
    saved({});
}

/// The fields of one receipt are saved together.
void ReceiptValues::setAll(const std::vector<Assignment>& assignments) {
    std::map<Uuid, CrumbReceipt> changed;
    for (const auto& [change, value] : assignments) {
        if (change.thing == ChangedThing::receiptCategory) {
            setCategory(change.id, !value.is_null());
            continue;
        }
        if (isWhole(change)) {
            setWhole(change, value);
            continue;
        }
        const auto id = Uuid::parse(change.id);
        const auto receipt = id ? service_().find(*id) : nullptr;
        const ReceiptField* field = findField(change.field);
        if (!receipt || field == nullptr) continue;
        field->set(changed.try_emplace(*id, *receipt).first->second, value);
    }
    for (const auto& [id, receipt] : changed) service_().save(receipt);
}

void ReceiptValues::setWhole(const Change& change, const Json& value) {
    const auto id = Uuid::parse(change.id);
    if (!id) return;
    if (!value.is_null()) {
        gone_.erase(change.id);
        return service_().save(receiptFrom(*id, value));
    }
    const auto receipt = service_().find(*id);
    if (!receipt) return;
    Json whole = receiptRecord(*receipt);
    service_().remove(*id);
    gone_[change.id] = std::move(whole);
}

void ReceiptValues::setCategory(const std::string& name, bool isThere) {
    if (isThere) return service_().addCategory(name);
    service_().removeCategory(name);
}

}  // namespace nookery
