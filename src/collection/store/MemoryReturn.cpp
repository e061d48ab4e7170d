#include "collection/store/MemoryReturn.h"

#include <algorithm>

#include "collection/database/VectorBlob.h"
#include "platform/TextEmbedder.h"

namespace nookery {
namespace {

/// One row, read by the names of its columns.
class Row {
  public:
    Row(const KeptTable& table, const std::vector<SqliteValue>& values)
        : table_(table), values_(values) {}

    template <typename Value>
    const Value* find(std::string_view column) const {
        const auto name = std::find(table_.columns.begin(), table_.columns.end(), column);
        const auto index = static_cast<std::size_t>(name - table_.columns.begin());
        return index < values_.size() ? std::get_if<Value>(&values_[index]) : nullptr;
    }
    std::optional<std::string> text(std::string_view column) const {
        const auto* found = find<std::string>(column);
        return found == nullptr ? std::nullopt : std::optional(*found);
    }
    std::optional<Uuid> uuid(std::string_view column) const {
        const auto* found = find<std::string>(column);
        return found == nullptr ? std::nullopt : Uuid::parse(*found);
    }
    /// A whole number may have been stored as one.
    Timestamp date(std::string_view column) const {
        if (const auto* real = find<double>(column)) return {*real};
        const auto* whole = find<std::int64_t>(column);
        return {whole == nullptr ? 0 : static_cast<double>(*whole)};
    }

  private:
    const KeptTable& table_;
    const std::vector<SqliteValue>& values_;
};

template <typename Visit>
void visitRows(const std::vector<KeptTable>& tables, std::string_view table, const Visit& visit) {
    for (const KeptTable& each : tables) {
        if (each.table != table) continue;
        for (const auto& values : each.rows) visit(Row(each, values));
    }
}

CrumbItemPointer itemOf(const Row& row) {
    const auto id = row.uuid("id");
    const auto title = row.text("title");
    const auto kind = kindFromRawValue(row.text("kind").value_or(""));
    if (!id || !title || !kind) return nullptr;
    CrumbItem item;
    item.id = *id;
    item.title = *title;
    item.kind = *kind;
    item.createdAt = row.date("created_at");
    item.text = row.text("text_content");
    item.urlString = row.text("url_string");
    item.filePath = row.text("file_path");
    item.searchableText = row.text("searchable_text").value_or("");
    item.note = row.text("note").value_or("");
    item.groupID = row.uuid("group_id");
    item.sourceItemID = row.uuid("source_item_id");
    return std::make_shared<const CrumbItem>(std::move(item));
}

using Vectors = std::unordered_map<Uuid, std::vector<double>>;

Vectors vectorsOf(const std::vector<KeptTable>& tables, const TextEmbedder* embedder) {
    Vectors vectors;
    if (embedder == nullptr) return vectors;
    visitRows(tables, "crumbs", [&](const Row& row) {
        const auto id = row.uuid("id");
        const auto* blob = row.find<std::vector<std::byte>>("embedding_blob");
        if (!id || blob == nullptr || row.text("embedding_model") != embedder->modelName()) return;
        fromVectorBlob(*blob, vectors[*id]);
    });
    return vectors;
}

RichTexts richTextsOf(const std::vector<KeptTable>& tables) {
    RichTexts texts;
    visitRows(tables, "crumbs", [&](const Row& row) {
        const auto id = row.uuid("id");
        const auto* rtf = row.find<std::vector<std::byte>>("rich_text_rtf");
        if (id && rtf != nullptr) texts.emplace(*id, *rtf);
    });
    return texts;
}

}  // namespace

CrumbItemList itemsOf(const std::vector<KeptTable>& tables) {
    CrumbItemList items;
    visitRows(tables, "crumbs", [&](const Row& row) {
        if (auto item = itemOf(row)) items.push_back(std::move(item));
    });
    return items;
}

void prepare(ReturningMemories& memories, const TextEmbedder* embedder) {
    memories.items = itemsOf(memories.tables);
    memories.vectors = vectorsOf(memories.tables, embedder);
    memories.richTexts = richTextsOf(memories.tables);
}

void MemoryReturn::bringBack(const ReturningMemories& memories, Library::CommitEnded ended) {
    LibraryWriter::Incoming incoming{.records = memories.items, .save = {}};
    std::erase_if(incoming.records, [&](const auto& item) { return writer_.find(item->id); });
    std::unordered_set<Uuid> back;
    for (const auto& item : incoming.records) back.insert(item->id);
    // A return that was interrupted may have brought the rows and nothing else.
    AnnotationsByID annotations = memories.annotations;
    std::erase_if(annotations, [&](const auto& entry) {
        const bool isHere = back.contains(entry.first) || writer_.find(entry.first);
        return !isHere || !contents_.annotations.of({entry.first}).empty();
    });
    incoming.areBack = true;
    incoming.vectors = memories.vectors;
    incoming.save = [&](SQLiteDatabase& database) {
        database.returnRows(memories.tables);
        takeUp(memories, back);
    };
    incoming.annotate = [&](MemoryAnnotations& own) { own.restore(annotations); };
    writer_.bringIn(std::move(incoming), std::move(ended));
}

/// What lies beside the rows.
void MemoryReturn::takeUp(const ReturningMemories& memories, const std::unordered_set<Uuid>& back) {
    writer_.changeSidecar([&](Sidecar& sidecar) { sidecar.recordOriginals(memories.facts); });
    if (memories.richTexts.empty()) return;
    contents_.richTextByID.update([&](RichTexts& bodies) {
        for (const auto& [id, body] : memories.richTexts) {
            if (back.contains(id)) bodies.insert_or_assign(id, body);
        }
    });
}

}  // namespace nookery
