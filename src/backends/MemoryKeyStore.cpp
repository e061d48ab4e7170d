#include "backends/MemoryKeyStore.h"

namespace nookery {

std::optional<std::string> MemoryKeyStore::read(std::string_view service,
                                                std::string_view account) {
    const std::lock_guard lock(mutex_);
    const auto found = secrets_.find({std::string(service), std::string(account)});
    return found == secrets_.end() ? std::nullopt : std::optional(found->second);
}

void MemoryKeyStore::write(std::string_view service, std::string_view account,
                           std::string_view secret) {
    const std::lock_guard lock(mutex_);
    secrets_.insert_or_assign({std::string(service), std::string(account)}, std::string(secret));
}

void MemoryKeyStore::remove(std::string_view service, std::string_view account) {
    const std::lock_guard lock(mutex_);
    secrets_.erase({std::string(service), std::string(account)});
}

}  // namespace nookery
