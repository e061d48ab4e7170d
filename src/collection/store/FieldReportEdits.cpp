#include "collection/store/FieldReportEdits.h"

namespace nookery {

SaveFailure FieldReportEdits::rename(const NookeryReceivedFieldReport& report,
                                     const std::string& title) {
    return change([&](FieldReportReceiver& receiver) { receiver.rename(report, title); });
}

SaveFailure FieldReportEdits::remove(const NookeryReceivedFieldReport& report) {
    return change([&](FieldReportReceiver& receiver) { receiver.remove(report); });
}

SaveFailure FieldReportEdits::change(const std::function<void(FieldReportReceiver&)>& change) {
    if (receiver_ == nullptr) return SaveFailure("Field Report receiver is unavailable.");
    try {
        change(*receiver_);
        return {};
    } catch (const Error& error) {
        return SaveFailure(error);
    }
}

}  // namespace nookery
