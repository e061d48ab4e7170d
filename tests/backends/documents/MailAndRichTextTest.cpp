#include "backends/documents/DocumentFixture.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

class MailAndRichText : public testing::DocumentFixture {
  protected:
    DocumentText mail(const std::string& bytes) { return readBytes(bytes, "message/rfc822"); }
    DocumentText rtf(const std::string& bytes) { return readBytes(bytes, "application/rtf"); }
};

NOOKERY_BOTH_WAYS(MailAndRichText);

TEST_P(MailAndRichText, MailShowsItsHeaderItsBestTextAndItsAttachments) {
    const auto message = mail(
        "Received: from x\r\nSubject: =?utf-8?q?Caf=C3=A9?=\r\n =?iso-8859-1?B?6A==?=\r\n"
        "From: =?utf-8?b?SsO2cmc=?= <j@example.org>\r\nTo: a@example.org,\r\n b@example.org\r\n"
        "Date: Thu, 7 Jul 2016 13:06:24 -0400\r\nMIME-Version: 1.0\r\n"
        "Content-Type: multipart/mixed; boundary=\"out side\"\r\n\r\npreamble\r\n--out side\r\n"
        "Content-Type: multipart/alternative; boundary=in\r\n\r\n--in\r\n"
        "Content-Type: text/plain; charset=iso-8859-1\r\n"
        "Content-Transfer-Encoding: quoted-printable\r\n\r\nGr=FC=\r\n=DFe\r\n--in\r\n"
        "Content-Type: text/html\r\n\r\n<p>not this\r\n--in--\r\nepilogue\r\n--out side\r\n"
        "Content-Type: application/pdf; name=x\r\n"
        "Content-Disposition: attachment; filename*=utf-8''r%C3%A9sum%C3%A9.pdf\r\n"
        "Content-Transfer-Encoding: base64\r\n\r\nAAAA\r\n--out side\r\n"
        "Content-Type: message/rfc822\r\n\r\nSubject: Inner\r\nContent-Type: text/html\r\n"
        "Content-Transfer-Encoding: base64\r\n\r\nPHA+SGkgJmVhY3V0ZTs8L3A+\r\n--out side--\r\n");
    EXPECT_EQ(message.title, "Caféè");
    EXPECT_EQ(message.text,
              "Caféè\nFrom: Jörg <j@example.org>\nTo: a@example.org, b@example.org\n"
              "Date: 2016-07-07 13:06\n\nGrüße\n\nrésumé.pdf\nInner\n\nHi é");
}

TEST_P(MailAndRichText, HostileMailIsReadAsFarAsItGoes) {
    const std::string start = "From: a@example.org\nMIME-Version: 1.0\n";
    std::string nested = start;
    std::string groups = "To: ";
    std::string parts = start + "Content-Type: multipart/mixed; boundary=b\n\n";
    for (int i = 0; i < 50'000; ++i) {
        nested += "Content-Type: multipart/mixed; boundary=b" + std::to_string(i) + "\n\n--b" +
                  std::to_string(i) + "\n";
        groups += "g: ((";
        parts += "--b\n\nx\n";
    }
    EXPECT_NE(mail(nested).text.find("a@example.org"), std::string::npos);
    EXPECT_LT(mail(groups).text.size(), 40'000u);
    EXPECT_GT(mail(parts).text.size(), 50'000u);
    EXPECT_TRUE(isValidUtf8(mail("Subject: \xFF\xC3\n\n\x80\xE9").text));
    EXPECT_EQ(mail("").text, "");
}

TEST_P(MailAndRichText, RichTextIsReadInItsEncodings) {
    const auto document =
        rtf(R"({\rtf1\ansi\ansicpg1252\uc1{\fonttbl{\f0 Arial;}{\f1\fcharset204 Arial CYR;})"
            R"({\f2\fcharset128 Mincho;}}{\colortbl;\red0;}{\*\generator Some writer;})"
            R"({\info{\title Own \'e9 title}{\author hidden}}\pard Caf\'e9 \u8364?10\line)"
            "\n"
            R"({\f1 \'cf\'f0\'e8}{\f2\'93\'fa}\par {\uc2\u-10179ab\u-8704cd}\~x\{y\}\emdash )"
            R"({\v hidden}{\*\unknown hidden}{\pict\bin5 }}}}}ffd8}\row z\')"
            "\xE9}");
    EXPECT_EQ(document.title, "Own é title");
    EXPECT_EQ(document.text, "Café €10\nПри日\n\U0001F600\u00A0x{y}—\nzé");
}

TEST_P(MailAndRichText, DamagedRichTextIsAProblem) {
    EXPECT_EQ(problemOf([&] { rtf(R"({\rtf1 Words {\b bold)"); }),
              "\"document\" is damaged: it ends in the middle.");
    EXPECT_EQ(problemOf([&] { rtf("{\\rtf1 " + std::string(1'000'000, '{')); }),
              "\"document\" is damaged: its groups are nested too deeply.");
    EXPECT_EQ(problemOf([&] { rtf(R"({\rtf1\bin99999999999 a})"); }),
              "\"document\" is damaged: it ends in the middle.");
}

}  // namespace
}  // namespace nookery
