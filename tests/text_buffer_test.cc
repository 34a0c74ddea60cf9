#include "util/text_buffer.h"

#include <gtest/gtest.h>

#include <string>

TEST(TextBuffer, GrowsInStepsOfOneKilobyteAndKeepsTheText) {
  TextBuffer doc;
  ASSERT_TRUE(doc);
  EXPECT_EQ(doc.length(), 0u);
  EXPECT_EQ(doc.get()->capacity, 1024u);
  std::string expected;
  for (int i = 0; i < 150; ++i) {  // 1500 bytes in pieces of ten
    doc.appendf("%09d|", i);
    expected += std::string(9 - std::to_string(i).size(), '0') + std::to_string(i) + "|";
  }
  EXPECT_EQ(doc.length(), 1500u);
  EXPECT_EQ(doc.get()->capacity, 2048u);
  EXPECT_EQ(std::string(doc.data()), expected);
}

TEST(TextBuffer, TextThatExactlyFillsTheRoomDoesNotGrowIt) {
  TextBuffer doc;
  std::string fill(1024, 'x');
  EXPECT_EQ(doc.appendf("%s", fill.c_str()), 1024);
  EXPECT_EQ(doc.get()->capacity, 1024u);
  EXPECT_EQ(doc.data()[1024], '\0');  // the spare byte holds the NUL
  doc.appendf("y");
  EXPECT_EQ(doc.get()->capacity, 2048u);
  EXPECT_EQ(doc.length(), 1025u);
}

TEST(TextBuffer, StoresExactlyWhatWasFormatted) {
  struct Case {
    const char* value;
    const char* expected;
  } cases[] = {
      {"50%%", "<q>50%%</q>"},  // a percent sign in data is never re-read
      {"%s%n%x", "<q>%s%n%x</q>"},
      {"", "<q></q>"},
  };
  for (const Case& c : cases) {
    TextBuffer doc;
    doc.appendf("<q>%s</q>", c.value);
    EXPECT_STREQ(doc.data(), c.expected);
    EXPECT_EQ(doc.length(), std::string(c.expected).size());
  }
}

TEST(TextBuffer, OneAppendLargerThanAStepIsKeptWhole) {
  TextBuffer doc;
  std::string big(5000, 'a');
  doc.appendf("<v>%s</v>", big.c_str());
  EXPECT_EQ(doc.length(), 5007u);
  EXPECT_EQ(doc.get()->capacity % 1024, 0u);
  EXPECT_EQ(std::string(doc.data()), "<v>" + big + "</v>");
}
