#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "cli/NookeryProgram.h"

namespace nookery {
namespace {

namespace fs = std::filesystem;
using testing::NookeryProgram;
using testing::Outcome;

/// A PDF of one page with the given lines printed below each other.
std::string printedPage(const std::vector<std::string>& lines) {
    std::string drawing = "BT /F1 22 Tf 60 740 Td 34 TL\n";
    for (const std::string& line : lines) drawing += "(" + line + ") Tj T*\n";
    drawing += "ET\n";
    const std::string objects[] = {
        "<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 4 0 R "
        "/Resources << /Font << /F1 5 0 R >> >> >>",
        fmt::format("<< /Length {} >>\nstream\n{}endstream", drawing.size(), drawing),
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"};
    std::string pdf = "%PDF-1.4\n";
    std::string table = "0000000000 65535 f \n";
    int number = 0;
    for (const std::string& object : objects) {
        table += fmt::format("{:010} 00000 n \n", pdf.size());
        pdf += fmt::format("{} 0 obj\n{}\nendobj\n", ++number, object);
    }
    return pdf + fmt::format("xref\n0 6\n{}trailer << /Size 6 /Root 1 0 R >>\nstartxref\n{}\n%%EOF",
                             table, pdf.size());
}

std::string contentOf(const Path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class ReceiptsCommand : public ::testing::Test {
  protected:
    ReceiptsCommand() {
        nookery.home.write("bakery.pdf",
                           printedPage({"Blue Door Bakery", "12 Mill Lane", "03/14/2026",
                                        "Sourdough 20.50", "TOTAL $22.14"}));
        fs::create_directories(nookery.home / "out");
    }

    NookeryProgram nookery;
    std::string bakery = (nookery.home / "bakery.pdf").native();
    std::string out = (nookery.home / "out").native();
};

TEST_F(ReceiptsCommand, AReceiptBecomesTheAccountantsRowInThreeCommands) {
    const Json added = nookery.json({"receipts", "import", bakery})["added"];
    ASSERT_EQ(added.size(), 1u);
    EXPECT_EQ(added[0]["merchant"], "Blue Door Bakery") << added;
    EXPECT_EQ(added[0]["purchaseDate"], "2026-03-14");
    EXPECT_EQ(added[0]["totalCents"], 2214);
    EXPECT_EQ(added[0]["needsReview"], true);
    const std::string id = added[0]["id"];
    nookery.json({"receipts", "edit", id.substr(0, 8), "--class", "business", "--unflag",
                  "--amount", "$1,234.5", "--category", "meals"});
    const Json exported = nookery.json({"receipts", "export", out});
    EXPECT_EQ(exported["originalsCopied"], 1);
    EXPECT_EQ(exported["needReview"], 0);
    const Path folder = exported["path"].get<std::string>();
    const std::string csv = contentOf(folder / "Receipts-Transactions.csv");
    EXPECT_NE(csv.find("\"" + id + "\",\"2026-03-14\","), std::string::npos) << csv;
    EXPECT_NE(csv.find("\"Blue Door Bakery\",\"Purchase\",\"Business\",\"Meals\",\"1234.50\","
                       "\"Yes\",\"No\",\"\",\"Original-Receipts/2026-03-14_Blue-Door-Bakery_" +
                       id.substr(0, 8) + ".pdf\",\"1234.50\"\r\n"),
              std::string::npos)
        << csv;
    EXPECT_EQ(contentOf(folder / "Receipts-Accountant-Report.pdf").substr(0, 5), "%PDF-");

    const Json read = nookery.json({"receipts", "recognize", bakery});
    EXPECT_EQ(read["result"]["totalCents"], 2214);
    EXPECT_EQ(read["lines"][read["result"]["totalLines"][0].get<std::size_t>()]["text"],
              "TOTAL $22.14");
    const Json again = nookery.json({"receipts", "show", id, "--reading"});
    EXPECT_EQ(again["totalCents"], 123450);
    EXPECT_EQ(again["reading"], read);
    const std::string shown = nookery.run({"receipts", "show", id, "--reading"}).out;
    EXPECT_NE(shown.find("\ntotal: $22.14, from \"TOTAL $22.14\"\n"), std::string::npos) << shown;
}

TEST_F(ReceiptsCommand, EachChangeIsAStepThatUndoTakesBackAndRedoMakesAgain) {
    const std::string id = nookery.json({"receipts", "import", bakery})["added"][0]["id"];
    const Json read = nookery.json({"receipts", "show", id});
    nookery.json({"receipts", "categories", "--add", "Bread"});
    nookery.json({"receipts", "edit", id, "--category", "bread", "--amount", "20"});
    const Json edited = nookery.json({"receipts", "show", id});
    EXPECT_EQ(edited["category"], "Bread");
    nookery.json({"receipts", "remove", id, "--yes"});
    std::vector<std::string> undone;
    for (int i = 0; i < 4; ++i) undone.push_back(nookery.json({"undo"})["undone"]["name"]);
    EXPECT_EQ(undone, (std::vector<std::string>{"Remove receipt \"Blue Door Bakery\"",
                                                "Edit receipt \"Blue Door Bakery\"",
                                                "Add category \"Bread\"", "Import 1 receipt"}));
    EXPECT_EQ(nookery.json({"receipts", "list"})["count"], 0);
    nookery.json({"redo"});
    Json back = nookery.json({"receipts", "show", id});
    back["modifiedAt"] = read["modifiedAt"];
    EXPECT_EQ(back, read);
    nookery.json({"redo"});
    nookery.json({"redo"});
    EXPECT_EQ(nookery.json({"receipts", "show", id})["totalCents"], 2000);
}

TEST_F(ReceiptsCommand, RefusesWhatItMustInOneLine) {
    const auto failure = [this](const std::vector<std::string>& words, int status = 1) {
        const Outcome outcome = nookery.run(words);
        EXPECT_EQ(outcome.status, status) << words.back() << outcome.error;
        return outcome.error;
    };
    EXPECT_NE(failure({"receipts", "list"}).find("There is no library in"), std::string::npos);
    nookery.home.write("bad.pdf", "%PDF-1.7 torn");
    nookery.home.write("empty.jpg", "");
    const Json kept = nookery.json({"receipts", "import", (nookery.home / "bad.pdf").native()});
    EXPECT_NE(kept["added"][0]["recognitionMessage"].get<std::string>().find(
                  "Receipt saved, but recognition could not begin: "),
              std::string::npos);
    EXPECT_NE(failure({"receipts", "import", (nookery.home / "empty.jpg").native()})
                  .find("Unable to import receipt: "),
              std::string::npos);
    const std::string id = kept["added"][0]["id"];
    const Json twice = nookery.json({"receipts", "import", (nookery.home / "bad.pdf").native()});
    EXPECT_EQ(twice["added"][0]["sameFileAs"], id);
    EXPECT_EQ(failure({"receipts", "edit", id, "--amount", "-1"}),
              "nookery: Enter a valid, non-negative dollar amount.\n");
    EXPECT_EQ(failure({"receipts", "edit", id, "--amount", "99999999999999999999"}),
              "nookery: This amount is too large.\n");
    failure({"receipts", "edit", id, "--date", "2026-02-30"}, 2);
    failure({"receipts", "edit", id, "--category", "no such"});
    failure({"receipts", "remove", id}, 2);
    EXPECT_EQ(failure({"receipts", "export", (nookery.home / "nowhere").native()}),
              "nookery: Unable to Export Receipts: Choose an existing folder for the Receipts "
              "export.\n");
    EXPECT_EQ(nookery.json({"receipts", "list"})["receipts"][0]["totalCents"], nullptr);
    const std::string original = kept["added"][0]["originalFilePath"];
    nookery.json({"receipts", "remove", id, "--yes"});
    EXPECT_EQ(nookery.json({"receipts", "list"})["count"], 1);
    EXPECT_TRUE(fs::exists(original));
}

TEST_F(ReceiptsCommand, GoWithTheArchiveIntoAnotherHome) {
    const std::string memory = nookery.json({"add", bakery})["added"][0]["id"];
    nookery.json({"add", "--text", "no receipt"});
    const Json before = nookery.json({"receipts", "from-memory", memory})["added"][0];
    EXPECT_EQ(before["sourceCrumbID"], memory);
    const std::string archive = (nookery.home / "archive").native();
    nookery.json({"archive", "export", archive});
    const NookeryProgram other;
    other.json({"archive", "restore", archive, "--yes"});
    fs::remove_all(nookery.library);
    Json after = other.json({"receipts", "show", before["id"]});
    EXPECT_EQ(contentOf(after["originalFilePath"].get<std::string>()), contentOf(bakery));
    EXPECT_TRUE(after["originalFilePath"].get<std::string>().starts_with(other.library.native()));
    after["originalFilePath"] = before["originalFilePath"];
    EXPECT_EQ(after, before);
}

}  // namespace
}  // namespace nookery
