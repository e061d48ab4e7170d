#include "workspace/Receipts.h"

namespace nookery {

Receipts::Receipts(const Platform& platform, const LibraryLayout& layout, CrumbStore& store,
                   History& history)
    : platform_(platform),
      layout_(layout),
      store_(store),
      values_([this]() -> ReceiptService& { return service(); }),
      edits_(
          platform, [this]() -> ReceiptService& { return service(); }, history) {
    history.add(values_);
}

ReceiptService& Receipts::service() {
    if (service_) return *service_;
    store_.refusal().throwIfFailed();
    const auto record = [this](const OriginalFact& fact) { return recordOriginal(fact); };
    auto service = std::make_unique<ReceiptService>(platform_, layout_, record);
    service->open();
    service_ = std::move(service);
    return *service_;
}

std::vector<OriginalFact> Receipts::recordOriginal(const OriginalFact& fact) {
    Sidecar& sidecar = store_.sidecar();
    auto earlier = sidecar.originalsWithDigest(fact.digest);
    sidecar.recordOriginals({&fact, 1});
    sidecar.makeDurable();
    return earlier;
}

}  // namespace nookery
