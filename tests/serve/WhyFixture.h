// What `why` says of an agent, as lines.
//
//   class SubjectTest : public WhyFixture {};
//   TEST_F(SubjectTest, SaysSomething) {
//     feed(two + routeTo(1));
//     EXPECT_THAT(chain({"10.0.1.0/24"}), ElementsAre(...));
//     EXPECT_TRUE(causes().empty());
//   }
//
// Everything runs on the test's thread.
#pragma once

#include <chrono>
#include <string>

#include "tests/serve/InsightFixture.h"

namespace OrviaL3Agent::Testing {

class WhyFixture : public InsightFixture {
 protected:
  // "not-programmed interface 3", a line each, in order.
  Strings causes() {
    Strings texts;
    Collected const all = ask({"why"});
    for (Json const& row : all.rows("causes")) {
      texts.push_back(row["cause"].get<std::string>() + " " + row["entry"].get<std::string>());
    }
    return texts;
  }
  Strings chain(Strings words) {
    words.insert(words.begin(), "why");
    return ask(words).steps("why", "state");
  }

  // The routing daemon is there once more, and has said nothing yet.
  void connectAnew() {
    agent().mapping().mark();
    while (!agent().mapping().markSlice(Deadline(std::chrono::seconds(1)))) {
    }
    settle();
  }

  Bytes const two = announce(1, 2, "10.0.1.2") + announce(2, 3, "10.0.2.2");
};

}  // namespace OrviaL3Agent::Testing
