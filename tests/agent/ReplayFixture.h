// Runs made-up and recorded streams through a Replay.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "agent/Replay.h"
#include "tests/agent/StreamBuilder.h"

namespace OrviaL3Agent::Testing {

// A file with the given content that goes with its object.
class TemporaryFile {
 public:
  explicit TemporaryFile(Bytes const& content = {}) {
    static int serial = 0;
    path_ = ::testing::TempDir() + "orvia-agent-test-" + std::to_string(::getpid()) + "-" +
            std::to_string(++serial);
    std::ofstream(path_, std::ios::binary) << content;
  }
  ~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  TemporaryFile(TemporaryFile const&) = delete;
  TemporaryFile& operator=(TemporaryFile const&) = delete;

  [[nodiscard]] std::string const& path() const { return path_; }

 private:
  std::string path_;
};

class ReplayFixture : public ::testing::Test {
 protected:
  // Rows from 1 up are for next hops that are not of groups: short numbers.
  ReplayFixture() { options.ecmpRows = 1; }

  // The replay of a made-up stream, before its first turn.
  Replay& start(Bytes const& stream) {
    file_ = std::make_unique<TemporaryFile>(stream);
    options.file = file_->path();
    replay_ = std::make_unique<Replay>(options);
    return *replay_;
  }
  // The report of a run to the end.
  Report run(Bytes const& stream) {
    start(stream);
    finish();
    return replay().report();
  }
  void finish() {
    Progress progress(Progress::Style::off);
    replay().run(progress);
  }
  Replay& replay() { return *replay_; }
  void end() { replay_.reset(); }

  // Runs the last stream once more with `more` and every next hop's withdrawal behind it.
  void expectNothingLeftAfter(Bytes const& more);

  // The one live next hop of that id.
  static ShownNextHop const& shown(Report const& report, std::uint32_t id) {
    for (ShownNextHop const& nextHop : report.live) {
      if (nextHop.contents.id == id) return nextHop;
    }
    throw std::out_of_range("no live next hop " + std::to_string(id));
  }
  static ShownNextHop::State state(Report const& report, std::uint32_t id) {
    return shown(report, id).state;
  }

  // No delay and answers at once: every commit goes straight to the hardware.
  void withoutWaiting() {
    options.interfaceDelay = 0;
    options.mtuDelay = 0;
    options.answer = ReplayOptions::Answer::now;
  }

  ReplayOptions options;

 private:
  std::unique_ptr<TemporaryFile> file_;
  std::unique_ptr<Replay> replay_;
};

// Nothing of any next hop is left in the table, the hardware or the agent.
inline void expectNothingLeft(Replay const& replay) {
  NextHops::Table const& table = replay.table();
  EXPECT_EQ(table.entrys(), 0U);
  EXPECT_EQ(table.entryHandles(), 0U);
  EXPECT_EQ(table.pendingEntrySms(), 0U);
  EXPECT_EQ(table.unresolvedEntrys(), 0U);
  Report const report = replay.report();
  EXPECT_EQ(report.rowsInForce, 0U);
  EXPECT_EQ(report.interfaces, 0U);
  EXPECT_TRUE(report.live.empty());
  EXPECT_TRUE(report.groups.live.empty());
  EXPECT_EQ(replay.groupTable().entrys(), 0U);
  EXPECT_EQ(replay.groupTable().entryHandles(), 0U);
  EXPECT_EQ(replay.groupTable().unresolvedEntrys(), 0U);
  EXPECT_EQ(replay.memberTable().entryBlocks(), 0U);
  EXPECT_EQ(replay.memberTable().unresolvedEntryBlocks(), 0U);
  EXPECT_EQ(replay.ecmpTable().entrys(), 0U);
  EXPECT_EQ(replay.ecmpTable().unresolvedEntrys(), 0U);
  for (TableUse const* use :
       {&report.groups.nextHopTable, &report.groups.memberTable, &report.groups.groupTable}) {
    EXPECT_EQ(use->inUse, 0U);
    EXPECT_EQ(use->rowsInForce, 0U);
  }
  EXPECT_EQ(Vek::vekLiveObjects("OrviaL3Agent::RowKey"), 0U);
  EXPECT_EQ(Vek::vekLiveObjects("OrviaL3Agent::StandInTable::Entry"), 0U);
}

inline void ReplayFixture::expectNothingLeftAfter(Bytes const& more) {
  Bytes stream = contentOf(options.file) + more;
  for (ShownNextHop const& nextHop : replay().report().live) {
    stream += withdraw(nextHop.contents.id);
  }
  end();
  run(stream);
  expectNothingLeft(replay());
}

}  // namespace OrviaL3Agent::Testing
