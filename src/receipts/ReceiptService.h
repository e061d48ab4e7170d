#pragma once

#include <functional>
#include <map>
#include <set>
#include <stop_token>
#include <string>
#include <vector>

#include "foundation/Published.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"
#include "receipts/CrumbReceiptRecognizer.h"
#include "receipts/CrumbReceiptStore.h"
#include "receipts/ReceiptList.h"
#include "receipts/ReceiptOriginals.h"
#include "records/CrumbItem.h"
#include "records/SaveFailure.h"

namespace nookery {

/// A file to take in as a receipt.
struct ReceiptSource {
    Path file;
    std::string name;  ///< as it is told back: what the person gave
    std::optional<Uuid> crumbID{};
};

/// The file of a memory, for its receipt. Throws Error unless the memory is an image or a PDF.
ReceiptSource receiptSourceOf(const CrumbItem& memory, const Platform& platform);

struct ReceiptImport {
    struct Failure {
        std::string source;
        std::string message;
    };
    ReceiptList added;
    std::vector<Failure> failed;
    /// Added receipts whose file an earlier one has already, with that one's id: totals count both.
    std::map<Uuid, Uuid> sameFileAs;
};

/// What a window or a command does with receipts: takes files in, has them read in the background,
/// and keeps the published list and the database in step. The library's lock is the caller's to
/// hold when it opens for writing. Messages of errors are whole sentences for the person. Main
/// thread.
class ReceiptService {
  public:
    /// Records the digest of a preserved copy. Answers what was recorded before of the same
    /// content, for receipts and memories.
    using RecordOriginal = std::function<std::vector<OriginalFact>(const OriginalFact&)>;

    /// Told of a record that is about to be added. With a failure it is not.
    using BeforeAdd = std::function<SaveFailure(const CrumbReceipt&)>;

    ReceiptService(const Platform& platform, LibraryLayout layout, RecordOriginal recordOriginal);
    ~ReceiptService();

    /// Opens the database and loads the list. Throws Error.
    void open();
    /// As `open`, without changing anything. False when there is no database yet, or only an older
    /// one that `open` must bring up to date.
    bool openForReading();

    const Published<ReceiptList>& receipts() const { return receipts_; }
    /// Receipts whose text is being recognised, or is about to be.
    const Published<std::set<Uuid>>& beingRead() const { return beingRead_; }
    /// Why a receipt could not be read, by id, since the start.
    const Published<std::map<Uuid, std::string>>& recognitionMessages() const {
        return recognitionMessages_;
    }
    ReceiptPointer find(const Uuid& id) const;  ///< null when there is none

    /// Built-in ones, then the user's own, each name once.
    std::vector<std::string> categories();
    void addCategory(const std::string& name);
    /// One that the user added; receipts that have it keep it.
    void removeCategory(const std::string& name) { store_.removeCategory(name); }

    /// Copies each file, adds its record and begins to read it. A file that cannot be taken in
    /// stops no other. An import that is asked to stop is done with what was added until then; one
    /// whose service goes ends as stopped. The reading goes on after the import: see `beingRead`.
    OperationPointer<ReceiptImport> import(std::vector<ReceiptSource> sources,
                                           BeforeAdd beforeAdd = {});

    /// Saves an edited record: the merchant trimmed, a blank one absent, the time of modification
    /// set. Throws Error, and the list stays as it was.
    void save(CrumbReceipt edited);
    /// Removes the record; its preserved file stays. Throws Error.
    void remove(const Uuid& id);

  private:
    struct Import;

    void importNext(const std::shared_ptr<Import>& import);
    void takeOver(Import& import, const ReceiptSource& source,
                  const Outcome<PreservedReceipt>& preserved);
    void add(Import& import, const ReceiptSource& source, const PreservedReceipt& preserved);
    void recordOriginal(Import& import, const Uuid& id, OriginalFact fact);
    void read(const CrumbReceipt& receipt, const std::string& name);
    void merge(const Uuid& id, const CrumbReceiptRecognizer::Result& result);
    void tellProblem(const Uuid& id, const std::string& failure);
    void finishReading(const Uuid& id, const std::string& failure);
    void put(CrumbReceipt receipt);

    Platform platform_;
    LibraryLayout layout_;
    RecordOriginal recordOriginal_;
    CrumbReceiptStore store_;
    Published<ReceiptList> receipts_;
    Published<std::set<Uuid>> beingRead_;
    Published<std::map<Uuid, std::string>> recognitionMessages_;
    std::stop_source stop_;
    CallbackGuard guard_;
};

}  // namespace nookery
