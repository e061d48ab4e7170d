#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "platform/KeyStore.h"

namespace nookery {

/// Secrets that last as long as the program runs.
class MemoryKeyStore final : public KeyStore {
  public:
    std::optional<std::string> read(std::string_view service, std::string_view account) override;
    void write(std::string_view service, std::string_view account,
               std::string_view secret) override;
    void remove(std::string_view service, std::string_view account) override;

  private:
    std::mutex mutex_;
    std::map<std::pair<std::string, std::string>, std::string> secrets_;
};

}  // namespace nookery
