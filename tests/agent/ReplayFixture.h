// Runs made-up and recorded streams through a Replay.
//
//   class SubjectTest : public ReplayFixture {};
//   TEST_F(SubjectTest, DoesSomething) {
//     Report const report = run(announce(1, 2, "10.0.0.1") + announceRoute("10.1.0.0", 16, 1));
//     EXPECT_EQ(ingress(report, via(2, "10.0.0.1")).row, 1U);
//   }
//
// Rows from 1 up are for next hops of routes, which makes short numbers and leaves no row for those
// of groups; tests with groups call withGroups().
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Vek/Memory.h"
#include "agent/Replay.h"
#include "agent/RouteText.h"
#include "tests/agent/StreamBuilder.h"

namespace OrviaL3Agent::Testing {

// Whether everything takes ten times as long: tests that repeat one thing with many inputs take
// fewer of them then. The build without sanitizers takes them all.
#ifdef __SANITIZE_ADDRESS__
inline constexpr bool kIsSlow = true;
#else
inline constexpr bool kIsSlow = false;
#endif
// Whether a build and a machine are judged by the time that things take: only when asked for.
inline bool isTimed() { return std::getenv("ORVIA_TIMED") != nullptr; }

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

// What a next hop or path over this gateway, or over none, is to the agent.
inline Identity via(std::uint32_t interface, char const* gateway, bool onlink = false) {
  Bytes const bytes = address(gateway);
  std::array<std::uint8_t, 16> octets{};
  std::copy(bytes.begin(), bytes.end(), octets.begin());
  auto const of = bytes.size() == 16
                      ? Asic::GatewayAddress::ipv6(octets)
                      : Asic::GatewayAddress::ipv4({octets[0], octets[1], octets[2], octets[3]});
  return Identity::viaGateway(kVrf, of, interface, onlink);
}
inline Identity connected(std::uint32_t interface,
                          Asic::AddressFamily family = Asic::AddressFamily::ipv4) {
  return {kVrf, family, interface};
}

// Looks into a report; std::out_of_range when it is not there.
inline ShownNextHop const& shown(NextHopReport const& report, Identity const& identity) {
  for (ShownNextHop const& nextHop : report.live) {
    if (nextHop.identity == identity) return nextHop;
  }
  throw std::out_of_range("no next hop " + text(identity));
}
// Of routes, and of groups.
inline ShownNextHop const& ingress(Report const& report, Identity const& identity) {
  return shown(report.ingress, identity);
}
inline ShownNextHop const& ecmp(Report const& report, Identity const& identity) {
  return shown(report.ecmp, identity);
}
inline ShownGroup const& group(Report const& report, std::uint32_t number) {
  for (ShownGroup const& live : report.groups.live) {
    if (live.number == number) return live;
  }
  throw std::out_of_range("no group " + std::to_string(number));
}
inline ShownGroupId const& groupId(Report const& report, std::uint32_t id) {
  for (ShownGroupId const& live : report.groups.ids) {
    if (live.id == id) return live;
  }
  throw std::out_of_range("no group id " + std::to_string(id));
}
// The group that the id has, be it one that is in force meanwhile.
inline ShownGroup const& groupOf(Report const& report, std::uint32_t id) {
  return group(report, groupId(report, id).group.value());
}

class ReplayFixture : public ::testing::Test {
 protected:
  ReplayFixture() { options.ecmpRows = 1; }

  // No delay and answers at once: every record goes straight to the hardware.
  void withoutWaiting() {
    options.interfaceDelay = 0;
    options.mtuDelay = 0;
    options.answer = ReplayOptions::Answer::now;
  }
  // The lower half of few rows is for next hops of groups: 1 to 31. Those of routes have 32 to 63.
  void withGroups() {
    options.rows = 64;
    options.ecmpRows.reset();
  }
  // Keeps the hardware calls; see calls().
  void withJournal() { options.journalFile = "kept and never saved"; }

  // The replay of a made-up stream, before its first turn.
  Replay& start(Bytes const& stream) {
    replay_.reset();
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
  // Runs until so many messages have been handled, turn by turn: exact with a slice of 1.
  void runUntil(std::uint64_t messages) {
    while (replay().report().stream.messages < messages) {
      if (!replay().turn()) return;
    }
  }
  Replay& replay() { return *replay_; }
  void end() { replay_.reset(); }

  // The hardware calls so far, from the `first` one on: "ingress write 1", "group remove 3".
  // Requires withJournal(). Not counted: the calls by which every start empties the tables that
  // choose their rows.
  [[nodiscard]] std::vector<std::string> calls(std::size_t first = 0) {
    std::vector<std::string> texts;
    auto const& journal = replay().journal().value().calls();
    for (std::size_t i = 0; i < 3; ++i) {
      if (journal.at(i).kind != SoftAsic::Call::Kind::removeAll) {
        throw std::logic_error("a start that empties no tables");
      }
    }
    for (std::size_t i = first + 3; i < journal.size(); ++i) {
      constexpr std::array<char const*, 3> kinds{"write", "remove", "removeAll"};
      texts.push_back(std::string(SoftAsic::name(journal[i].table)) + " " +
                      kinds.at(static_cast<std::size_t>(journal[i].kind)) + " " +
                      std::to_string(journal[i].row));
    }
    return texts;
  }

  // The route's line of `--lookup`, without the address that was asked for.
  [[nodiscard]] std::string way(char const* destination) {
    std::string const line = lookupText(replay().mapping(), addressOf(destination).value());
    return line.substr(line.find(": ") + 2);
  }

  // Runs the last stream once more with `more` behind it, and then the withdrawal of every route,
  // of every group id and of every other id that is live.
  void expectNothingLeftAfter(Bytes const& more);

  ReplayOptions options;

 private:
  std::unique_ptr<TemporaryFile> file_;
  std::unique_ptr<Replay> replay_;
};

// Nothing is left in the four tables, the hardware or the agent.
inline void expectNothingLeft(Replay const& replay) {
  Mapping const& mapping = replay.mapping();
  Mapping::Tables const& tables = mapping.tables();
  auto const expectEmpty = [](auto const& table, char const* name) {
    EXPECT_EQ(table.entrys(), 0U) << name;
    EXPECT_EQ(table.entryHandles(), 0U) << name;
    EXPECT_EQ(table.pendingEntrySms(), 0U) << name;
    EXPECT_EQ(table.unresolvedEntrys(), 0U) << name;
  };
  expectEmpty(*tables.ingress, "ingress");
  expectEmpty(*tables.ecmp, "ecmp");
  expectEmpty(*tables.groups, "groups");
  EXPECT_EQ(tables.members->entryBlocks(), 0U);
  EXPECT_EQ(tables.members->unresolvedEntryBlocks(), 0U);

  Hardware const& hardware = replay.hardware();
  SoftAsic::SoftDevice const& device = hardware.device();
  EXPECT_EQ(Hardware::rowsInForce(device.ingressNextHops()), 0U);
  EXPECT_EQ(Hardware::rowsInForce(device.ecmpNextHops()), 0U);
  EXPECT_EQ(Hardware::rowsInForce(device.members()), 0U);
  EXPECT_EQ(Hardware::rowsInForce(device.groups()), 0U);
  EXPECT_EQ(hardware.rowsInForce(), 0U);

  EXPECT_EQ(mapping.routes().routes().size(), 0U);
  EXPECT_EQ(mapping.groupIds().ids().size(), 0U);
  EXPECT_EQ(mapping.groups().groups().size(), 0U);
  EXPECT_EQ(mapping.ids().ids().size(), 0U);
  EXPECT_EQ(mapping.ids().identities(), 0U);
  EXPECT_TRUE(mapping.ingress().hops().empty());
  EXPECT_TRUE(mapping.ecmp().hops().empty());

  Report const report = replay.report();
  EXPECT_EQ(report.interfaces, 0U);
  for (TableUse const* use :
       {&report.groups.nextHopTable, &report.groups.memberTable, &report.groups.groupTable}) {
    EXPECT_EQ(use->inUse, 0U);
  }
  EXPECT_EQ(Vek::vekLiveObjects("OrviaL3Agent::RowKey"), 0U);
  EXPECT_EQ(Vek::vekLiveObjects("OrviaL3Agent::StandInTable::Entry"), 0U);
}

inline void ReplayFixture::expectNothingLeftAfter(Bytes const& more) {
  Bytes stream = contentOf(options.file) + more;
  run(stream);
  Mapping const& mapping = replay().mapping();
  for (auto const& [key, route] : mapping.routes().routes()) {
    rtmsg header{};
    header.rtm_family = key.address.family;
    header.rtm_dst_len = key.length;
    header.rtm_type = RTN_UNICAST;
    Bytes const bytes(reinterpret_cast<char const*>(key.address.bytes.data()),
                      key.address.family == AF_INET6 ? 16 : 4);
    stream += frame(message(RTM_DELROUTE, raw(header) + attribute(RTA_DST, bytes) +
                                              u32Attribute(RTA_PRIORITY, key.priority) +
                                              u32Attribute(RTA_TABLE, key.table)));
  }
  for (auto const& [id, group] : mapping.groupIds().ids()) stream += withdraw(id);
  for (auto const& [id, contents] : mapping.ids().ids()) {
    if (contents.known() && !contents.as<Fpm::NextHopGroup>()) stream += withdraw(id);
  }
  run(stream);
  expectNothingLeft(replay());
}

}  // namespace OrviaL3Agent::Testing
