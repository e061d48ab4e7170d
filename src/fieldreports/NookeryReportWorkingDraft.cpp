#include "fieldreports/NookeryReportWorkingDraft.h"

#include <algorithm>

#include "fieldreports/FieldReportError.h"
#include "fieldreports/FieldReportManifest.h"
#include "foundation/Json.h"

namespace nookery {
namespace {

using Media = NookeryReportWorkingDraft::Media;

Json jsonOf(const Media& media) {
    Json object{{"id", media.id.toString()},
                {"displayName", media.displayName},
                {"isIncluded", media.isIncluded},
                {"caption", media.caption}};
    if (media.addedFileName) object["addedFileName"] = *media.addedFileName;
    return object;
}

Media mediaFrom(const Json& object) {
    const auto id = Uuid::parse(requiredString(object, "id"));
    const auto isIncluded = object.find("isIncluded");
    if (!id || isIncluded == object.end() || !isIncluded->is_boolean()) {
        throw FieldReportError(
            "An item of the working copy has no id, or is not said to be in it.");
    }
    Media media{.id = *id,
                .displayName = requiredString(object, "displayName"),
                .isIncluded = isIncluded->get<bool>(),
                .caption = requiredString(object, "caption"),
                .addedFileName = optionalString(object, "addedFileName")};
    if (media.addedFileName && !isPlainFileName(*media.addedFileName)) {
        throw FieldReportError("A file of the working copy lies outside it.");
    }
    return media;
}

auto placeOf(NookeryReportWorkingDraft& draft, const Uuid& id) {
    return std::find_if(draft.media.begin(), draft.media.end(),
                        [&](const Media& media) { return media.id == id; });
}

}  // namespace

NookeryReportWorkingDraft draftOf(const NookeryReceivedFieldReport& report) {
    NookeryReportWorkingDraft draft{.title = report.title,
                                    .clientProject = report.clientProject,
                                    .location = report.location,
                                    .reportDate = report.reportDate,
                                    .notes = report.notes,
                                    .media = {}};
    for (const FieldReportAttachment& attachment : report.attachments) {
        draft.media.push_back({.id = attachment.id, .displayName = attachment.name});
    }
    return draft;
}

void moveMedia(NookeryReportWorkingDraft& draft, const Uuid& id, MoveDirection direction) {
    const auto place = placeOf(draft, id);
    if (direction == MoveDirection::up && place != draft.media.begin()) {
        std::iter_swap(place, place - 1);
    } else if (direction == MoveDirection::down && place + 1 != draft.media.end()) {
        std::iter_swap(place, place + 1);
    }
}

Media* findMedia(NookeryReportWorkingDraft& draft, const Uuid& id) {
    const auto place = placeOf(draft, id);
    return place == draft.media.end() ? nullptr : &*place;
}

std::string toJsonText(const NookeryReportWorkingDraft& draft) {
    Json media = Json::array();
    for (const Media& item : draft.media) media.push_back(jsonOf(item));
    return toPrettyJsonText(Json{{"title", draft.title},
                                 {"clientProject", draft.clientProject},
                                 {"location", draft.location},
                                 {"reportDate", toIso8601(draft.reportDate)},
                                 {"notes", draft.notes},
                                 {"media", std::move(media)}});
}

NookeryReportWorkingDraft draftFromJson(const std::string& text) {
    const Json object = parseJson(text);
    const auto reportDate = parseIso8601(requiredString(object, "reportDate"));
    const auto media = object.find("media");
    if (!reportDate || media == object.end() || !media->is_array()) {
        throw FieldReportError("The working copy has no date, or no list of items.");
    }
    NookeryReportWorkingDraft draft{.title = requiredString(object, "title"),
                                    .clientProject = requiredString(object, "clientProject"),
                                    .location = requiredString(object, "location"),
                                    .reportDate = *reportDate,
                                    .notes = requiredString(object, "notes"),
                                    .media = {}};
    for (const Json& item : *media) draft.media.push_back(mediaFrom(item));
    return draft;
}

}  // namespace nookery
