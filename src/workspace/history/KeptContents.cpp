#include "workspace/history/KeptContents.h"

#include <type_traits>

#include "workspace/history/CompactJson.h"

namespace nookery {
namespace {

struct ValueWriter {
    Json operator()(std::monostate) const { return {}; }
    Json operator()(const std::vector<std::byte>& blob) const { return toBinary(blob); }
    template <typename Value>
    Json operator()(const Value& value) const {
        return value;
    }
};

SqliteValue valueFrom(const Json& json) {
    if (json.is_null()) return std::monostate();
    if (json.is_binary()) return bytesOf(json);
    if (json.is_string()) return json.get<std::string>();
    if (json.is_number_float()) return json.get<double>();
    return json.get<std::int64_t>();
}

KeptTable tableFrom(const Json& json) {
    KeptTable table{.table = json.at("table").get<std::string>(),
                    .columns = json.at("columns").get<std::vector<std::string>>(),
                    .rows = {}};
    for (const Json& row : json.at("rows")) {
        auto& values = table.rows.emplace_back();
        for (const Json& value : row) values.push_back(valueFrom(value));
        if (values.size() != table.columns.size()) throw JsonError("A kept row is damaged.");
    }
    return table;
}

Json toJson(const MemoryAnnotation& annotation) {
    Json json{{"tags", annotation.manualTags}};
    if (annotation.usage) {
        json["usage"] = {annotation.usage->selectionCount,
                         annotation.usage->lastSelectedAt.secondsSince1970};
    }
    if (annotation.bringBack) json["bringBack"] = annotation.bringBack->secondsSince1970;
    return json;
}

MemoryAnnotation annotationFrom(const Json& json) {
    MemoryAnnotation annotation{.manualTags = json.at("tags").get<std::vector<std::string>>()};
    if (json.contains("usage")) {
        const Json& usage = json.at("usage");
        annotation.usage = UsageSignal{usage.at(0).get<int>(), {usage.at(1).get<double>()}};
    }
    if (json.contains("bringBack")) annotation.bringBack = {json.at("bringBack").get<double>()};
    return annotation;
}

void decodePart(const Json& part, ReturningMemories& memories) {
    for (const Json& table : part.value("tables", Json::array())) {
        memories.tables.push_back(tableFrom(table));
    }
    const Json annotations = part.value("annotations", Json::object());
    for (const auto& [id, annotation] : annotations.items()) {
        memories.annotations.emplace(uuidOf(id), annotationFrom(annotation));
    }
}

}  // namespace

StepRecords::Bytes encodeRows(const std::vector<KeptTable>& tables) {
    Json list = Json::array();
    for (const KeptTable& table : tables) {
        Json rows = Json::array();
        for (const auto& row : table.rows) {
            Json values = Json::array();
            for (const SqliteValue& value : row) values.push_back(std::visit(ValueWriter(), value));
            rows.push_back(std::move(values));
        }
        list.push_back({{"table", table.table}, {"columns", table.columns}, {"rows", rows}});
    }
    return toCompactBytes({{"tables", std::move(list)}});
}

StepRecords::Bytes encodeAnnotations(const AnnotationsByID& annotations) {
    Json entries = Json::object();
    for (const auto& [id, annotation] : annotations) entries[id.toString()] = toJson(annotation);
    return toCompactBytes({{"annotations", std::move(entries)}});
}

ReturningMemories decodeContents(const std::vector<StepRecords::Bytes>& parts) {
    ReturningMemories memories;
    for (const auto& part : parts) {
        readingDocument([&] {
            decodePart(fromCompactBytes(part), memories);
            return true;
        });
    }
    return memories;
}

}  // namespace nookery
