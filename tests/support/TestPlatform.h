#pragma once

#include <functional>
#include <memory>

#include "platform/ContentDigest.h"
#include "platform/ContentType.h"
#include "platform/DocumentReader.h"
#include "platform/LocalSocket.h"
#include "platform/Platform.h"
#include "platform/PropertyListFormat.h"
#include "platform/TextEmbedder.h"
#include "platform/work/Operation.h"
#include "records/LibraryLayout.h"
#include "support/FakeEncryption.h"
#include "support/FakeInboxWorld.h"
#include "support/FakePdfWriter.h"
#include "support/FakeRecognition.h"
#include "support/FaultyFileSystem.h"
#include "support/TemporaryDirectory.h"
#include "support/VirtualWorld.h"

namespace nookery::testing {

/// Four independent 64-bit sums: no two of a test's files share a digest by chance.
class FakeDigester final : public ContentDigester {
  public:
    /// Runs before the bytes of a file are read, and so in the middle of the work on many.
    std::function<void()> beforeDigesting;

    std::unique_ptr<Sha256Stream> sha256() const override;
};

/// Knows PNG by its first bytes, PDF, films, HTML, Markdown and text by the name's extension.
class FakeContentTypes final : public ContentTypeDetector {
  public:
    /// Runs while a file is being looked at, and so in the middle of its copying.
    std::function<void()> beforeDetecting;

    ContentType detect(std::string_view head, const Path& name) const override;
};

/// Reads "application/x-test-document": the file's bytes are its text; "damaged" cannot be read.
class FakeDocuments final : public DocumentReader {
  public:
    bool canRead(const ContentType& type) const override;
    DocumentText read(const Path& path, const ContentType& type, const DocumentLimits& limits,
                      std::stop_token stop) const override;
};

/// Property lists as JSON: enough to see that what was written comes back.
class FakePropertyLists final : public PropertyListFormat {
  public:
    std::string write(const PropertyList& list) const override;
    PropertyList read(const std::string& xml) const override;
};

/// Moves into a folder beside the library.
class FolderTrash final : public Trash {
  public:
    explicit FolderTrash(Path folder) : folder_(std::move(folder)) {}
    Path moveToTrash(const Path& path) override;
    std::vector<Path> placesOf(const Path& original) override;
    void putBack(const Path& place, const Path& destination) override;

    bool isFull = false;  ///< while true, nothing goes there
    /// Runs before each move to the trash and out of it, and may make it fail.
    std::function<void()> beforeMoving;

  private:
    Path folder_;
    std::vector<std::pair<Path, Path>> moved_;  ///< from, to
};

/// Nobody can be met.
class NoSockets final : public LocalSockets {
  public:
    std::unique_ptr<LocalListener> listen(const Path& place, Accepted) override {
        throw FileError("listen at", place, EACCES);
    }
};

/// One dimension for each of a few word stems: texts that share one are alike.
class FakeEmbedder final : public TextEmbedder {
  public:
    std::string modelName() const override { return "test-embedder-1"; }
    std::size_t dimension() const override;
    std::optional<std::vector<float>> embedMemory(std::string_view text) const override;
    std::optional<std::vector<float>> embedQuery(std::string_view text) const override {
        return embedMemory(text);
    }
};

/// The queues of a platform.
struct TestQueues {
    WorkQueue& main;
    WorkQueue& snapshots;
    WorkQueue& capture;
    WorkQueue& inbox;
    WorkQueue& search;
    WorkQueue& enrich;
    WorkQueue& link;
    WorkQueue& files;
};

/// A whole world for one library in a temporary folder, on virtual time, with a file system whose
/// operations can be made to fail. Settle `time` to let queued work run.
class TestPlatform {
  public:
    explicit TestPlatform(Place place = Place::disk);

    Platform platform();
    /// The same on queues of the test's own, and on a file system without faults.
    Platform platformOn(const TestQueues& queues);
    LibraryLayout layout() const { return {folder / "data", folder / "cache"}; }

    /// Lets the operation run to its end, and answers its result. Throws what it failed with, and
    /// Cancelled when it was stopped.
    template <typename Result>
    Result resultOf(const OperationPointer<Result>& operation) {
        time.settle();
        if (!operation->isFinished()) throw std::logic_error("the operation does not end");
        return operation->outcome()->get();
    }

    TemporaryDirectory folder;
    std::unique_ptr<FileSystem> realFiles = makePosixFileSystem();
    FaultyFileSystem files{*realFiles};
    VirtualTime time;
    VirtualQueue mainQueue{time};
    VirtualQueue snapshotQueue{time};
    VirtualQueue captureQueue{time};
    VirtualQueue inboxQueue{time};
    VirtualQueue searchQueue{time};
    VirtualQueue enrichQueue{time};
    VirtualQueue linkQueue{time};
    VirtualQueue filesQueue{time};
    MemoryDefaults defaults;
    MemoryKeyStore keyStore;
    RecordingLog log;
    FolderTrash trash;
    FakeDigester digester;
    FakeEncryption encryption;
    FakeContentTypes contentTypes;
    FakeDocuments documents;
    FakePages pages;
    FakeImages images;
    FakePictureEncoder pictureEncoder;
    FakeMedia media;
    FakeTextRecognizer textRecognizer;
    FakePropertyLists propertyLists;
    FakePdfWriter pdf;
    FakeDirectoryEvents directoryEvents{files};
    FakeCloud cloud;
    NoSockets localSockets;
    FakeEmbedder fakeEmbedder;
    WebFetcher* web = nullptr;
    const TextEmbedder* embedder = nullptr;  ///< set to &fakeEmbedder to find by meaning

  private:
    Platform platformOn(const TestQueues& queues, FileSystem& fileSystem);
};

}  // namespace nookery::testing
