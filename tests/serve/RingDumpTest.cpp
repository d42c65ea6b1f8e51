// A dump of the ring, whose thread works while the loop sleeps.
#include <gtest/gtest.h>

#include <asio/steady_timer.hpp>
#include <condition_variable>
#include <mutex>

#include "Fendrel/TraceHandle.h"
#include "agent/control/Requests.h"
#include "tests/serve/ControlFixture.h"

namespace OrviaL3Agent::Testing {
namespace {

// Wakes that have not been waited for.
class Wakes {
 public:
  void add() {
    {
      std::scoped_lock const lock(mutex_);
      ++count_;
    }
    isWoken_.notify_one();
  }
  // Returns whether one came, within a time that is long for everything here.
  [[nodiscard]] bool take() {
    std::unique_lock lock(mutex_);
    if (!isWoken_.wait_for(lock, std::chrono::seconds(60), [this] { return count_ > 0; })) {
      return false;
    }
    --count_;
    return true;
  }

 private:
  std::mutex mutex_;
  std::condition_variable isWoken_;
  int count_ = 0;
};

class CountedLines final : public Control::Answer {
 public:
  void tableIs(std::string const&, std::vector<std::string> const&) override {}
  void row(Json) override {}
  void object(std::string const&, Json) override {}
  void line(std::string const&) override { ++lines; }

  std::size_t lines = 0;
};

class RingDumpTest : public ControlFixture {
 protected:
  RingDumpTest() { Fendrel::defaultTraceHandleIs(ring_.get()); }
  ~RingDumpTest() override { Fendrel::defaultTraceHandleIs(nullptr); }

  void startSmall() {
    start();
    for (int i = 0; i < 20; ++i) {
      feed(announceRouted(1, 2, "10.0.0.1"));
      feed(withdrawRouteTo(1) + withdraw(1));
    }
  }

 private:
  std::unique_ptr<Fendrel::TraceHandle> const ring_ =
      Fendrel::TraceHandle::singleFile(Fendrel::TraceFile::inMemory());
};

TEST_F(RingDumpTest, IsBusyOnlyWithSomethingToSayAndWakesTheLoopForIt) {
  startSmall();
  Wakes wakes;
  auto const job = Control::jobFor(Control::Context{*agent, stream, [&wakes] { wakes.add(); }},
                                   Control::Arguments{"ring", "dump"});
  CountedLines answer;
  for (bool isDone = false; !isDone;) {
    while (!job->busy()) ASSERT_TRUE(wakes.take()) << "nobody would look again";
    std::size_t const before = answer.lines;
    isDone = job->runSlice(answer);
    // A job that is asked for nothing keeps the loop from its sleep.
    ASSERT_TRUE(isDone || answer.lines > before);
  }
  EXPECT_GT(answer.lines, 100U);
}

TEST_F(RingDumpTest, IsAnsweredByALoopThatSleeps) {
  startSmall();
  TestClient client(path);
  client.ask({"ring", "dump"});
  // Asks for nothing more, which does not end what it has asked for.
  client.endInput();
  // A wait that nothing ends fails the test and does not hang.
  Clock::time_point const end = Clock::now() + std::chrono::seconds(60);
  asio::steady_timer limit(io.context(), end);
  limit.async_wait([](asio::error_code) {});
  while (Clock::now() < end) {
    bool const isBusy = turn();
    client.receive();
    if (client.hasEnd()) break;
    if (!isBusy) io.wait();
  }
  std::size_t lines = 0;
  for (std::optional<Json> message = client.next(); message; message = client.next()) {
    if (message->contains("line")) ++lines;
    if (message->contains("end")) {
      EXPECT_EQ((*message)["end"]["exit"], 0) << *message;
    }
  }
  EXPECT_GT(lines, 100U);
}

}  // namespace
}  // namespace OrviaL3Agent::Testing
