// What progress looks like, and how operations are timed.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "agent/OperationTime.h"
#include "agent/Progress.h"

namespace OrviaL3Agent {
namespace {

using namespace std::chrono_literals;

class ProgressTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::string written() const {
    std::rewind(out.get());
    std::string text(1000, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), out.get()));
    return text;
  }
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> out{std::tmpfile(), &std::fclose};
};

TEST_F(ProgressTest, IsOverwrittenInPlaceOnATerminalAndGoneAtTheEnd) {
  {
    Progress progress(Progress::Style::inPlace, out.get());
    progress.show([] { return "one"; });
    progress.showLast([] { return "two"; });
  }
  EXPECT_EQ(written(), "\rone\033[K\rtwo\033[K\r\033[K");
}

TEST_F(ProgressTest, IsLinesElsewhere) {
  {
    Progress progress(Progress::Style::lines, out.get());
    progress.show([] { return "one"; });
    progress.showLast([] { return "two"; });
  }
  EXPECT_EQ(written(), "one\ntwo\n");
}

TEST_F(ProgressTest, IsNothingWhenOff) {
  int made = 0;
  auto const text = [&made] {
    ++made;
    return "text";
  };
  {
    Progress progress(Progress::Style::off, out.get());
    progress.show(text);
    progress.showLast(text);
  }
  EXPECT_EQ(written(), "");
  EXPECT_EQ(made, 0);
}

TEST_F(ProgressTest, IsShownAtIntervalsOnly) {
  Progress progress(Progress::Style::lines, out.get());
  int made = 0;
  auto const start = std::chrono::steady_clock::now();
  while (std::chrono::steady_clock::now() - start < 250ms) {
    progress.show([&made] { return std::to_string(++made); });
    std::this_thread::sleep_for(1ms);
  }
  auto const elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(made, 2);
  EXPECT_LE(made, elapsed / 100ms + 1);
}

TEST(OperationTime, KeepsNumberMeanAndMaximum) {
  OperationTime time;
  EXPECT_EQ(time.count(), 0U);
  EXPECT_EQ(time.meanNanoseconds(), 0U);
  time.add(100ns);
  time.add(301ns);
  EXPECT_EQ(time.count(), 2U);
  EXPECT_EQ(time.meanNanoseconds(), 200U);
  EXPECT_EQ(time.maxNanoseconds(), 301U);
}

TEST(OperationTime, MeasuresAnOperationAndPassesItsResultOn) {
  OperationTime time;
  int const result = time.measure([] {
    std::this_thread::sleep_for(2ms);
    return 5;
  });
  EXPECT_EQ(result, 5);
  EXPECT_EQ(time.count(), 1U);
  EXPECT_GE(time.maxNanoseconds(), 2000000U);
}

TEST(OperationTime, DoesNotCountAnOperationThatThrows) {
  OperationTime time;
  EXPECT_THROW(time.measure([] { throw std::runtime_error("no"); }), std::runtime_error);
  EXPECT_EQ(time.count(), 0U);
}

}  // namespace
}  // namespace OrviaL3Agent
