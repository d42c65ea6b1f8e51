// Long texts in messages.
#include <gtest/gtest.h>

#include <string>

#include "agent/ShortText.h"

namespace OrviaL3Agent {
namespace {

TEST(ShortText, LeavesWhatIsShort) {
  EXPECT_EQ(shortened(""), "");
  EXPECT_EQ(shortened("group.entry[1]"), "group.entry[1]");
  std::string const longest(kLongestShown, 'x');
  EXPECT_EQ(shortened(longest), longest);
}

TEST(ShortText, KeepsBothEndsOfWhatIsLong) {
  std::string const cut = shortened("group." + std::string(kLongestShown, 'x') + ".numPaths");
  EXPECT_LE(cut.size(), kLongestShown);
  EXPECT_TRUE(cut.starts_with("group.xxx")) << cut;
  EXPECT_TRUE(cut.ends_with("xxx.numPaths")) << cut;
  EXPECT_NE(cut.find("xxx...xxx"), std::string::npos) << cut;
}

TEST(ShortText, CutsNoCharacterInTwo) {
  std::string const character = "\xE2\x86\x92";  // three bytes
  std::string characters;
  for (int i = 0; i < 200; ++i) characters += character;
  // Wherever the characters begin, seen from either end.
  for (std::size_t shift = 0; shift < character.size(); ++shift) {
    std::string const cut =
        shortened(std::string(shift, 'x') + characters + std::string(shift, 'y'));
    std::size_t const dots = cut.find("...");
    ASSERT_NE(dots, std::string::npos);
    std::string const whole =
        cut.substr(shift, dots - shift) + cut.substr(dots + 3, cut.size() - dots - 3 - shift);
    EXPECT_EQ(whole.size() % character.size(), 0U) << cut;
    EXPECT_TRUE(characters.starts_with(whole)) << cut;
  }
  // What is no text has no ends of characters to keep.
  EXPECT_LE(shortened(std::string(1000, '\x80')).size(), kLongestShown);
}

}  // namespace
}  // namespace OrviaL3Agent
