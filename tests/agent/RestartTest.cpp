// A program that ends, and the next one on the same hardware.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <utility>

#include "agent/OwnerBook.h"
#include "agent/Replay.h"
#include "plugins/soft-asic/SoftDevice.h"
#include "tests/agent/RestartFiles.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

constexpr std::uint32_t firstRow = 16384;  // of the next hops of routes

class Restart : public ::testing::Test {
 protected:
  Ended replay(Bytes const& messages, std::string const& more = "") {
    TemporaryFile const file(messages);
    return agent("replay '" + file.path() + "'" + files_.options() + " --verify " + more);
  }
  // The same, for a run that has to go well.
  std::string done(Bytes const& messages, std::string const& more = "") {
    Ended const ended = replay(messages, more);
    EXPECT_EQ(ended.exitCode, 0) << ended.output;
    EXPECT_EQ(ended.error, "");
    return ended.output;
  }
  // What the rows hold, with nobody attached.
  [[nodiscard]] std::map<std::uint32_t, SoftAsic::NextHopContents> nextHops() const {
    SoftAsic::SoftDevice const device({}, SoftAsic::FaultProfiles{}, files_.hardware());
    std::map<std::uint32_t, SoftAsic::NextHopContents> rows;
    for (std::uint32_t row = 0; row < device.nextHops().rows(); ++row) {
      if (auto const& contents = device.nextHops().row(row).contents) rows.emplace(row, *contents);
    }
    return rows;
  }
  [[nodiscard]] std::string found(std::string const& line) const {
    return "Restart       " + line + "\n";
  }

  RestartFiles files_;
  Bytes const one_ = announceRouted(1, 3, "10.0.3.1");
  Bytes const two_ = announceRouted(2, 4, "10.0.4.1");
  Bytes const three_ = announceRouted(3, 5, "10.0.5.1");
};

TEST_F(Restart, FindsNothingTheFirstTime) {
  EXPECT_TRUE(contains(done(one_), found("0 next hops of routes found: 0 used again, 0 removed, 0 "
                                         "held; 0 without an owner")));
}

TEST_F(Restart, SaysNothingOfHardwareThatEndsWithTheAgent) {
  TemporaryFile const file(one_);
  Ended const ended = agent("replay '" + file.path() + "'");
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_FALSE(contains(ended.output, "Restart"));
}

TEST_F(Restart, LeavesTheRowsInTheHardware) {
  done(one_ + two_);
  auto const rows = nextHops();
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows.begin()->first, firstRow);
}

TEST_F(Restart, DoesNotWriteWhatIsAskedForAsItWas) {
  done(one_ + two_);
  auto const before = nextHops();
  std::string const output = done(two_ + one_);
  EXPECT_TRUE(
      contains(output, found("2 next hops of routes found: 2 used again, 0 removed, 0 held; "
                             "0 without an owner")));
  EXPECT_TRUE(contains(output, "ingress     0 writes, 0 deletes, 2 rows in force"));
  EXPECT_EQ(nextHops(), before);
}

TEST_F(Restart, GivesTheSameNumbersInWhateverOrder) {
  done(one_ + two_ + three_);
  auto const before = nextHops();
  ASSERT_EQ(before.size(), 3U);
  // The middle one alone, then the others, over two more starts.
  done(two_, "--until 0");
  done(three_ + two_ + one_);
  EXPECT_EQ(nextHops(), before);
}

TEST_F(Restart, RemovesAfterTheHoldTimeWhatNobodyAsksFor) {
  done(one_ + two_);
  std::string const output = done(two_ + three_, "--check-forwarding");
  EXPECT_TRUE(
      contains(output, found("2 next hops of routes found: 1 used again, 1 removed, 0 held; "
                             "0 without an owner")));
  EXPECT_TRUE(contains(output, "ingress     1 write, 1 delete, 2 rows in force"));
  // 10.0.5.1 came while the other's row was still held.
  auto const rows = nextHops();
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows.begin()->first, firstRow + 1);
  EXPECT_EQ(rows.rbegin()->first, firstRow + 2);
  EXPECT_TRUE(contains(done(two_ + three_), "2 next hops of routes found: 2 used again"));
}

TEST_F(Restart, WaitsForTheEndOfTheStream) {
  done(one_ + two_);
  std::string const stopped = done(two_, "--until 0");
  EXPECT_TRUE(contains(stopped, found("2 next hops of routes found: 0 used again, 0 removed, 2 "
                                      "held; 0 without an owner")));
  // A stream that is at fault has not said all either.
  Ended const broken = replay(two_ + Bytes("\x01"));
  EXPECT_EQ(broken.exitCode, 1);
  EXPECT_TRUE(
      contains(broken.output, "2 next hops of routes found: 1 used again, 0 removed, 1 held"));
  EXPECT_TRUE(contains(broken.output, "no difference"));
  EXPECT_EQ(nextHops().size(), 2U);
}

TEST_F(Restart, CountsTheHoldTimeInTurns) {
  done(one_);
  auto const turns = [](std::string const& output) {
    std::size_t const at = output.find(" turns of the event loop");
    return std::stoi(output.substr(output.rfind(' ', at - 1) + 1));
  };
  int const few = turns(done(one_, "--hold 20"));
  EXPECT_EQ(turns(done(one_, "--hold 120")), few + 100);
}

TEST_F(Restart, FreesRowsForWhoeverHadNone) {
  done(one_ + two_, "--rows 4 --ecmp-rows 2");
  std::string const output = done(one_ + three_, "--rows 4 --ecmp-rows 2");
  EXPECT_TRUE(contains(output, "2 next hops of routes found: 1 used again, 1 removed, 0 held"));
  EXPECT_TRUE(contains(output, "2 other next hops verified: no difference"));
}

TEST_F(Restart, FreesRowsThatWereNeverWritten) {
  // Two keys were given out, and their interfaces were never there.
  replay(one_ + two_, "--rows 4 --ecmp-rows 2 --interface-delay never");
  std::string const output = done(one_ + three_, "--rows 4 --ecmp-rows 2");
  EXPECT_TRUE(contains(output, "2 other next hops verified: no difference"));
}

TEST_F(Restart, RemovesRowsOutsideOfWhereKeysAreNow) {
  done(one_ + two_);
  std::string const output = done(one_ + two_, "--first-row 20000");
  EXPECT_TRUE(contains(output,
                       "2 next hops of routes found: 0 used again, 2 removed, 0 held; 2 "
                       "without an owner"));
  auto const rows = nextHops();
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows.begin()->first, 20000U);
}

TEST_F(Restart, GivesNoNumberThatARowWithoutAnOwnerNames) {
  done(one_ + two_);
  auto const before = nextHops();
  std::filesystem::remove(files_.owners());
  // The stream is not over, so both rows are held.
  std::string const output = done(three_ + one_, "--until 2");
  EXPECT_TRUE(contains(output, "0 used again, 0 removed, 2 held; 2 without an owner"));
  EXPECT_TRUE(contains(output, "left from before the restart: 2 rows\n"));
  auto const after = nextHops();
  ASSERT_EQ(after.size(), 3U);
  for (auto const& [row, contents] : before) {
    EXPECT_EQ(after.at(row), contents);
    EXPECT_NE(after.rbegin()->second.l3Oif1, contents.l3Oif1);
    EXPECT_NE(after.rbegin()->second.fields.destination, contents.fields.destination);
  }
}

TEST_F(Restart, GivesNoNumberThatARowLeftInPlaceNames) {
  files_.clearOnRestartIs(false);
  Bytes const group = announce(11, 3, "10.0.3.1") + announce(12, 4, "10.0.4.1") +
                      announceGroup(20, {{11, 0}, {12, 0}}) + routeTo(20);
  done(group);
  auto const before = nextHops();
  // Its neighbour and interface come back and go again.
  done(one_ + withdrawRouteTo(1) + withdraw(1) + announceRouted(7, 7, "10.0.7.1"));
  auto const after = nextHops();
  ASSERT_EQ(after.size(), 3U);
  for (auto const& [row, contents] : before) {
    EXPECT_EQ(after.at(row), contents);
    EXPECT_NE(after.rbegin()->second.l3Oif1, contents.l3Oif1);
    EXPECT_NE(after.rbegin()->second.fields.destination, contents.fields.destination);
  }
}

TEST_F(Restart, GivesNoNumberThatARefusedWriteLeftInARow) {
  done(one_ + two_, "--mtu 4=9000");
  auto const before = nextHops();
  Ended const refused = replay(one_ + two_, "--mtu 4=4000 --refuse-row 16385");
  EXPECT_EQ(refused.exitCode, 3) << refused.output;
  EXPECT_EQ(nextHops(), before);
  done(three_ + one_, "--until 2 --mtu 4=4000 --mtu 5=5000");
  auto const after = nextHops();
  ASSERT_EQ(after.size(), 3U);
  EXPECT_EQ(after.at(firstRow + 1), before.at(firstRow + 1));
  EXPECT_NE(after.at(firstRow + 2).mtuProfilePtr, before.at(firstRow + 1).mtuProfilePtr);
  EXPECT_NE(after.at(firstRow + 2).l3Oif1, before.at(firstRow + 1).l3Oif1);
}

TEST_F(Restart, WritesWhatIsAskedForInAnotherWay) {
  done(one_ + two_);
  auto const before = nextHops();
  std::string const output = done(one_ + two_, "--mtu 3=9000");
  EXPECT_TRUE(contains(output, "2 next hops of routes found: 2 used again"));
  auto const after = nextHops();
  ASSERT_EQ(after.size(), 2U);
  EXPECT_EQ(after.at(firstRow + 1), before.at(firstRow + 1));
  EXPECT_NE(after.at(firstRow).mtuProfilePtr, before.at(firstRow).mtuProfilePtr);
  // And back: the profile of before has its slot again.
  done(one_ + two_);
  EXPECT_EQ(nextHops(), before);
}

TEST_F(Restart, KnowsThatItsInterfacesAreProgrammed) {
  done(one_);
  Ended const ended = replay(one_ + two_, "--interface-delay never --routes");
  EXPECT_EQ(ended.exitCode, 3) << "10.0.4.1 has no row";
  std::string const& output = ended.output;
  EXPECT_TRUE(contains(output, "10.0.3.1 on interface 3: programmed"));
  EXPECT_TRUE(contains(output, "10.0.4.1 on interface 4: "));
  EXPECT_FALSE(contains(output, "10.0.4.1 on interface 4: programmed"));
}

TEST_F(Restart, ClearsTheRowsForGroupsUnlessToldNotTo) {
  Bytes const group = announce(11, 3, "10.0.3.1") + announce(12, 4, "10.0.4.1") +
                      announceGroup(20, {{11, 0}, {12, 0}}) + routeTo(20);
  done(group);
  EXPECT_EQ(nextHops().size(), 2U);
  std::string const left = done(one_, "--until 0");
  EXPECT_TRUE(
      contains(left, "left        0 next-hop rows, 0 member rows, 0 group rows for groups"));
  EXPECT_EQ(nextHops().size(), 0U);

  files_.clearOnRestartIs(false);
  done(group);
  std::string const kept = done(one_);
  EXPECT_TRUE(contains(kept, "left        2 next-hop rows, 2 member rows, 1 group row for groups"));
  EXPECT_TRUE(contains(kept, "left from before the restart: 5 rows\n"));
  // Until somebody writes them.
  EXPECT_TRUE(contains(done(group), "left        0 next-hop rows, 0 member rows, 0 group rows"));
}

TEST_F(Restart, KeepsTheNumbersThatRowsLeftInPlaceName) {
  files_.clearOnRestartIs(false);
  Bytes const group = announce(11, 3, "10.0.3.1") + announce(12, 4, "10.0.4.1") +
                      announceGroup(20, {{11, 0}, {12, 0}}) + routeTo(20);
  done(group);
  auto const rows = nextHops();
  done(three_);
  auto const now = nextHops();
  ASSERT_EQ(now.size(), 3U);
  for (auto const& [row, contents] : rows) {
    EXPECT_EQ(now.at(row), contents);
    EXPECT_NE(now.at(firstRow).l3Oif1, contents.l3Oif1);
    EXPECT_NE(now.at(firstRow).fields.destination, contents.fields.destination);
  }
  // And no longer than that.
  files_.clearOnRestartIs(true);
  done(three_);
  OwnerBook const book(files_.owners());
  EXPECT_EQ(book.owners(OwnerBook::Kind::neighbour).size(), 1U);
  EXPECT_EQ(book.owners(OwnerBook::Kind::interface).size(), 1U);
  EXPECT_EQ(book.owners(OwnerBook::Kind::row),
            (OwnerBook::Owners{{firstRow, "vrf 0 inet dev 5 via 10.0.5.1"}}));
}

TEST_F(Restart, WarnsOnceOfTogglesThatAreNone) {
  files_.togglesAre("{\"ClearHwTableOnRestart\": 0}\n");
  Ended const ended = replay(one_);
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_TRUE(contains(ended.error, files_.toggles() + ":1:"));
  EXPECT_EQ(lines(ended.error), 1U) << ended.error;
}

TEST_F(Restart, RefusesADirectoryOfTogglesThatIsNotThere) {
  Ended const ended = agent("replay " + stream("forms.0.fpm") + " --toggles /nowhere");
  EXPECT_EQ(ended.exitCode, 2);
  EXPECT_TRUE(contains(ended.error, "--toggles: Directory does not exist: /nowhere"));
}

TEST_F(Restart, RefusesHardwareOfAnotherSize) {
  done(one_);
  Ended const ended = replay(one_, "--rows 1024");
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_TRUE(contains(ended.error, files_.hardware()));
  EXPECT_TRUE(contains(ended.error, "32768") && contains(ended.error, "1024"));
  EXPECT_EQ(nextHops().size(), 1U);
}

TEST_F(Restart, RefusesHardwareThatIsInUse) {
  done(one_);
  {
    SoftAsic::SoftDevice const device({}, SoftAsic::FaultProfiles{}, files_.hardware());
    Ended const ended = replay(two_);
    EXPECT_EQ(ended.exitCode, 1);
    EXPECT_TRUE(contains(ended.error, files_.hardware()) && contains(ended.error, "in use"));
  }
  EXPECT_TRUE(contains(done(one_), "1 next hop of routes found: 1 used again"));
}

TEST_F(Restart, RefusesOwnersThatItCannotRead) {
  done(one_);
  std::string const owners = contentOf(files_.owners());
  std::ofstream(files_.owners(), std::ios::app) << "row 3\nrow three\n";
  Ended const ended = replay(one_);
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_TRUE(contains(ended.error, files_.owners() + ":"));
  EXPECT_TRUE(contains(ended.error, "row three"));
  EXPECT_EQ(nextHops().size(), 1U);
  std::ofstream(files_.owners()) << owners;
  EXPECT_TRUE(contains(done(one_), "1 next hop of routes found: 1 used again"));
}

TEST_F(Restart, RemovesAfterTheHoldTimeWhatHasNoKnownOwner) {
  done(one_ + two_);
  std::filesystem::remove(files_.owners());
  std::string const held = done(one_ + two_ + three_);
  EXPECT_TRUE(
      contains(held, found("2 next hops of routes found: 0 used again, 2 removed, 0 held; 2 "
                           "without an owner")));
  EXPECT_EQ(nextHops().size(), 3U);
  EXPECT_TRUE(contains(done(one_ + two_ + three_), "3 next hops of routes found: 3 used again"));
}

TEST_F(Restart, TakesNoRowForAnOwnerWhoseNumbersAreSomebodyElses) {
  done(one_ + two_);
  // As if the two rows had been noted the wrong way round.
  std::string owners = contentOf(files_.owners());
  std::string const first = "row 16384 vrf 0 inet dev 3 via 10.0.3.1\n";
  std::string const second = "row 16385 vrf 0 inet dev 4 via 10.0.4.1\n";
  ASSERT_NE(owners.find(first), std::string::npos) << owners;
  ASSERT_NE(owners.find(second), std::string::npos) << owners;
  owners.replace(owners.find(first), first.size(), "row 16384 vrf 0 inet dev 4 via 10.0.4.1\n");
  owners.replace(owners.rfind(second), second.size(), "row 16385 vrf 0 inet dev 3 via 10.0.3.1\n");
  std::ofstream(files_.owners()) << owners;
  std::string const output = done(one_ + two_);
  EXPECT_TRUE(contains(output,
                       "2 next hops of routes found: 0 used again, 2 removed, 0 held; 2 "
                       "without an owner"));
  EXPECT_TRUE(contains(output, "2 other next hops verified: no difference"));
}

TEST_F(Restart, TakesNoRowForAnOwnerWhoseInterfaceIsSomebodyElses) {
  done(one_ + two_);
  std::string owners = contentOf(files_.owners());
  for (auto const& [line, other] :
       {std::pair<std::string, std::string>{"interface 1 3\n", "interface 1 4\n"},
        {"interface 2 4\n", "interface 2 3\n"}}) {
    ASSERT_NE(owners.find(line), std::string::npos) << owners;
    owners.replace(owners.find(line), line.size(), other);
  }
  std::ofstream(files_.owners()) << owners;
  std::string const output = done(one_ + two_);
  EXPECT_TRUE(contains(output,
                       "2 next hops of routes found: 0 used again, 2 removed, 0 held; 2 "
                       "without an owner"));
  EXPECT_TRUE(contains(output, "2 other next hops verified: no difference"));
}

TEST_F(Restart, TakesNoRowWhoseMtuProfileIsNobodys) {
  done(one_ + two_, "--mtu 4=9000");
  std::string owners = contentOf(files_.owners());
  std::string const line = "mtu-profile 2 9000\n";
  ASSERT_NE(owners.find(line), std::string::npos) << owners;
  owners.erase(owners.find(line), line.size());
  std::ofstream(files_.owners()) << owners;
  EXPECT_TRUE(contains(done(one_ + two_), "1 used again, 1 removed, 0 held; 1 without an owner"));
}

// Follows what the file of owners says while rows come and go.
class OwnersFollowed final : public SoftAsic::CallObserver {
 public:
  explicit OwnersFollowed(std::string owners) : owners_(std::move(owners)) {}
  void callIs(SoftAsic::Call const& call) override {
    if (call.table != SoftAsic::TableId::ingressNextHops) return;
    std::string const name = "\nrow " + std::to_string(call.row);
    std::string const text = contentOf(owners_);
    std::size_t const last = std::max(text.rfind(name + " ") + 1, text.rfind(name + "\n") + 1);
    EXPECT_NE(last, 0U) << "row " << call.row << " was never noted";
    EXPECT_EQ(text.at(last + name.size() - 1), ' ') << "row " << call.row << " is struck";
    ++(call.kind == SoftAsic::Call::Kind::write ? writes : removals);
  }

  int writes = 0;
  int removals = 0;

 private:
  std::string owners_;
};

TEST_F(Restart, NotesAnOwnerBeforeHisRowIsWrittenAndStrikesHimAfterItIsGone) {
  TemporaryFile const file(one_ + two_ + withdrawRouteTo(1) + three_ + withdrawRouteTo(2) +
                           routeTo(1));
  ReplayOptions options;
  options.file = file.path();
  options.hardwareFile = files_.hardware();
  options.slice = 1;
  OwnersFollowed followed(files_.owners());
  Replay replay(options);
  replay.hardware().device().observerIs(&followed);
  while (replay.turn()) {
  }
  replay.hardware().device().observerDel(&followed);
  EXPECT_EQ(followed.writes, 4);
  EXPECT_EQ(followed.removals, 2);
}

TEST_F(Restart, TakesNotMuchLongerThanTheFirstStart) {
  Bytes many;
  for (std::uint32_t id = 1; id <= 20000; ++id) {
    many += announceRouted(
        id, 1 + id % 2000,
        ("10.200." + std::to_string(id >> 8U) + "." + std::to_string(id & 0xFFU)).c_str());
  }
  TemporaryFile const file(many);
  auto const run = [&] {
    auto const start = std::chrono::steady_clock::now();
    Ended const ended =
        agent("replay '" + file.path() + "' --slice 1000 --rows 65536" + files_.options());
    EXPECT_EQ(ended.exitCode, 0) << ended.error;
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  double const first = run();
  double const again = std::min(run(), run());
  // Were it quadratic, it would be more than ten times as long.
  EXPECT_LT(again, 4 * first + 0.5);
}

TEST_F(Restart, TouchesNoRowWhenATableIsNotToBeHad) {
  done(one_ + announce(11, 3, "10.0.3.1") + announce(12, 4, "10.0.4.1") +
       announceGroup(20, {{11, 0}, {12, 0}}) + routeTo(20));
  auto const before = nextHops();
  ASSERT_EQ(before.size(), 3U);
  TemporaryFile const file(one_);
  Ended const ended =
      agent("--plugin-root /nowhere replay '" + file.path() + "'" + files_.options());
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_EQ(nextHops(), before);
}

TEST_F(Restart, MakesNoHardwareBesideOwnersThatItCannotRead) {
  std::filesystem::create_directory(files_.owners());
  Ended const directory = replay(one_);
  EXPECT_EQ(directory.exitCode, 1);
  EXPECT_TRUE(contains(directory.error, files_.owners() + ": this is no file of owners"));
  EXPECT_FALSE(std::filesystem::exists(files_.hardware()));
  std::filesystem::remove(files_.owners());
  std::ofstream(files_.owners()) << "garbage\n";
  EXPECT_EQ(replay(one_).exitCode, 1);
  EXPECT_FALSE(std::filesystem::exists(files_.hardware()));
}

TEST_F(Restart, FollowsALinkToTheHardware) {
  done(one_);
  std::string const link = files_.hardware() + ".link";
  std::filesystem::create_symlink(files_.hardware(), link);
  TemporaryFile const file(one_);
  Ended const ended = agent("replay '" + file.path() + "' --hardware-file '" + link + "'");
  EXPECT_TRUE(contains(ended.output, "1 next hop of routes found: 1 used again"));
  EXPECT_FALSE(std::filesystem::exists(link + ".owners"));
}

TEST_F(Restart, WantsAFileOfItsOwn) {
  TemporaryFile const file(one_);
  Ended const same = agent("replay '" + file.path() + "' --hardware-file '" + file.path() + "'");
  EXPECT_EQ(same.exitCode, 2);
  EXPECT_TRUE(contains(same.error, "--hardware-file"));
  EXPECT_EQ(contentOf(file.path()), one_);
  Ended const journal = agent("replay '" + file.path() + "'" + files_.options() + " --journal '" +
                              files_.owners() + "'");
  EXPECT_EQ(journal.exitCode, 2);
  Ended const foreign =
      agent("replay " + stream("forms.0.fpm") + " --hardware-file '" + file.path() + "'");
  EXPECT_EQ(foreign.exitCode, 1);
  EXPECT_TRUE(contains(foreign.error, file.path()));
  EXPECT_EQ(contentOf(file.path()), one_);
}

TEST_F(Restart, EndsRecordedStreamsWhereTheyEndedBefore) {
  for (std::string const name : {"forms.0.fpm", "w1-static.0.fpm", "weights.0.fpm", "misc.0.fpm",
                                 "flap-static.0.fpm", "churn-500-1to16way.0.fpm"}) {
    SCOPED_TRACE(name);
    files_.hardwareDel();
    std::string const command =
        "replay " + stream(name) + files_.options() + " --verify --check-forwarding --routes";
    Ended const first = agent(command);
    auto const rows = nextHops();
    Ended const second = agent(command);
    EXPECT_EQ(second.exitCode, 0) << second.output;
    EXPECT_EQ(routesOf(second.output), routesOf(first.output));
    EXPECT_EQ(nextHops().size(), rows.size());
  }
}

}  // namespace
}  // namespace OrviaL3Agent
