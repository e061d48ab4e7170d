#include "support/VirtualWorld.h"

#include <algorithm>

namespace nookery::testing {

void VirtualTime::advance(double seconds) {
    const double end = elapsed_ + seconds;
    while (!pieces_.empty() && pieces_.begin()->first <= end) {
        auto node = pieces_.extract(pieces_.begin());
        wallClock_.secondsSince1970 += node.key() - elapsed_;
        elapsed_ = node.key();
        if (!*node.mapped().cancelled) node.mapped().work();
    }
    wallClock_.secondsSince1970 += end - elapsed_;
    elapsed_ = end;
}

DelayedWork VirtualQueue::after(Delay delay, Work work) {
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    time_.pieces_.emplace(time_.elapsed_ + delay.count(),
                          VirtualTime::Piece{std::move(work), cancelled});
    return DelayedWork(cancelled);
}

std::optional<std::string> MemoryDefaults::get(std::string_view key) const {
    const auto found = values_.find(key);
    if (found == values_.end()) return std::nullopt;
    return found->second;
}

void MemoryDefaults::set(std::string_view key, std::string_view value) {
    values_[std::string(key)] = value;
}

void MemoryDefaults::remove(std::string_view key) { values_.erase(std::string(key)); }

std::vector<std::string> MemoryDefaults::keys() const {
    std::vector<std::string> found;
    for (const auto& [key, value] : values_) found.push_back(key);
    return found;
}

std::optional<std::string> MemoryKeyStore::read(std::string_view service,
                                                std::string_view account) {
    if (!available) throw KeyStoreUnavailable("The key store is locked.");
    const auto found = secrets_.find({std::string(service), std::string(account)});
    if (found == secrets_.end()) return std::nullopt;
    return found->second;
}

void MemoryKeyStore::write(std::string_view service, std::string_view account,
                           std::string_view secret) {
    if (!available) throw KeyStoreUnavailable("The key store is locked.");
    secrets_[{std::string(service), std::string(account)}] = secret;
}

void MemoryKeyStore::remove(std::string_view service, const std::vector<std::string>& accounts) {
    if (!available) throw KeyStoreUnavailable("The key store is locked.");
    for (const std::string& account : accounts) secrets_.erase({std::string(service), account});
}

bool RecordingLog::contains(std::string_view part) const {
    return std::any_of(lines.begin(), lines.end(), [part](const std::string& line) {
        return line.find(part) != std::string::npos;
    });
}

}  // namespace nookery::testing
