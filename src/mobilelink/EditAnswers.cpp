#include "mobilelink/EditAnswers.h"

#include <unordered_map>

#include "records/SecureMemories.h"

namespace nookery {
namespace {

/// The library as it will be once the edits so far are saved.
class EditedLibrary {
  public:
    explicit EditedLibrary(const CrumbStore& store) : store_(store) {}

    EditAnswer apply(const PhoneEdit& edit) {
        const CrumbItemPointer item = find(edit.memoryID);
        const auto findMemory = [this](const Uuid& id) { return find(id); };
        if (!item || isLocalOnly(*item, findMemory)) return EditAnswer::missing;
        if (edit.baseTitle != item->title || edit.baseDetails != item->note ||
            edit.baseBody != item->text.value_or("")) {
            return EditAnswer::conflictChanged;
        }
        if (edit.body && store_.richTextByID()->contains(item->id)) {
            return EditAnswer::conflictFormatted;
        }
        CrumbItem changed = *item;
        if (edit.title) changed.title = *edit.title;
        if (edit.details) changed.note = *edit.details;
        if (edit.body) changed.text = *edit.body;
        changed_[item->id] = std::make_shared<const CrumbItem>(std::move(changed));
        return EditAnswer::applied;
    }

    CrumbItemList changed() const {
        CrumbItemList list;
        for (const auto& [id, item] : changed_) list.push_back(item);
        return list;
    }

  private:
    CrumbItemPointer find(const Uuid& id) const {
        const auto found = changed_.find(id);
        return found == changed_.end() ? store_.item(id) : found->second;
    }

    const CrumbStore& store_;
    std::unordered_map<Uuid, CrumbItemPointer> changed_;
};

}  // namespace

std::vector<EditReceipt> answerEdits(CrumbStore& store, std::span<const PhoneEdit> edits) {
    EditedLibrary library(store);
    std::vector<EditReceipt> receipts;
    for (const PhoneEdit& edit : edits) receipts.push_back({edit.id, library.apply(edit)});
    const CrumbItemList changed = library.changed();
    if (changed.empty()) return receipts;
    store.memoryEdits().replace(changed, SaveReason::phone).throwIfFailed();
    return receipts;
}

}  // namespace nookery
