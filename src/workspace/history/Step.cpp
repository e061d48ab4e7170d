#include "workspace/history/Step.h"

#include <algorithm>

#include "workspace/history/CompactJson.h"

namespace nookery {
namespace {

constexpr int formatVersion = 1;

Json toJson(const Change& change) {
    Json json = Json::array(
        {static_cast<int>(change.thing), change.id, change.field, change.before, change.after});
    if (change.interim) json.push_back(*change.interim);
    return json;
}

Change changeFrom(const Json& json) {
    Change change{.thing = static_cast<ChangedThing>(json.at(0).get<int>()),
                  .id = json.at(1).get<std::string>(),
                  .field = json.at(2).get<std::string>(),
                  .before = json.at(3),
                  .after = json.at(4)};
    if (json.size() > 5) change.interim = json.at(5);
    return change;
}

Json toJson(const OriginalFact& fact) {
    return Json::array({toBinary(fact.relativePath), fact.memoryID.toString(),
                        toBinary(std::as_bytes(std::span(fact.digest.bytes))), fact.byteCount,
                        fact.modifiedNanoseconds});
}

Sha256Digest digestFrom(const Json& json) {
    const auto bytes = bytesOf(json);
    Sha256Digest digest;
    if (bytes.size() != digest.bytes.size()) throw JsonError("A step's digest is damaged.");
    std::transform(bytes.begin(), bytes.end(), digest.bytes.begin(),
                   [](std::byte byte) { return std::to_integer<std::uint8_t>(byte); });
    return digest;
}

OriginalFact factFrom(const Json& json) {
    return {.relativePath = pathOf(json.at(0)),
            .memoryID = uuidOf(json.at(1)),
            .digest = digestFrom(json.at(2)),
            .byteCount = json.at(3).get<std::int64_t>(),
            .modifiedNanoseconds = json.at(4).get<std::int64_t>()};
}

Json toJson(const RemovedOriginal& original) {
    Json facts = Json::array();
    for (const OriginalFact& fact : original.facts) facts.push_back(toJson(fact));
    return Json::array({toBinary(original.relativePath),
                        original.trashPlace ? toBinary(*original.trashPlace) : Json(), facts});
}

RemovedOriginal originalFrom(const Json& json) {
    RemovedOriginal original{.relativePath = pathOf(json.at(0))};
    if (!json.at(1).is_null()) original.trashPlace = pathOf(json.at(1));
    for (const Json& fact : json.at(2)) original.facts.push_back(factFrom(fact));
    return original;
}

template <typename Values>
Json listOf(const Values& values) {
    Json list = Json::array();
    for (const auto& value : values) list.push_back(toJson(value));
    return list;
}

Json digestsOf(const std::map<Uuid, Sha256Digest>& digests) {
    Json list = Json::array();
    for (const auto& [id, digest] : digests) {
        list.push_back(
            Json::array({id.toString(), toBinary(std::as_bytes(std::span(digest.bytes)))}));
    }
    return list;
}

Step stepFrom(const Json& json) {
    if (json.at("version") != formatVersion) {
        throw JsonError("A step of the history was written by a newer NOOKERY.");
    }
    Step step{.name = json.at("name").get<std::string>(),
              .at = Timestamp{json.at("at").get<double>()}};
    for (const Json& change : json.at("changes")) step.changes.push_back(changeFrom(change));
    step.membership = static_cast<Membership>(json.at("membership").get<int>());
    step.memories = uuidsOf(json.at("memories"));
    for (const Json& each : json.at("addedTexts")) {
        step.addedTexts.emplace(uuidOf(each.at(0)), digestFrom(each.at(1)));
    }
    for (const Json& each : json.at("originals")) step.originals.push_back(originalFrom(each));
    step.protectedMemories = uuidsOf(json.at("protected"));
    step.snapshotName = optionalString(json, "snapshot");
    step.isTooLarge = json.at("tooLarge").get<bool>();
    step.clearsLibrary = json.at("clears").get<bool>();
    step.hasConsent = json.at("consent").get<bool>();
    return step;
}

}  // namespace

std::int64_t changeCountOf(const Step& step) {
    return static_cast<std::int64_t>(step.changes.size() + step.memories.size() +
                                     step.protectedMemories.size());
}

StepRecords::Bytes encode(const Step& step) {
    return toCompactBytes({{"version", formatVersion},
                           {"name", step.name},
                           {"at", step.at.secondsSince1970},
                           {"changes", listOf(step.changes)},
                           {"membership", static_cast<int>(step.membership)},
                           {"memories", toBinary(step.memories)},
                           {"addedTexts", digestsOf(step.addedTexts)},
                           {"originals", listOf(step.originals)},
                           {"protected", toBinary(step.protectedMemories)},
                           {"snapshot", step.snapshotName ? Json(*step.snapshotName) : Json()},
                           {"tooLarge", step.isTooLarge},
                           {"clears", step.clearsLibrary},
                           {"consent", step.hasConsent}});
}

Step decodeStep(std::span<const std::byte> bytes) {
    return readingDocument([&] { return stepFrom(fromCompactBytes(bytes)); });
}

}  // namespace nookery
