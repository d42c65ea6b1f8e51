// A small agent behind a control socket, for tests of what requests show and do.
//
//   class SubjectTest : public SmallAgentTest {};
//   TEST_F(SubjectTest, DoesSomething) {
//     startSmall();
//     EXPECT_EQ(right({"show", "groups"}).rows("groups").size(), 1U);
//     EXPECT_EQ(wrong({"show", "cats"}).error, "...");
//   }
//
// Everything runs on the test's thread.
#pragma once

#include <string>
#include <vector>

#include "tests/serve/ControlFixture.h"

namespace OrviaL3Agent::Testing {

class SmallAgentTest : public ControlFixture {
 protected:
  // Next hops 1 to 3 over interfaces of the same numbers; group 10 of 1 and 2; routes to 3 and 10.
  void startSmall() {
    start();
    feed(announce(1, 1, "10.0.0.1") + announce(2, 2, "10.0.0.2") + announce(3, 3, "10.0.0.3") +
         announceGroup(10, {{1, 0}, {2, 0}}) + announceRoute("10.3.0.0", 16, 3) +
         announceRoute("10.10.0.0", 16, 10) + announceRoute("10.10.1.0", 24, 3));
  }
  Answered wrong(std::vector<std::string> const& words) {
    Answered answered = ask(words);
    EXPECT_EQ(answered.exitCode, 2) << answered.error;
    return answered;
  }
  Answered right(std::vector<std::string> const& words) {
    Answered answered = ask(words);
    EXPECT_EQ(answered.exitCode, 0) << answered.error;
    return answered;
  }
  std::vector<std::string> prefixes(std::vector<std::string> const& words) {
    std::vector<std::string> prefixes;
    Answered const answered = right(words);
    for (Json const& row : answered.rows("routes")) prefixes.push_back(row["prefix"]);
    return prefixes;
  }
};

}  // namespace OrviaL3Agent::Testing
