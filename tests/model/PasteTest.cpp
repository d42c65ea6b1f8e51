// That what is pasted is the sequence it was made of.

#include <gtest/gtest.h>

#include <set>

#include "Paste.h"

namespace Model {
namespace {

// The braces below are those of a pasted test; here they are compiled.
Sequence known() {
  return {
      .reactions = {{
          {
              {Kind::remove, {1}},
              {Kind::raise, {}},
          },
          {},
          {},
          {
              {Kind::answer, {0, 1}},
          },
      }},
      .steps =
          {
              {Kind::externRow, {0, 1}},
              {Kind::memberRef, {0, 29, 0, 0, 1}},
          },
  };
}

TEST(Paste, GivesTheSourceOfASequence) {
  EXPECT_EQ(pasted(known()),
            "TEST(Found, SayWhatItShows) {\n"
            "  EXPECT_EQ(difference({\n"
            "      .reactions = {{\n"
            "          {\n"
            "              {Kind::remove, {1}},\n"
            "              {Kind::raise, {}},},\n"
            "          {},\n"
            "          {},\n"
            "          {\n"
            "              {Kind::answer, {0, 1}},},\n"
            "      }},\n"
            "      .steps = {\n"
            "          {Kind::externRow, {0, 1}},\n"
            "          {Kind::memberRef, {0, 29, 0, 0, 1}},\n"
            "      },\n"
            "  }), \"\");\n"
            "}\n");
}

TEST(Paste, NamesEveryKindDifferently) {
  std::set<std::string> names;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    names.insert(kindName(static_cast<Kind>(kind)));
  }
  EXPECT_EQ(names.size(), kindCount);
  EXPECT_EQ(names.count("unknown"), 0U);
  EXPECT_STREQ(kindName(Kind::externRow), "externRow");
  EXPECT_STREQ(kindName(Kind::raise), "raise");
}

}  // namespace
}  // namespace Model
