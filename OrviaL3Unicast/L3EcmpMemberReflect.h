// The attributes and operations of what only the member table has: members, blocks, waiting blocks,
// and the table itself. For the unit; the rest of its types come from engine/ReflectTable.h.
#pragma once

#include <array>
#include <optional>

#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "OrviaL3Unicast/engine/ReflectTable.h"
#include "Vek/ReflectBuild.h"

namespace Vek {

template <>
struct VekTypeOf<OrviaL3Unicast::engine::Mode<OrviaL3Unicast::L3EcmpMemberTraits>>
    : OrviaL3Unicast::engine::ModeType<OrviaL3Unicast::L3EcmpMemberTraits> {};
template <>
struct VekTypeOf<OrviaL3Unicast::L3EcmpMember> {
  using Traits = OrviaL3Unicast::L3EcmpMemberTraits;
  static constexpr VekType type{Traits::module(),
                                OrviaL3Unicast::engine::ValueNumbers<Traits>::entry};
};
template <>
struct VekTypeOf<OrviaL3Unicast::L3EcmpEntryBlock> {
  static constexpr VekType type = OrviaL3Unicast::L3EcmpMemberTraits::keyType();
};
template <>
struct VekTypeOf<OrviaL3Unicast::L3EcmpUnresolvedEntryBlock> {
  using Traits = OrviaL3Unicast::L3EcmpMemberTraits;
  static constexpr VekType type{Traits::module(), Traits::numbers.unresolvedEntry};
};

// A member is its handle: told apart by identity.
template <>
struct VekValueHash<OrviaL3Unicast::L3EcmpMember> {
  static std::uint32_t hash(OrviaL3Unicast::L3EcmpMember const& member, unsigned seed) {
    return VekValueHash<VoidPtrConst>::hash(member.nextHopEntryHandle().get(), seed);
  }
};

}  // namespace Vek

namespace OrviaL3Unicast {

// --- Members and blocks.

// The row is read from the handle, which the member itself does not look for.
inline Asic::Index nextHopRow(L3EcmpMember const& member) {
  if (!member.nextHopEntryHandle()) {
    throw Vek::ReflectionException(
        "OrviaL3Unicast::L3EcmpMemberTable::Entry.nextHopEntry: the member has no handle");
  }
  return member.nextHopEntry();
}
struct MemberRows {
  static constexpr Vek::VekAttribute attributes[] = {
      Vek::attribute<L3EcmpMember, &L3EcmpMember::nextHopEntryHandle,
                     &L3EcmpMember::nextHopEntryHandleIs>(1, "nextHopEntryHandle"),
      Vek::attribute<L3EcmpMember, &nextHopRow>(2, "nextHopEntry"),
  };
  static constexpr Vek::VekReflection rows{attributes, {}};
};

// The members of a block, at any position or at those that its size has.
struct AnyMemberElements {
  using Key = L3EcmpMemberIndex;
  using Element = L3EcmpMember;

  static std::optional<Element> read(L3EcmpEntryBlock const& block, Key index) {
    Element const* const member = block.members().find(index);
    return member != nullptr ? std::optional(*member) : std::nullopt;
  }
  static void write(L3EcmpEntryBlock& block, Key index, Element const& member) {
    block.entryInternalIs(index, member);
  }
  static void del(L3EcmpEntryBlock& block, Key index) { block.entryInternalDel(index); }
  static std::size_t count(L3EcmpEntryBlock const& block) { return block.entrys(); }
  static void keys(L3EcmpEntryBlock const& block, auto const& visit) {
    for (auto const& member : block.members()) visit(member.key);
  }
};
struct MemberElements : AnyMemberElements {
  static void write(L3EcmpEntryBlock& block, Key index, Element const& member) {
    block.entryIs(index, member);
  }
};
struct MemberBlockRows {
  static constexpr Vek::VekAttribute attributes[] = {
      // A block's size is given when it is made.
      Vek::attribute<L3EcmpEntryBlock, &L3EcmpEntryBlock::blockSize>(1, "blockSize"),
      Vek::collection<L3EcmpEntryBlock, AnyMemberElements>(2, "entryInternal"),
      Vek::collection<L3EcmpEntryBlock, MemberElements>(3, "entry"),
  };
  static constexpr Vek::VekReflection rows{attributes, {}};
};

// --- Waiting blocks and the table.

struct MemberWaitingRows {
  using Waiting = L3EcmpUnresolvedEntryBlock;
  static constexpr auto attributes =
      engine::joined(std::array{Vek::attribute<Waiting, &Waiting::key>(1, "key")},
                     engine::tallyAttributes<L3EcmpMemberTraits, Waiting>(2));
  static constexpr Vek::VekOperation operations[] = {
      Vek::operation("initializeUnresolvedEntryBlock", {},
                     {{"block", Vek::reflectedType<L3EcmpEntryBlock>}}),
      engine::resolveOperation<Waiting>(),
  };
  static constexpr Vek::VekReflection rows{attributes, operations};
};

// The committed blocks: a set, whose elements are their keys.
struct CommittedBlockElements {
  using Key = L3EcmpEntryBlock;
  using Element = L3EcmpEntryBlock;

  static std::optional<Element> read(L3EcmpMemberTable const& table, Key const& block) {
    return table.entryBlockExists(block) ? std::optional(block) : std::nullopt;
  }
  static void write(L3EcmpMemberTable& table, Key const& block, Element const& same) {
    if (!(block == same)) {
      throw Vek::ReflectionException(
          "OrviaL3Unicast::L3EcmpMemberTable.entryBlock: a block is its own key");
    }
    table.entryBlockIs(block);
  }
  static void del(L3EcmpMemberTable& table, Key const& block) { table.entryBlockDel(block); }
  static std::size_t count(L3EcmpMemberTable const& table) { return table.entryBlocks(); }
  static void keys(L3EcmpMemberTable const& table, auto const& visit) {
    engine::StoreView<L3EcmpMemberTraits>::keys(
        table, [](auto const& columns) { return columns.entryBlock; }, visit);
  }
};
struct WaitingBlockElements {
  using Key = L3EcmpEntryBlock;
  using Element = L3EcmpUnresolvedEntryBlock::Ptr;

  static std::optional<Element> read(L3EcmpMemberTable const& table, Key const& block) {
    return table.unresolvedEntryBlock(block);
  }
  static void del(L3EcmpMemberTable& table, Key const& block) {
    table.unresolvedEntryBlockDel(block);
  }
  static std::size_t count(L3EcmpMemberTable const& table) { return table.unresolvedEntryBlocks(); }
  static void keys(L3EcmpMemberTable const& table, auto const& visit) {
    engine::StoreView<L3EcmpMemberTraits>::keys(
        table, [](auto const& columns) { return columns.unresolvedEntryBlock != nullptr; }, visit);
  }
};

struct MemberTableRows {
  using Table = L3EcmpMemberTable;
  using Attribute = engine::TableAttribute;
  static constexpr Vek::VekAttribute attributes[] = {
      Vek::attribute<L3EcmpMemberTable, &L3EcmpMemberTable::indexAllocator>(
          Attribute::indexAllocator, "indexAllocator"),
      Vek::collection<L3EcmpMemberTable, engine::RawHandleElements<L3EcmpMemberTraits>>(
          Attribute::rawEntryHandle, "rawEntryHandle"),
      Vek::collection<L3EcmpMemberTable, WaitingBlockElements>(Attribute::unresolvedEntryBlock,
                                                               "unresolvedEntryBlock"),
      Vek::collection<L3EcmpMemberTable, CommittedBlockElements>(Attribute::entryBlock,
                                                                 "entryBlock"),
  };
  static constexpr Vek::VekArgument block{"block", Vek::reflectedType<L3EcmpEntryBlock>};
  static constexpr Vek::VekArgument autoRemove{"autoRemove",
                                               Vek::reflectedType<Asic::AutoRemoveType>};
  static constexpr Vek::VekType handle =
      Vek::VekTypeOf<engine::EntryHandle<L3EcmpMemberTraits>>::type;
  static constexpr Vek::VekOperation operations[] = {
      Vek::operation("entryBlockWrite", handle, {block, autoRemove}),
      Vek::operation("entryBlockRef", handle, {block}),
      Vek::operation("entryDummyWrite", {}, {autoRemove}),
      Vek::operation("entryHandleAccess", handle, {block}),
      Vek::operation("entryHandleExists", Vek::reflectedType<bool>, {block}),
      Vek::operation("handleEntryBlock", {}, {block}),
      Vek::operation<L3EcmpMemberTable, &L3EcmpMemberTable::syncEntries>("syncEntries"),
  };
  static constexpr Vek::VekReflection rows{attributes, operations};
};

}  // namespace OrviaL3Unicast
