#include <fmt/format.h>
#include <gtest/gtest.h>

#include <set>

#include "foundation/SqliteStatement.h"
#include "workspace/WorkspaceWorld.h"

namespace nookery {
namespace {

using testing::WorkspaceWorld;

/// All that is kept of a library, ids replaced by titles: what it says, its history, the work that
/// waits, the facts about originals, and what lies in the settings.
std::string allOf(WorkspaceWorld& library) {
    library.restart();
    std::string text = library.says();
    std::map<std::string, std::string> titles;
    for (const auto& item : *library.store->items()) titles[item->id.toString()] = item->title;
    for (const auto& step : library.history->steps()) {
        text += fmt::format("step {} {}\n", step.name, step.changeCount);
    }
    std::multiset<std::string> lines;
    for (const auto& work : library.store->sidecar().pendingWork()) {
        lines.insert(fmt::format("work {} {}\n", work.task, titles[work.memoryID.toString()]));
    }
    for (const auto& fact : library.store->sidecar().originals()) {
        lines.insert(fmt::format("original {} {} {}\n", fact.relativePath.native(),
                                 titles[fact.memoryID.toString()], fact.byteCount));
    }
    for (const std::string& key : library.world.defaults.keys()) {
        for (const auto& entry : library.world.defaults.entries(key)) {
            lines.insert(fmt::format("{} {} {}\n", key, titles[entry.name], entry.json));
        }
    }
    for (const std::string& line : lines) text += line;
    return text;
}

/// What a person does in a year, each deed by a program of its own.
class Deeds {
  public:
    explicit Deeds(LibraryExtent extent) : extent_(extent) {}

    std::string run() {
        fill();
        changeFields();
        groupThem();
        removeSome();
        undoAndRedo();
        return allOf(library_);
    }

  private:
    /// The edits of a program that has just opened the library.
    Edits& anew() {
        library_.world.time.advance(60);
        library_.restart(extent_);
        return *library_.edits;
    }
    template <typename Result>
    Result wait(const OperationPointer<Result>& operation) {
        return library_.wait(operation);
    }
    Uuid add(CaptureRequest request) { return wait(anew().add(std::move(request))).added.at(0); }

    void fill() {
        cake_ = library_.addNote("Cake #baking", "two eggs");
        library_.world.time.advance(1);
        secret_ = library_.addNote("Secret", "__crumb_secure__");
        CrumbItem derived;
        derived.id = Uuid::random();
        derived.title = "Made from it";
        derived.sourceItemID = secret_;
        derived.createdAt = Timestamp{1e9};
        library_.bringIn(derived);
        anew();
        letter_ = library_.addFile("letter.txt", "Dear all");
        bread_ = add({.sources = {CaptureText{"Bread\nwith rye", "text"}}, .tags = {"Baking"}});
        link_ = add({.sources = {CaptureLink{"https://example.org/a", false}}});
        EXPECT_EQ(duplicatesOf("HTTPS://example.org/a"), 1U) << "a link that is there";
    }
    std::size_t duplicatesOf(const std::string& link) {
        return wait(anew().add({.sources = {CaptureLink{link, false}}})).duplicates.size();
    }

    void changeFields() {
        wait(anew().edit(cake_, {.title = TextPatch{"Cake #baking", "Lemon cake"},
                                 .text = TextPatch{"two eggs", "three eggs"}}));
        wait(anew().tag({cake_, bread_}, {.added = {"sweet", "Yellow"}}));
        wait(anew().tag({bread_}, {.removed = {"yellow"}}));
        wait(anew().setBringBack({cake_, letter_}, Timestamp{4e9}));
        anew();
        library_.store->memoryEdits().recordSelection(
            letter_, [](const SaveFailure& failure) { failure.throwIfFailed(); });
        library_.world.time.settle();
    }

    void groupThem() {
        const Uuid recipes = wait(anew().createGroup("Recipes"));
        wait(anew().assign({cake_, bread_, link_}, recipes));
        wait(anew().renameGroup(recipes, "Kitchen"));
        wait(anew().assign({link_}, std::nullopt));
        const Uuid letters = wait(anew().createGroup("Letters"));
        wait(anew().assign({letter_}, letters));
        wait(anew().deleteGroup(letters));
    }

    void removeSome() {
        EXPECT_EQ(wait(anew().deleteMemories({letter_, secret_})).count, 2U);
        EXPECT_THROW(wait(anew().deleteMemories({secret_})), Error) << "it is gone";
    }

    void undoAndRedo() {
        const auto undo = [&](Consent consent = Consent::given) {
            anew();
            wait(library_.history->undo(consent));
        };
        undo();  // the letter is back, the protected one stays away
        undo();  // and its group
        undo();
        anew();
        wait(library_.history->redo(Consent::given));
        EXPECT_EQ(library_.contentOf(letter_), "Dear all");
    }

    LibraryExtent extent_;
    WorkspaceWorld library_;
    Uuid cake_, bread_, link_, letter_, secret_;
};

TEST(OnDemand, EveryDeedLeavesWhatItLeavesInAWholeLibrary) {
    const std::string whole = Deeds(LibraryExtent::index).run();
    EXPECT_EQ(Deeds(LibraryExtent::onDemand).run(), whole);
    EXPECT_EQ(Deeds(LibraryExtent::records).run(), whole);
    EXPECT_NE(whole.find("Lemon cake"), std::string::npos) << whole;
}

/// Answers to all questions, as one text.
std::string answersOf(const CrumbStore& store, const std::vector<Uuid>& ids, const Uuid& group) {
    const MemoryQueries& queries = store.queries();
    std::string text = fmt::format("{} memories\n", queries.count());
    for (const ItemFilter& filter :
         {ItemFilter{}, ItemFilter{.kind = CrumbKind::url}, ItemFilter{.groupID = group},
          ItemFilter{.kind = CrumbKind::text, .groupID = group}}) {
        const NewestMemories newest = queries.newest(filter, 7);
        text += fmt::format("of {}:", newest.totalCount);
        for (const auto& item : newest.items) {
            text += " " + item->title + store.groupNameOf(*item);
            for (const auto& tag : store.tagsOf(item->id)) text += "#" + tag;
        }
        text += '\n';
    }
    for (const std::string prefix :
         {"", "1", "10", "10000000-0000-4000-8000-00000000000", "F", "Z"}) {
        text += prefix + ":";
        for (const Uuid& id : queries.idsBeginningWith(prefix, 3)) text += " " + id.toString();
        text += '\n';
    }
    text += fmt::format("{} in the group", queries.groupSizes().at(group));
    for (const Uuid& id : queries.membersOf(group)) text += " " + id.toString();
    const auto attached = store.annotations().of({ids.begin(), ids.end()});
    for (const Uuid& id : ids) {
        const auto found = attached.find(id);
        if (found == attached.end()) continue;
        text += fmt::format("\n{} {} {}", id.toString(), found->second.manualTags.size(),
                            found->second.usage ? found->second.usage->selectionCount : 0);
    }
    return text;
}

class OnDemandQueries : public ::testing::Test {
  protected:
    void fill() {
        library_.wait(library_.edits->createGroup("Recipes"));
        group_ = library_.store->groups()->front().id;
        for (int i = 0; i < 20; ++i) {
            CrumbItem item;
            item.id =
                *Uuid::parse(fmt::format("{:X}0000000-0000-4000-8000-0000000000{:02}", i % 7, i));
            item.title = fmt::format("memory {}{}", i, i % 5 == 0 ? " #fifth" : "");
            item.kind = i % 3 == 0 ? CrumbKind::url : CrumbKind::text;
            item.createdAt = Timestamp{1.7e9 + i / 3};  // some at the same moment
            if (i % 2 == 0) item.groupID = group_;
            library_.bringIn(item);
            ids_.push_back(item.id);
        }
        library_.wait(library_.edits->tag({ids_[3], ids_[19]}, {.added = {"Green", "blue"}}));
        const auto done = [](const SaveFailure& failure) { failure.throwIfFailed(); };
        library_.store->memoryEdits().recordSelection(ids_[3], done);
        library_.world.time.settle();
    }
    std::string answers() { return answersOf(*library_.store, ids_, group_); }

    WorkspaceWorld library_;
    std::vector<Uuid> ids_;
    Uuid group_;
};

TEST_F(OnDemandQueries, AreAnsweredAsByAWholeLibrary) {
    fill();
    const std::string whole = answers();
    library_.restart(LibraryExtent::onDemand);
    EXPECT_EQ(answers(), whole);
    const auto around = library_.store->queries().idsAround(std::vector{ids_[8]});
    EXPECT_EQ(around, (std::vector{ids_[1], ids_[8], ids_[15]})) << "its neighbours";
}

TEST_F(OnDemandQueries, WhatIsNotLoadedIsNeverTakenForAnEmptyLibrary) {
    fill();
    library_.restart(LibraryExtent::onDemand);
    CrumbStore& store = *library_.store;
    EXPECT_THROW(static_cast<void>(*store.items()), std::logic_error);
    EXPECT_THROW(static_cast<void>(*store.richTextByID()), std::logic_error);
    EXPECT_THROW(static_cast<void>(store.annotations().usageSignals()), std::logic_error);
    EXPECT_THROW(store.enrichment(), std::logic_error);
    library_.restart(LibraryExtent::records);
    EXPECT_EQ(library_.store->items()->size(), ids_.size());
    EXPECT_THROW(library_.store->search(), std::logic_error);
    EXPECT_THROW(static_cast<void>(library_.store->retrieval()), std::logic_error);
    EXPECT_THROW(library_.store->newSearchSession(), std::logic_error);
}

TEST_F(OnDemandQueries, AnIndexForFewSearchesFindsWhatTheWholeOneFinds) {
    fill();
    for (const char* text : {"a boat on the lake at dawn", "the boat on the lake at dusk",
                             "boats and lakes, early", "lemon cake"}) {
        ids_.push_back(library_.addNote(text, std::string(text) + " with seven more words in it"));
    }
    const auto found = [&] {
        CrumbStore& store = *library_.store;
        std::string text;
        for (const Uuid& id : ids_) {
            for (const Uuid& other : store.retrieval().related(id)) text += other.toString();
            text += '\n';
        }
        for (const char* typed : {"boat", "lak", "baot", "fifth", "#green", "e"}) {
            store.search().setText(typed);
            library_.world.time.settle();
            for (const SearchHit& hit : (*store.searchResult())->hits) {
                text += fmt::format("{} {:a} {}, ", hit.item->title, hit.score, hit.hint);
            }
            text += '\n';
        }
        return text;
    };
    library_.restart();
    const std::string whole = found();
    library_.restart(LibraryExtent::fewSearches);
    EXPECT_EQ(found(), whole);
    EXPECT_THROW(library_.store->enrichment(), std::logic_error) << "its backlog is not known";
}

TEST_F(OnDemandQueries, RowsThatOthersSpelledOtherwiseAreLoaded) {
    fill();
    const std::string whole = answers();
    for (const char* change :
         {"UPDATE crumbs SET id = lower(id) WHERE title LIKE 'memory 4%';",
          "UPDATE crumbs SET kind = 'hologram' WHERE title LIKE 'memory 7%';"}) {
        library_.end();
        {
            auto other = SqliteConnection::open(library_.world.layout().database(),
                                                SqliteAccess::readWriteCreate);
            other.execute(change);
        }
        library_.start();
        const std::string expected = answers();
        library_.restart(LibraryExtent::onDemand);
        EXPECT_EQ(answers(), expected);
    }
    EXPECT_NE(answers(), whole) << "a row that is no memory is left out";
}

}  // namespace
}  // namespace nookery
