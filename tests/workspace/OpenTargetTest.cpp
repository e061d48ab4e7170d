#include "workspace/OpenTarget.h"

#include <gtest/gtest.h>

#include "foundation/Error.h"

namespace nookery {
namespace {

TEST(OpenTarget, TheDesktopIsHandedFilesAndWebAddressesOnly) {
    for (const char* target : {"/home/ann/a b.pdf", "https://example.org/a?b#c", "HTTP://a.org"}) {
        EXPECT_NO_THROW(demandOpenable(target)) << target;
    }
    for (const std::string& target :
         {std::string("--help"), std::string("-x"), std::string("javascript:alert(1)"),
          std::string("file:///etc/passwd"), std::string("ssh://-oProxyCommand=x"),
          std::string("https://a.org\n--help"), std::string("https://"), std::string("note.txt"),
          std::string("/a\0/b", 5), std::string()}) {
        EXPECT_THROW(demandOpenable(target), Error) << target;
    }
}

}  // namespace
}  // namespace nookery
