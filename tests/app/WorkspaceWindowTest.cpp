// A window of the smallest kind over a workspace, on the application's own event loop.

#include <gtest/gtest.h>

#include <QApplication>
#include <QLineEdit>
#include <QListWidget>
#include <QTest>
#include <QThread>
#include <QVBoxLayout>

#include "backends/StderrLog.h"
#include "backends/SystemPlatform.h"
#include "backends/desktop/QtMainQueue.h"
#include "platform/work/Coroutine.h"
#include "support/TemporaryDirectory.h"
#include "workspace/Workspace.h"

namespace nookery {
namespace {

/// A box to search in, and the titles of what it finds.
class SearchWindow : public QWidget {
  public:
    explicit SearchWindow(CrumbStore& store) : session_(store.newSearchSession()) {
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(&box);
        layout->addWidget(&titles);
        connect(&box, &QLineEdit::textEdited, this,
                [this](const QString& text) { session_->setText(text.toStdString()); });
        results_ = session_->result().subscribe([this](const SearchResultPointer& result) {
            if (!result->isFinal) return;
            titles.clear();
            for (const SearchHit& hit : result->hits) {
                titles.addItem(QString::fromStdString(hit.item->title));
            }
            if (whenShown) whenShown();
        });
        session_->setText("");
    }

    std::string shown() const {
        std::string text;
        for (int i = 0; i < titles.count(); ++i) text += titles.item(i)->text().toStdString() + ";";
        return text;
    }

    QLineEdit box;
    QListWidget titles;
    std::function<void()> whenShown;

  private:
    std::unique_ptr<SearchSession> session_;
    Subscription results_;
};

class WorkspaceWindow : public ::testing::Test {
  protected:
    /// The result, once the operation has ended; nobody waits in the event loop meanwhile.
    template <typename Result>
    Coroutine<Result> resultOf(OperationPointer<Result> operation) {
        Callback<Nothing> ended(platform.mainQueue,
                                [&](const std::function<void(Nothing)>& answer) {
                                    operation->whenEnded([answer] { answer({}); });
                                });
        co_await ended;
        EXPECT_EQ(QThread::currentThread()->loopLevel(), 1);
        co_return operation->outcome()->get();
    }
    /// Ends when the window shows these titles.
    Coroutine<> untilShown(SearchWindow& window, std::string titles) {
        if (window.shown() == titles) co_return;
        Callback<Nothing> there(platform.mainQueue,
                                [&](const std::function<void(Nothing)>& answer) {
                                    window.whenShown = [&window, titles, answer] {
                                        if (window.shown() == titles) answer({});
                                    };
                                });
        co_await there;
        window.whenShown = {};
    }
    Coroutine<> useTheWindow() {
        const auto opening = workspace.open(LibraryAccess::writing, SessionLength::lasting);
        co_await resultOf(opening);
        SearchWindow window(workspace.store());
        window.show();
        for (const char* text : {"Lemon cake", "Plum jam"}) {
            const auto adding = workspace.edits().add({.sources = {CaptureText{text, "typed"}}});
            co_await resultOf(adding);
        }
        QTest::keyClicks(&window.box, "lemon");
        co_await untilShown(window, "Lemon cake;");
        const Uuid id = workspace.store().items()->back()->id;
        const auto edit =
            workspace.edits().edit(id, {.title = TextPatch{"Lemon cake", "Lemon tart"}});
        co_await resultOf(edit);
        co_await untilShown(window, "Lemon tart;");
        const auto removal = workspace.edits().deleteMemories({id});
        co_await resultOf(removal);
        co_await untilShown(window, "");
        for (const char* title : {"Lemon tart;", "Lemon cake;"}) {
            const auto undoing = workspace.history().undo(Consent::none);
            co_await resultOf(undoing);
            co_await untilShown(window, title);
        }
        const auto closing = workspace.close();
        co_await resultOf(closing);
    }

    testing::TemporaryDirectory folder;
    StderrLog errors;
    ProblemLog log{errors};
    SystemPlatform system{{.configFolder = folder / "config",
                           .userData = folder / "share",
                           .programFolder = folder / "bin",
                           .keyStoreFile = folder / "keys"},
                          log,
                          makeQtMainQueue(log)};
    const Platform& platform = system.platform();
    Workspace workspace{platform, {folder / "data", folder / "cache"}, log};
};

TEST_F(WorkspaceWindow, SearchesEditsDeletesUndoesAndClosesInTheApplicationsOwnLoopAlone) {
    Coroutine<> use = useTheWindow();
    platform.mainQueue.async([&] { use.start([] { QCoreApplication::quit(); }); });
    QApplication::exec();
    use.result();
}

TEST_F(WorkspaceWindow, WorkThatNeverEndsLeavesRoomForInput) {
    int pieceCount = 0;
    std::function<void()> again = [&] {
        ++pieceCount;
        platform.mainQueue.async(again);
    };
    again();
    bool isCancelledDone = false;
    platform.mainQueue.after(WorkQueue::Delay(0.01), [&] { isCancelledDone = true; }).cancel();
    QLineEdit box;
    QObject::connect(&box, &QLineEdit::textEdited, [] { QCoreApplication::quit(); });
    platform.mainQueue.after(WorkQueue::Delay(0.03), [&] {
        QCoreApplication::postEvent(&box, new QKeyEvent(QEvent::KeyPress, Qt::Key_A, {}, "a"));
    });
    QApplication::exec();
    EXPECT_GT(pieceCount, 1);
    EXPECT_EQ(box.text(), "a");
    EXPECT_FALSE(isCancelledDone);
}

}  // namespace
}  // namespace nookery

int main(int argumentCount, char** arguments) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argumentCount, arguments);
    ::testing::InitGoogleTest(&argumentCount, arguments);
    return RUN_ALL_TESTS();
}
