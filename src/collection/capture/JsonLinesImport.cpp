#include "collection/capture/JsonLinesImport.h"

namespace nookery {
namespace {

constexpr std::size_t batchSize = 1000;

struct Batch {
    std::vector<NewMemory> memories;
    std::vector<ImportFailure> failures;
    bool isLast = false;
};

Batch readBatch(JsonLinesReader& reader, const OperationControl& control) {
    Batch batch;
    while (batch.memories.size() < batchSize && !control.isStopRequested()) {
        auto next = reader.next();
        batch.isLast = !next;
        if (!next) break;
        if (auto* failure = std::get_if<ImportFailure>(&*next)) {
            batch.failures.push_back(std::move(*failure));
        } else {
            auto& imported = std::get<ImportedMemory>(*next);
            batch.memories.push_back({std::move(imported.item), std::move(imported.tags)});
        }
    }
    return batch;
}

/// One import on its way. While a batch is committed, the next one is read.
class Import : public std::enable_shared_from_this<Import> {
  public:
    Import(const Platform& platform, Library& library, std::unique_ptr<ReadableFile> file,
           BeforeCommit beforeCommit)
        : platform_(platform),
          library_(library),
          beforeCommit_(std::move(beforeCommit)),
          reader_(std::make_shared<JsonLinesReader>(std::move(file), platform.clock)),
          operation_(Operation<ImportReport>::create(platform.mainQueue)) {}

    const OperationPointer<ImportReport>& operation() const { return operation_; }

    void readNext() {
        isReading_ = true;
        Task::run(
            platform_.captureQueue, platform_.mainQueue,
            [reader = reader_, control = operation_->control()] {
                return readBatch(*reader, control);
            },
            [self = shared_from_this()](Outcome<Batch> outcome) {
                self->isReading_ = false;
                if (const Failure* failure = outcome.failure()) {
                    self->failure_ = *failure;
                } else if (outcome.isDone()) {
                    self->read_ = std::move(outcome.get());
                }
                self->goOn();
            });
    }

  private:
    void goOn() {
        if (isReading_ || isCommitting_) return;
        if (failure_) return operation_->finish(Outcome<ImportReport>::failed(*failure_));
        const Batch batch = std::move(read_);
        read_ = {};
        report_.failures.insert(report_.failures.end(), batch.failures.begin(),
                                batch.failures.end());
        const bool isStopped = operation_->control().isStopRequested();
        isEnding_ = batch.isLast || isStopped;
        report_.cancelled = isStopped && !batch.isLast;
        // Before the commit, which may end at once.
        if (!isEnding_) readNext();
        if (!batch.memories.empty()) return commit(batch.memories);
        if (isEnding_) finish();
    }

    void commit(const std::vector<NewMemory>& memories) {
        if (SaveFailure failure = tellBeforeCommit(beforeCommit_, memories)) {
            failure_ = Failure{failure.message(), failure.advice(), {}};
            return goOn();
        }
        isCommitting_ = true;
        library_.add(memories, [self = shared_from_this(),
                                count = memories.size()](const Library::Committed& committed) {
            self->isCommitting_ = false;
            const SaveFailure& problem = committed.problem;
            if (problem) self->failure_ = Failure{problem.message(), problem.advice(), {}};
            if (committed.isKept) self->report_.addedCount += count;
            self->operation_->control().report({"memories in", self->report_.addedCount, 0});
            if (self->isEnding_ && !self->failure_) return self->finish();
            self->goOn();
        });
    }

    void finish() { operation_->finish(Outcome<ImportReport>::done(std::move(report_))); }

    Platform platform_;
    Library& library_;
    BeforeCommit beforeCommit_;
    std::shared_ptr<JsonLinesReader> reader_;
    OperationPointer<ImportReport> operation_;
    ImportReport report_;
    Batch read_;
    std::optional<Failure> failure_;
    bool isReading_ = false;
    bool isCommitting_ = false;
    bool isEnding_ = false;
};

}  // namespace

OperationPointer<ImportReport> startImport(const Platform& platform, Library& library,
                                           std::unique_ptr<ReadableFile> file,
                                           BeforeCommit beforeCommit) {
    const auto import =
        std::make_shared<Import>(platform, library, std::move(file), std::move(beforeCommit));
    import->readNext();
    return import->operation();
}

}  // namespace nookery
