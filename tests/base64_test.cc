#include "util/base64.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "frame/authentication.h"

namespace {

std::string decode(const char* text, int capacity = 128) {
  unsigned char out[128] = {};
  int n = base64_decode(text, out, capacity);
  return std::string(reinterpret_cast<char*>(out), static_cast<size_t>(n));
}

}  // namespace

TEST(Base64, DecodesLikeRfc4648AndSkipsEverythingElse) {
  struct Case {
    const char* text;
    std::string expected;
  } cases[] = {
      {"", ""},
      {"YWRtaW46YWRtaW4=", "admin:admin"},
      {"YWRtaW46YWRtaW4", "admin:admin"},          // no padding
      {"YWRt\r\naW46\nYWRt aW4=", "admin:admin"},  // line ends and blanks
      {"Zm9vYg==", "foob"},
      {"Zm9vYmE=", "fooba"},
      {"Zm9vYmFy", "foobar"},
      {"+/+/", std::string("\xfb\xff\xbf", 3)},
      {"!!!@@@", ""},
  };
  for (const Case& c : cases) EXPECT_EQ(decode(c.text), c.expected) << c.text;
}

TEST(Base64, NeverWritesPastItsCapacity) {
  unsigned char out[8];
  std::memset(out, 0xEE, sizeof out);
  EXPECT_EQ(base64_decode("Zm9vYmFyZm9vYmFy", out, 4), 4);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 4), "foob");
  EXPECT_EQ(out[4], 0xEE);
}

TEST(Credentials, SplitAtColonsAsTheCameraAlwaysHas) {
  struct Case {
    std::string decoded;
    const char* user;
    const char* password;
  } cases[] = {
      {"admin:secret", "admin", "secret"},
      {"admin", "admin", ""},        // no colon: all user name
      {"admin:", "admin", ""},
      {":pw", "", "pw"},
      {"admin:a:b", "a", "b"},       // the second colon cuts the name at 1
      {"admin:ab:cd", "ad", "cd"},
      {std::string(40, 'u') + ":" + std::string(40, 'p'),
       "uuuuuuuuuuuuuuuuuuuuuuuuuuuuuuu", "ppppppppppppppppppppppppppppppp"},
  };
  for (const Case& c : cases) {
    credentials who;
    split_credentials(reinterpret_cast<const unsigned char*>(c.decoded.data()),
                      static_cast<int>(c.decoded.size()), &who);
    EXPECT_STREQ(who.user, c.user) << c.decoded;
    EXPECT_STREQ(who.password, c.password) << c.decoded;
  }
}
