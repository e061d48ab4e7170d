#include <random>
#include <thread>

#include "backends/documents/DocumentFixture.h"

namespace nookery {
namespace {

using Documents = testing::DocumentFixture;
NOOKERY_BOTH_WAYS(Documents);

constexpr const char* wordType =
    "application/vnd.openxmlformats-officedocument.wordprocessingml.document";
constexpr const char* workbookType =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet";
constexpr const char* slidesType =
    "application/vnd.openxmlformats-officedocument.presentationml.presentation";
constexpr const char* textType = "application/vnd.oasis.opendocument.text";
constexpr const char* sheetType = "application/vnd.oasis.opendocument.spreadsheet";
constexpr const char* bookType = "application/epub+zip";
constexpr const char* pdfType = "application/pdf";

std::string relations(const std::string& list) {
    return "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/relationships'>" +
           list + "</Relationships>";
}
std::string relation(const std::string& id, const std::string& kind, const std::string& target) {
    return "<Relationship Id='" + id + "' Type='http://x/" + kind + "' Target='" + target + "'/>";
}

TEST_P(Documents, WordTextComesInOrderWithoutWhatWasMovedOrDeleted) {
    const auto document = readParts(
        {{"_rels/.rels", relations(relation("a", "officeDocument", "word/document.xml") +
                                   relation("b", "core-properties", "/docProps/core.xml"))},
         {"docProps/core.xml", "<c xmlns:dc='d'><dc:title> Plan </dc:title></c>"},
         {"word/document.xml",
          "<w:document xmlns:w='w'><w:p><w:pPr><w:tabs><w:tab/></w:tabs></w:pPr>"
          "<w:r><w:t>One</w:t><w:tab/><w:t>two</w:t></w:r><w:moveFrom><w:t>gone</w:t></w:moveFrom>"
          "<w:del><w:delText>gone</w:delText></w:del></w:p><w:p/><w:p/>"
          "<w:p><w:r><w:t>Three &amp; four</w:t></w:r></w:p></w:document>"},
         {"word/_rels/document.xml.rels", relations(relation("f", "footnotes", "footnotes.xml") +
                                                    relation("s", "styles", "missing.xml"))},
         {"word/footnotes.xml", "<w:f xmlns:w='w'><w:p><w:t>A note</w:t></w:p></w:f>"}},
        wordType);
    EXPECT_EQ(document.title, "Plan");
    EXPECT_EQ(document.text, "One\ttwo\n\nThree & four\n\nA note");
}

TEST_P(Documents, WorkbooksShowTheValuesOfTheirSheetsInOrder) {
    const auto document = readParts(
        {{"_rels/.rels", relations(relation("a", "officeDocument", "xl/workbook.xml"))},
         {"xl/workbook.xml",
          "<workbook xmlns:r='http://x/relationships'><sheets><sheet name='Late' sheetId='1' "
          "r:id='r2'/><sheet name='Early' sheetId='2' r:id='r1'/></sheets></workbook>"},
         {"xl/_rels/workbook.xml.rels",
          relations(relation("r1", "worksheet", "worksheets/sheet1.xml") +
                    relation("r2", "worksheet", "worksheets/sheet2.xml") +
                    relation("s", "sharedStrings", "sharedStrings.xml"))},
         {"xl/sharedStrings.xml",
          "<sst><si><t>Rent</t></si><si><r><t>Zü</t></r><r><t>rich</t></r>"
          "<rPh><t>said</t></rPh></si></sst>"},
         {"xl/worksheets/sheet1.xml",
          "<x><row><c t='s'><v>7</v></c><c t='b'><v>1</v></c></row></x>"},
         {"xl/worksheets/sheet2.xml",
          "<x><row><c t='s'><v>1</v></c><c><f>A1*2</f><v>0.10000000000000001</v></c></row>"
          "<row><c t='inlineStr'><is><t>inline</t></is></c><c t='s'><v>0</v></c></row></x>"}},
        workbookType);
    EXPECT_EQ(document.text, "Late\nZürich\t0.1\ninline\tRent\n\nEarly\nTRUE");
}

TEST_P(Documents, SlidesComeInTheirOrderWithNotes) {
    const auto document = readParts(
        {{"_rels/.rels", relations(relation("a", "officeDocument", "ppt/presentation.xml"))},
         {"ppt/presentation.xml",
          "<p:p xmlns:p='p' xmlns:r='http://x/relationships'><p:sldId id='9' r:id='b'/>"
          "<p:sldId id='8' r:id='a'/></p:p>"},
         {"ppt/_rels/presentation.xml.rels", relations(relation("a", "slide", "slides/s1.xml") +
                                                       relation("b", "slide", "slides/s2.xml"))},
         {"ppt/slides/s1.xml", "<s xmlns:a='a'><a:p><a:t>First made</a:t></a:p></s>"},
         {"ppt/slides/s2.xml",
          "<s xmlns:a='a'><a:p><a:t>Shown first</a:t></a:p><a:fld type='slidenum'><a:t>1</a:t>"
          "</a:fld></s>"},
         {"ppt/slides/_rels/s2.xml.rels",
          relations(relation("n", "notesSlide", "../notesSlides/n.xml"))},
         {"ppt/notesSlides/n.xml", "<s xmlns:a='a'><a:p><a:t>Say hello</a:t></a:p></s>"}},
        slidesType);
    EXPECT_EQ(document.text, "Shown first\nSay hello\n\nFirst made");
}

TEST_P(Documents, OpenFormatsShowParagraphsAndCells) {
    const std::string content =
        "<o xmlns:text='t' xmlns:table='b'><text:tracked-changes><text:p>gone</text:p>"
        "</text:tracked-changes><number>hidden</number><table:table table:name='Costs'>"
        "<table:table-row><table:table-cell><text:p>a<text:s text:c='99999999'/>b</text:p>"
        "</table:table-cell><table:table-cell><text:p>c</text:p></table:table-cell>"
        "</table:table-row></table:table><text:h>End</text:h></o>";
    const testing::DocumentFixture::Parts parts = {
        {"content.xml", content}, {"meta.xml", "<m xmlns:dc='d'><dc:title>T</dc:title></m>"}};
    EXPECT_EQ(readParts(parts, textType).text, "a b\nc\n\nEnd");
    EXPECT_EQ(readParts(parts, textType).title, "T");
    EXPECT_EQ(readParts(parts, sheetType).text, "Costs\na b\tc\n\nEnd");
}

TEST_P(Documents, BooksReadAlongTheirSpine) {
    testing::DocumentFixture::Parts parts = {
        {"META-INF/container.xml", "<c><rootfile full-path='OPS/book.opf'/></c>"},
        {"OPS/book.opf",
         "<p xmlns:dc='d'><dc:title>Whale</dc:title><item id='1' href='text/a%20b.xhtml#x'/>"
         "<item id='2' href='../c.xhtml'/><itemref idref='2'/><itemref idref='1'/></p>"},
        {"OPS/text/a b.xhtml", "<p>Caf&eacute; &#8217;tis &amp;amp; &unknown;<br>"},
        {"c.xhtml", "<h1>Chapter</h1>"}};
    const auto book = readParts(parts, bookType);
    EXPECT_EQ(book.title, "Whale");
    EXPECT_EQ(book.text, "Chapter\n\nCafé ’tis &amp; &unknown;");
    parts.emplace_back("META-INF/encryption.xml", "<e><CipherReference URI='c.xhtml'/></e>");
    EXPECT_EQ(problemOf([&] { readParts(parts, bookType); }),
              "\"document\" is locked by its seller's copy protection.");
}

std::string pdf(const std::string& trailer = "") {
    const std::string shown = "BT /F1 12 Tf 10 100 Td (Words of page two) Tj ET";
    return "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n"
           "2 0 obj<</Type/Pages/Kids[3 0 R 6 0 R]/Count 2>>endobj\n"
           "3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 200 200]>>endobj\n"
           "4 0 obj<</Length " +
           std::to_string(shown.size()) + ">>stream\n" + shown +
           "\nendstream endobj\n5 0 obj<</Type/Font/Subtype/Type1/BaseFont/Helvetica>>endobj\n"
           "6 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 200 200]/Contents 4 0 R"
           "/Resources<</Font<</F1 5 0 R>>>>>>endobj\n7 0 obj<</Title(Own title)>>endobj\n"
           "8 0 obj<</Filter/Standard/V 2/R 3/Length 128/P -4/O(01234567890123456789012345678901)"
           "/U(01234567890123456789012345678901)>>endobj\n"
           "trailer<</Root 1 0 R/Info 7 0 R" +
           trailer + ">>\n";
}

TEST_P(Documents, PdfShowsAllPagesFromSeveralThreads) {
    const Path path = folder_.write("a.pdf", pdf());
    std::vector<std::thread> threads;
    std::vector<DocumentText> texts(4);
    for (auto& text : texts) threads.emplace_back([&] { text = read(path, pdfType); });
    for (auto& thread : threads) thread.join();
    for (const auto& text : texts) {
        EXPECT_EQ(text.title, "Own title");
        EXPECT_EQ(text.text, "Words of page two");
    }
}

TEST_P(Documents, SayWhenAPasswordIsNeeded) {
    const std::string expected = "\"document\" is encrypted with a password.";
    const std::string key = "(0123456789012345)";
    EXPECT_EQ(problemOf([&] { readBytes(pdf("/Encrypt 8 0 R/ID[" + key + key + "]"), pdfType); }),
              expected);
    EXPECT_EQ(problemOf([&] {
                  readParts({{"content.xml", "<a/>"}}, textType, "secret");
              }),
              expected);
    EXPECT_EQ(problemOf([&] {
                  readParts({{"META-INF/manifest.xml", "<m><encryption-data/></m>"},
                             {"content.xml", "rubbish"}},
                            textType);
              }),
              expected);
    const std::string container("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1 EncryptedPackage");
    EXPECT_EQ(problemOf([&] { readBytes(container, wordType); }), expected);
}

TEST_P(Documents, DamageAtAnyPlaceIsAProblemAndNothingWorse) {
    readParts({{"content.xml", "<o xmlns:text='t'><text:p>words</text:p></o>"}}, textType);
    const std::string whole = folder_.read("document");
    std::mt19937 random(3);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_THROW(readBytes(whole.substr(0, length), textType), DocumentError) << length;
        std::string flipped = whole;
        flipped[length] = static_cast<char>(random());
        problemOf([&] { readBytes(flipped, textType); });
    }
    EXPECT_THROW(readBytes(pdf().substr(0, 60), pdfType), DocumentError);
    EXPECT_THROW(readBytes("", bookType), DocumentError);
    EXPECT_THROW(readParts({{"content.xml", "<o><p>a</o>"}}, textType), DocumentError);
    EXPECT_THROW(readParts({{"other.xml", "<o/>"}}, textType), DocumentError);
    EXPECT_THROW(readParts({{"other.xml", "<o/>"}}, wordType), DocumentError);
    EXPECT_THROW(read(folder_ / "missing", textType), FileError);
    EXPECT_THROW(read(folder_.path(), pdfType), FileError);
}

std::string repeated(const std::string& piece, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += piece;
    return all;
}

TEST_P(Documents, BombsEndInAProblem) {
    const auto content = [&](const std::string& xml) {
        return problemOf([&] { readParts({{"content.xml", xml}}, textType); });
    };
    const std::string deep = repeated("<a>", 100'000) + repeated("</a>", 100'000);
    EXPECT_NE(content(deep).find("too deeply nested"), std::string::npos);
    std::string attributes = "<a ";
    for (int i = 0; i < 100'000; ++i) attributes += "a" + std::to_string(i) + " = ''\n";
    EXPECT_NE(content(attributes + "/>").find("tags is far too large"), std::string::npos);
    EXPECT_NE(content("<a><b/>" + std::string(4 << 20, ' ') + "</a>").find("far more"),
              std::string::npos);
    limits_.maximumExpandedByteCount = 1000;
    EXPECT_NE(content("<a>" + repeated("<b/>", 1000) + "</a>").find("holds more than"),
              std::string::npos);
    limits_.maximumFileByteCount = 10;
    EXPECT_NE(content("<a/>").find("is larger than"), std::string::npos);
}

TEST_P(Documents, EntitiesReachNeitherFilesNorMemory) {
    const auto text = [&](const std::string& definitions, const std::string& name) {
        return readParts({{"content.xml", "<!DOCTYPE o [" + definitions +
                                              "]><o xmlns:text='t'><text:p>A&" + name +
                                              ";B</text:p></o>"}},
                         textType)
            .text;
    };
    const Path secret = folder_.write("secret", "SECRET");
    EXPECT_EQ(text("<!ENTITY x SYSTEM 'file://" + secret.string() + "'>", "x"), "AB");
    std::string laughs = "<!ENTITY l0 'lol'>";
    for (int i = 1; i < 10; ++i) {
        laughs += "<!ENTITY l" + std::to_string(i) + " '" +
                  repeated("&l" + std::to_string(i - 1) + ";", 10) + "'>";
    }
    EXPECT_THROW(text(laughs, "l9"), DocumentError);
}

TEST_P(Documents, KeepNoMoreTextThanTheLimitAndStopWhenAsked) {
    limits_.maximumTextByteCount = 100;
    const std::string content =
        "<o xmlns:text='t'>" + repeated("<text:p>Zürich é</text:p>", 100) + "</o>";
    const auto text = readParts({{"content.xml", content}}, textType).text;
    EXPECT_LE(text.size(), 100u);
    EXPECT_GE(text.size(), 90u);
    stop_.request_stop();
    EXPECT_THROW(readParts({{"content.xml", content}}, textType), Cancelled);
    EXPECT_THROW(readBytes(pdf(), pdfType), Cancelled);
}

}  // namespace
}  // namespace nookery
