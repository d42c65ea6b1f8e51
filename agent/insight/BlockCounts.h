// How many blocks of member rows are in which state.
//
//   BlockCounts blocks;
//   for (each group) blocks.add(agent, group);    // in slices, if there are many
//   blocks.finish(agent);
//   blocks.programmed
//
// The member table publishes a block as soon as its rows have been handed over and waits for no
// answer. So a block that the table calls programmed may have rows that the hardware refused or
// lost; it is counted as what it is here. Groups share blocks: each counts once.
//
// Threading: the loop's thread. Ownership: plain values.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>

#include "agent/insight/Causes.h"

namespace OrviaL3Agent::Insight {

struct BlockCounts {
  std::size_t programmed = 0;  // every row took its last write
  std::size_t unanswered = 0;  // none was refused, some were lost
  std::size_t parked = 0;      // waits for its next hops
  std::size_t refused = 0;     // some rows were refused

  // The blocks of the group's latest record and of those before that packets may still take.
  void add(Agent const& agent, Groups::Group const& group) {
    addBlock(agent, group.chain);
    for (Groups::Chain const& chain : group.former) addBlock(agent, chain);
  }
  // After all groups.
  void finish(Agent const& agent) {
    Groups::MemberTable const& members = *agent.mapping().tables().members;
    std::size_t const published = members.entryBlocks();
    parked = members.unresolvedEntryBlocks();
    // What went between two slices is no longer published.
    refused = std::min(refusedAt.size(), published);
    unanswered = std::min(lostAt.size(), published - refused);
    programmed = published - refused - unanswered;
  }
  [[nodiscard]] std::size_t all() const { return programmed + unanswered + parked + refused; }

  // Their first rows.
  std::set<std::uint32_t> refusedAt, lostAt;

 private:
  void addBlock(Agent const& agent, Groups::Chain const& chain) {
    if (!chain.block) return;
    BlockRows const rows = blockRows(agent, chain);
    if (!rows.first) return;
    if (rows.refused > 0) {
      refusedAt.insert(*rows.first);
    } else if (rows.lost > 0) {
      lostAt.insert(*rows.first);
    }
  }
};

}  // namespace OrviaL3Agent::Insight
