#pragma once

#include "cli/NookeryProgram.h"
#include "foundation/Json.h"
#include "support/TemporaryDirectory.h"
#include "support/TestKeyring.h"

namespace nookery::testing {

/// The real program and the simulated phone, each a process of its own, with nothing between them
/// but a cloud drive's folder and the key store.
class Conversation {
  public:
    /// Keys in a file.
    Conversation();
    /// Keys in a real keyring, which outlives this.
    explicit Conversation(const TestKeyring& keyring);

    Outcome nookery(const std::vector<std::string>& arguments) const;
    /// Demands success.
    Json nookeryJson(std::vector<std::string> arguments) const;
    std::unique_ptr<NookeryProgram::Running> startNookery(
        const std::vector<std::string>& arguments) const;

    Outcome phone(const std::vector<std::string>& arguments) const;
    /// Demands success.
    Json phoneJson(const std::vector<std::string>& arguments) const;

    /// Adds a note; answers with its id.
    std::string addNote(const std::string& title, const std::string& text) const;
    /// The memory in what the phone sees; null when it is not there.
    Json seenByPhone(const std::string& id) const;
    /// Has the phone ask for a change and the program look; answers with the receipt.
    Json editAndAnswer(const std::vector<std::string>& edit) const;

    Path documents() const { return cloud_ / "iCloud.com.kestrel.Nookery/Documents"; }
    Path memories() const { return documents() / "NookerySecureSyncV1/MemoriesV1"; }
    Path edits() const { return documents() / "NookerySecureSyncV1/EditsV1"; }
    const TemporaryDirectory& cloud() const { return cloud_; }
    const NookeryProgram& program() const { return nookery_; }

  private:
    TemporaryDirectory cloud_;
    NookeryProgram nookery_;
    NookeryProgram phone_;
    std::string keyStore_;
    RunOptions options_;
};

}  // namespace nookery::testing
