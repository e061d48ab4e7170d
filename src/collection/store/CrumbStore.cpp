#include "collection/store/CrumbStore.h"

#include <map>

#include "collection/store/CrumbStoreParts.h"
#include "retrieval/text/Hashtags.h"

namespace nookery {

CrumbStore::CrumbStore(const Platform& platform, LibraryLayout layout, LibraryAccess access)
    : parts_(std::make_unique<Parts>(platform, std::move(layout), access)) {}

CrumbStore::~CrumbStore() {
    parts_->stopInboxes();
    parts_->settleEnrichment();
}

const std::optional<std::string>& CrumbStore::startFailure() const { return parts_->startFailure; }
const std::optional<RestoreNotice>& CrumbStore::restoreNotice() const {
    return parts_->restoreNotice;
}

const Published<CrumbItemList>& CrumbStore::items() const { return parts_->memories.all(); }
const Published<std::vector<CrumbGroup>>& CrumbStore::groups() const { return parts_->groups; }
const Published<std::string>& CrumbStore::searchText() const { return parts_->search.text(); }
const Published<SearchResult>& CrumbStore::searchResult() const { return parts_->search.result(); }

const Published<CrumbItemList>& CrumbStore::filteredItems() const {
    return parts_->search.filteredItems();
}

const Published<std::unordered_map<Uuid, std::string>>& CrumbStore::retrievalHints() const {
    return parts_->search.hints();
}

const Published<std::optional<Uuid>>& CrumbStore::selectedID() const { return parts_->selectedID; }
const Published<std::set<Uuid>>& CrumbStore::selectedIDs() const { return parts_->selectedIDs; }

const Published<int>& CrumbStore::importCountInProgress() const {
    return parts_->importCountInProgress;
}

const Published<int>& CrumbStore::inboxImportCount() const { return parts_->inboxImportCount; }
const Published<int>& CrumbStore::cloudImportCount() const { return parts_->cloudImportCount; }
const Published<std::optional<InboxReport>>& CrumbStore::inboxReport() const {
    return parts_->inboxReport;
}

const Published<int>& CrumbStore::faceDataRevision() const { return parts_->faceDataRevision; }

const Published<std::vector<NookeryReceivedFieldReport>>& CrumbStore::fieldReports() const {
    return parts_->fieldReports;
}

void CrumbStore::setFieldReports(std::vector<NookeryReceivedFieldReport> reports) {
    parts_->fieldReports.set(std::move(reports));
}

void CrumbStore::setFieldReportReceiver(FieldReportReceiver* receiver) {
    parts_->fieldReportReceiver = receiver;
}

SaveFailure CrumbStore::renameFieldReport(const NookeryReceivedFieldReport& report,
                                          const std::string& title) {
    return parts_->changeFieldReport(
        [&](FieldReportReceiver& receiver) { receiver.rename(report, title); });
}

SaveFailure CrumbStore::deleteFieldReport(const NookeryReceivedFieldReport& report) {
    return parts_->changeFieldReport(
        [&](FieldReportReceiver& receiver) { receiver.remove(report); });
}

SaveFailure CrumbStore::Parts::changeFieldReport(
    const std::function<void(FieldReportReceiver&)>& change) {
    if (fieldReportReceiver == nullptr) return "Field Report receiver is unavailable.";
    try {
        change(*fieldReportReceiver);
        return std::nullopt;
    } catch (const Error& error) {
        return error.description();
    }
}

const Published<std::optional<BringBackNotice>>& CrumbStore::bringBackNotice() const {
    return parts_->annotations.bringBackNotice();
}

const Published<std::optional<SnapshotProgress>>& CrumbStore::snapshotProgress() const {
    return parts_->snapshotProgress;
}

const Published<std::unordered_map<Uuid, std::vector<std::byte>>>& CrumbStore::richTextByID()
    const {
    return parts_->richTextByID;
}

const Published<std::optional<IntakeNotice>>& CrumbStore::intakeNotice() const {
    return parts_->intakeNotice;
}

const Published<std::map<Uuid, Timestamp>>& CrumbStore::bringBackDates() const {
    return parts_->annotations.bringBackDates();
}

const Published<std::set<Uuid>>& CrumbStore::broughtBackIDs() const {
    return parts_->annotations.broughtBackIDs();
}

CrumbItemPointer CrumbStore::item(const Uuid& id) const { return parts_->memories.find(id); }

std::vector<std::string> CrumbStore::tagsOf(const Uuid& id) const {
    const auto item = parts_->memories.find(id);
    if (!item) return {};
    std::map<std::string, std::string> bySpelling;
    for (const std::string& text : {item->title, item->note}) {
        for (const std::string& tag : hashtagsIn(text)) bySpelling.emplace(tag, tag);
    }
    for (const std::string& tag : parts_->annotations.manualTags(id)) {
        bySpelling[comparableTag(tag)] = tag;
    }
    std::vector<std::string> tags;
    for (const auto& [lower, spelling] : bySpelling) tags.push_back(spelling);
    return tags;
}

std::vector<std::string> CrumbStore::manualTagsOf(const Uuid& id) const {
    return parts_->annotations.manualTags(id);
}

std::string CrumbStore::groupNameOf(const CrumbItem& item) const {
    return parts_->groupName(item.groupID);
}

UsageSignal CrumbStore::usageOf(const Uuid& id) const {
    const auto& signals = parts_->annotations.usageSignals();
    const auto found = signals.find(id);
    return found == signals.end() ? UsageSignal{} : found->second;
}

const RetrievalEngine& CrumbStore::retrieval() const { return parts_->retrieval; }

void CrumbStore::setSearchText(const std::string& text, std::size_t limit, SearchDepth depth) {
    parts_->search.setText(text, limit, depth);
}

std::string CrumbStore::browsingText() const { return parts_->search.browsingText(); }
std::string CrumbStore::statusText() const { return parts_->search.statusText(); }

void CrumbStore::select(std::optional<Uuid> id) { parts_->selectedID.set(id); }
void CrumbStore::setSelection(std::set<Uuid> ids) { parts_->selectedIDs.set(std::move(ids)); }

CrumbRecoverySnapshots* CrumbStore::recoverySnapshots() const {
    return parts_->recoverySnapshots.get();
}

}  // namespace nookery
