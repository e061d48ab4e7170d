#include <gtest/gtest.h>

#include "cli/NookeryProgram.h"

namespace nookery {
namespace {

using testing::NookeryProgram;
using testing::Outcome;

class HistoryCommand : public ::testing::Test {
  protected:
    std::string titleOf(const std::string& id) { return nookery.json({"show", id}).at("title"); }

    NookeryProgram nookery;
};

TEST_F(HistoryCommand, WhatWasDoneIsTakenBackAndMadeAgainAcrossRuns) {
    nookery.home.write("cake.txt", "Lemon, sugar, flour\n");
    const Json added = nookery.json({"add", "cake.txt", "--tag", "baking"}).at("added").at(0);
    const std::string id = added.at("id");
    nookery.json({"edit", id, "--title", "Lemon cake"});
    nookery.json({"tag", id, "--add", "sweet", "--remove", "baking"});
    nookery.json({"delete", id, "--yes"});
    EXPECT_EQ(nookery.json({"list"}).at("count"), 0);

    const Json steps = nookery.json({"undo", "--list"}).at("steps");
    ASSERT_EQ(steps.size(), 4u) << steps;
    EXPECT_EQ(steps[0].at("name"), "Delete \"Lemon cake\"");
    EXPECT_EQ(steps[3].at("state"), "done");

    const Json undone = nookery.json({"undo"});
    EXPECT_EQ(undone.at("undone").at("name"), "Delete \"Lemon cake\"");
    EXPECT_EQ(undone.at("left"), 3);
    const Json back = nookery.json({"list", "--tag", "sweet"}).at("items").at(0);
    EXPECT_EQ(back.at("id"), id);
    EXPECT_EQ(nookery.home.read(".local/share/Crumb/Items/cake.txt"), "Lemon, sugar, flour\n");
    EXPECT_EQ(nookery.json({"search", "flour"}).at("total"), 1);

    nookery.json({"undo"});
    nookery.json({"undo"});
    EXPECT_EQ(titleOf(id), "cake");
    EXPECT_EQ(nookery.json({"redo"}).at("redone").at("name"), "Edit \"cake\"");
    EXPECT_EQ(titleOf(id), "Lemon cake");
    EXPECT_EQ(nookery.json({"verify"}).at("ok"), true);
}

TEST_F(HistoryCommand, AsksBeforeSomethingIsLostAndSaysWhenThereIsNothing) {
    const std::string id = nookery.json({"add", "--text", "first"}).at("added").at(0).at("id");
    nookery.json({"edit", id, "--note", "mine"});
    nookery.json({"undo"});
    // Somebody else's change of what the next step would take away.
    nookery.json({"edit", id, "--note", "later"});
    const Outcome none = nookery.run({"redo"});
    EXPECT_EQ(none.status, 1);
    EXPECT_NE(none.error.find("nothing"), std::string::npos) << none.error;
    EXPECT_EQ(nookery.json({"problems"}).at("problems").size(), 0u);
    EXPECT_EQ(nookery.run({"problems", "--dismiss", "0123456789"}).status, 1);
}

}  // namespace
}  // namespace nookery
