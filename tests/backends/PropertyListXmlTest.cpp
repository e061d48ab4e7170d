#include "backends/PropertyListXml.h"

#include <gtest/gtest.h>

#include "foundation/Error.h"

namespace nookery {
namespace {

TEST(PropertyListXml, EveryKindOfValueComesBackAsItWas) {
    std::vector<unsigned char> everyByte(256);
    for (std::size_t i = 0; i < everyByte.size(); ++i) everyByte[i] = static_cast<unsigned char>(i);
    PropertyList list;
    list["text"] = std::string("a < b & \"c\" ]]> \r\n\t Ünïcode ");
    list["number"] = -42L;
    list["key & <odd>"] = std::string();
    for (std::size_t length : {0u, 1u, 2u, 3u, 4u, 255u, 256u}) {
        list["data" + std::to_string(length)] =
            std::vector<unsigned char>(everyByte.begin(), everyByte.begin() + length);
    }
    list["large"] = std::vector<unsigned char>(20'000'000, 0xAB);
    const auto lists = makeXmlPropertyLists();
    EXPECT_EQ(lists->read(lists->write(list)), list);
}

TEST(PropertyListXml, RefusesWhatItCannotCarryOrDoesNotUnderstand) {
    const auto lists = makeXmlPropertyLists();
    EXPECT_THROW(lists->write({{"k", std::string("bell \a")}}), Error);
    EXPECT_THROW(lists->write({{"k", std::string("\xff")}}), Error);
    const auto plist = [](const std::string& inside) {
        return "<plist version=\"1.0\">" + inside + "</plist>";
    };
    for (const std::string& xml :
         {std::string(), std::string("<plist><dict>"), plist(""), plist("<array/>"),
          plist("<dict/><dict/>"), plist("<dict><key>a</key></dict>"),
          plist("<dict><string>a</string></dict>"),
          plist("<dict><key>a</key><integer>1x</integer></dict>"),
          plist("<dict><key>a</key><data>A*==</data></dict>"),
          plist("<dict><key>a</key><data>A</data></dict>"),
          plist("<dict><key>a</key><real>1</real></dict>"),
          plist("<dict><key>a</key><string/><key>a</key><string/></dict>"),
          "<!DOCTYPE plist [<!ENTITY e SYSTEM \"file:///etc/hostname\">]>" +
              plist("<dict><key>a</key><string>&e;</string></dict>"),
          "<!DOCTYPE plist [<!ENTITY e \"x\">]>" + plist("<dict/>")}) {
        EXPECT_THROW(lists->read(xml), Error) << xml;
    }
}

}  // namespace
}  // namespace nookery
