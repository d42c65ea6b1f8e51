// Runs streams about groups, with every hardware call watched and the rows of the end compared with
// what the stream asks for.
#pragma once

#include <gtest/gtest.h>
#include <linux/rtnetlink.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent::Testing {

// The withdrawal of a route that the agent has.
inline Bytes withdrawalOf(RouteKey const& key) {
  bool const isIpv6 = key.address.family == AF_INET6;
  Bytes const bytes(reinterpret_cast<char const*>(key.address.bytes.data()), isIpv6 ? 16 : 4);
  return frame(message(RTM_DELROUTE, routeHeader(key.address.family, key.length, RTN_UNSPEC) +
                                         attribute(RTA_DST, bytes) +
                                         u32Attribute(RTA_PRIORITY, key.priority) +
                                         u32Attribute(RTA_TABLE, key.table)));
}

// What is left to be withdrawn of each kind.
struct Withdrawals {
  Bytes routes, groups, nextHops;
};
inline Withdrawals withdrawalsOf(Replay const& replay) {
  Withdrawals all;
  for (auto const& [key, route] : replay.mapping().routes().routes()) {
    all.routes += withdrawalOf(key);
  }
  for (auto const& [id, entry] : replay.mapping().ids().ids()) {
    if (!entry.known() || entry.withdrawn) continue;
    (entry.as<Fpm::NextHopGroup>() != nullptr ? all.groups : all.nextHops) += withdraw(id);
  }
  return all;
}

// Turns in which nothing is said that means anything: every message takes a place in a slice.
inline Bytes idleTurns(int turns, int slice = 16) {
  Bytes bytes;
  for (int i = 0; i < turns * slice; ++i) bytes += frame(message(RTM_NEWLINK, ""));
  return bytes;
}

// The interfaces of the rows of a group's block, as the hardware has them.
using Interfaces = std::vector<std::uint32_t>;
inline Interfaces interfaces(ShownGroup const& group) {
  Interfaces found;
  for (ShownMember const& member : group.members) {
    found.push_back(member.identity.value().interfaceIndex());
  }
  return found;
}

class GroupFixture : public ReplayFixture {
 protected:
  using State = ShownGroup::State;
  using IdState = ShownGroupId::State;
  using GroupContents = SoftAsic::GroupContents;

  GroupFixture() {
    withGroups();
    options.verify = true;
    options.checkForwarding = true;
  }

  // At no call a group led anywhere but where its record said.
  void expectNoInstant() {
    ForwardingCheck const& check = replay().forwardingCheck().value();
    EXPECT_EQ(check.total(), 0U) << text(check);
    EXPECT_GE(check.calls(), replay().hardware().calls());
  }
  // The hardware holds what the stream asked for, and nothing else.
  void expectVerified() {
    Differences const differences = replay().differences();
    EXPECT_TRUE(differences.empty()) << text(differences);
  }
  void expectRight() {
    expectNoInstant();
    expectVerified();
  }

  void interfaceIs(std::uint32_t interface, bool up) {
    replay().happen({std::nullopt, InterfaceEvent{interface, up}});
  }
  void retry() { replay().happen({std::nullopt, Retry()}); }
  void faultsOff() { replay().happen({std::nullopt, FaultsOff()}); }
  SoftAsic::SoftDevice& device() { return replay().hardware().device(); }
  SoftAsic::FaultProfile& fault(SoftAsic::TableId table) { return options.faults.of(table); }

  // Some turns, whether or not something is left to do.
  void turns(int count) {
    for (int i = 0; i < count; ++i) replay().turn();
  }
  // Until nothing is left to do; answers that were lost do not count.
  void settle() {
    while (replay().turn()) {
    }
  }
  // The stream so far, to its end, with nothing left to do, and everything at hand.
  Report startAndSettle(Bytes const& stream) {
    start(stream);
    settle();
    return replay().report();
  }

  Bytes const three =
      announce(1, 2, "10.0.1.2") + announce(2, 3, "10.0.2.2") + announce(3, 4, "fe80::3");
};

}  // namespace OrviaL3Agent::Testing
