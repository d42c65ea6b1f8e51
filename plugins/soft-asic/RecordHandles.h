// What a record says of other tables' entries, for whoever watches the calls.
//
// Threading: the tables'. Fills a call's fields; owns nothing.
#pragma once

#include <cstdint>

#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "plugins/soft-asic/Call.h"

namespace SoftAsic {

inline void countHandle(Call& call, OrviaL3Unicast::engine::NeededHandle const& handle) {
  if (handle && !handle->isProgrammed()) ++call.unprogrammedHandles;
}

template <class Name>
void handlesOf(OrviaL3Unicast::NextHopEntry<Name> const& entry, Call& call) {
  countHandle(call, entry.l3Oif1Handle());
  countHandle(call, entry.mtuProfilePtrHandle());
}

inline void handlesOf(OrviaL3Unicast::L3EcmpMember const& member, Call& call) {
  countHandle(call, member.nextHopEntryHandle());
}

// A group's record may name any entry for its block. The members of one that is no block of the
// member table are not known.
template <class Name>
void handlesOf(OrviaL3Unicast::L3EcmpGroupEntry<Name> const& entry, Call& call) {
  auto const handle = entry.ecmpBlockPtrHandle();
  countHandle(call, handle);
  auto const* const block =
      Vek::vekCast<OrviaL3Unicast::L3EcmpMemberTable::EntryHandle>(handle.get());
  if (block == nullptr) return;
  // A position without a next hop has no row.
  call.nextHopRows.assign(block->key().blockSize().value(), Asic::Index::invalidIndex().value());
  for (auto const& [position, member] : block->key().members()) {
    if (position.value() >= call.nextHopRows.size() || !member.nextHopEntryHandle()) continue;
    call.nextHopRows[position.value()] = member.nextHopEntry().value();
  }
}

}  // namespace SoftAsic
