// The L3 ECMP member table: one ECMP group occupies a run of consecutive rows, one row per path.
//
// Keyed by whole blocks of members. The table places each block in a run of rows, writes every
// member row and hands back one handle for the block, whose hwEntryIndex() is the first row of the
// run. Equal blocks share one handle and one run. A block waits until the next hops of all its
// members are programmed, also when they are already: it always passes through the unresolved
// state.
//
// Only blocks that live while callers hold their handle exist here: releasing the handle always
// removes the block from hardware and frees its rows. To change a group, reference the new block
// and let the old one's handle go.
//
// The table publishes at once: when the rows have been handed to the utility, the block's handle
// shows its base row and success; the hardware's answers to member rows change no handle. With no
// hardware to call the handle stays unprogrammed, unless PublishSwitch.h says otherwise.
//
// A table without a free run lets the allocator's exception pass (see AllocatedRowTable.h); the
// block stays committed without rows. Committing a block before doInitComplete() aborts.
//
// One thread; callers hold counted references to the table and to the handles.
#pragma once

#include "Asic/AnySizedBlockAllocator.h"
#include "Asic/AutoRemoveType.h"
#include "OrviaL3Unicast/L3EcmpEntryBlock.h"
#include "OrviaL3Unicast/engine/EntryHandle.h"
#include "OrviaL3Unicast/engine/NeededHandles.h"
#include "OrviaL3Unicast/engine/RawHandleRegistry.h"
#include "OrviaL3Unicast/engine/TableUtil.h"
#include "OrviaL3Unicast/plumbing/Export.h"
#include "OrviaL3Unicast/plumbing/UtilLoader.h"

namespace OrviaL3Unicast {

class L3EcmpMemberTable;
class L3EcmpMemberTableUtil;
class L3EcmpMemberTableUtilLoader;
class L3EcmpUnresolvedEntryBlock;

// The framework module of this unit's types.
ORVIA_L3_EXPORT extern Vek::VekModule const _L3EcmpMemberTable_f39f0387_vekModule;

struct L3EcmpMemberTraits {
  using Table = L3EcmpMemberTable;
  using Key = L3EcmpEntryBlock;
  using Entry = L3EcmpMember;
  using Util = L3EcmpMemberTableUtil;
  using UtilLoader = L3EcmpMemberTableUtilLoader;
  using UnresolvedEntryBlock = L3EcmpUnresolvedEntryBlock;
  using HwKey = L3EcmpMemberIndex;
  using KeyHash = plumbing::ValueHash;

  static constexpr bool ownsRows = true;
  static constexpr bool holdsBlocks = true;
  static constexpr plumbing::FixedString qualifiedName = "OrviaL3Unicast::L3EcmpMemberTable";
  static constexpr plumbing::FixedString keyText = "OrviaL3Unicast::L3EcmpMemberTable::EntryBlock";
  static constexpr char const* sourceUnit() { return "L3EcmpMemberTable"; }
  static constexpr char const* traceHandleName() { return "OrviaL3UnicastL3EcmpMemberTable"; }
  static constexpr Vek::VekModule const* module() { return &_L3EcmpMemberTable_f39f0387_vekModule; }
  static constexpr std::uint16_t noNumber = 0xFFFF;  // there are no pending reactors here
  static constexpr engine::TypeNumbers numbers{.table = 0,
                                               .entryHandle = 4,
                                               .pendingEntrySm = noNumber,
                                               .unresolvedEntry = 6,
                                               .neededEntryHandleSm = 7,
                                               .util = 8,
                                               .utilLoader = 9};
  static constexpr std::uint16_t keyNumber = 3;
  // How the block allocator reads a block.
  static constexpr Vek::VekType keyType() { return {module(), keyNumber}; }
};
static_assert(engine::TableTraits<L3EcmpMemberTraits>);

extern template class ORVIA_L3_EXPORT engine::TableLink<L3EcmpMemberTraits>;
extern template class ORVIA_L3_EXPORT engine::TableBase<L3EcmpMemberTraits>;
extern template class ORVIA_L3_EXPORT engine::RawHandleRegistry<L3EcmpMemberTraits>;
extern template class ORVIA_L3_EXPORT engine::EntryHandle<L3EcmpMemberTraits>;
extern template class ORVIA_L3_EXPORT engine::NeededEntryHandleSm<L3EcmpMemberTraits>;
extern template class ORVIA_L3_EXPORT engine::NeededHandleTally<L3EcmpMemberTraits>;
extern template class ORVIA_L3_EXPORT plumbing::UtilLoader<L3EcmpMemberTraits>;

// A block that waits until the next hops of all its members are programmed. One watcher per
// position, keyed by the position; each counts once. A member without a handle is watched by a
// watcher that watches nothing: such a block waits for ever, and so does one of size 0, which has
// no watchers.
class ORVIA_L3_EXPORT L3EcmpUnresolvedEntryBlock final
    : public Vek::Tracked<L3EcmpUnresolvedEntryBlock,
                          engine::NeededHandleTally<L3EcmpMemberTraits>> {
 public:
  using EntryBlock = L3EcmpEntryBlock;
  using Ptr = Vek::Ptr<L3EcmpUnresolvedEntryBlock>;

  explicit L3EcmpUnresolvedEntryBlock(EntryBlock const& block);
  [[nodiscard]] Vek::VekType fwkType() const override;
  ~L3EcmpUnresolvedEntryBlock() override;

  static Vek::VekType classType();
  static constexpr char const* typeName() {
    return "OrviaL3Unicast::L3EcmpMemberTable::UnresolvedEntryBlock";
  }

  [[nodiscard]] EntryBlock const& key() const { return key_; }
  // The table in whose collection this is, or none; without one the block is never committed.
  [[nodiscard]] L3EcmpMemberTable* table() const { return table_; }

  // Starts the watchers; when all next hops are programmed already, the block is committed and this
  // leaves the table before the call returns.
  void initializeUnresolvedEntryBlock(EntryBlock const& block);
  void handleEntryHandleProgramSuccessCount() override;

 private:
  friend class L3EcmpMemberTable;
  struct Hook {
    static Vek::ChainHook<L3EcmpUnresolvedEntryBlock>& of(L3EcmpUnresolvedEntryBlock& block) {
      return block.hook_;
    }
  };

  EntryBlock const key_;
  L3EcmpMemberTable* table_ = nullptr;
  Vek::ChainHook<L3EcmpUnresolvedEntryBlock> hook_;  // of the table's collection
};

class ORVIA_L3_EXPORT L3EcmpMemberTable final
    : public Vek::Tracked<L3EcmpMemberTable, engine::RawHandleRegistry<L3EcmpMemberTraits>> {
 public:
  using Index = L3EcmpMemberIndex;
  using Entry = L3EcmpMember;
  using EntryBlock = L3EcmpEntryBlock;
  using EntryHandle = engine::EntryHandle<L3EcmpMemberTraits>;
  using UnresolvedEntryBlock = L3EcmpUnresolvedEntryBlock;

  // A table ready to be attached to its platform.
  static Vek::Ptr<L3EcmpMemberTable> L3EcmpMemberTableIs();

  // A table lives on the heap and is held by counted references only.
  L3EcmpMemberTable();
  // Lets go of everything without a hardware call; what the hardware holds stays in it. A handle
  // that outlives the table is cut off from it.
  ~L3EcmpMemberTable() override;

  // The agent (re)started: empties the hardware table when engine/RestartToggle.h says so, whether
  // or not hardware is ready; otherwise does not touch it. Aborts with " non-empty swTable before
  // syncing from hwTable" when a block is committed; waiting ones do not count.
  void syncEntries() override;
  // Creates the block allocator over numEntries() rows. Reserves nothing: blocks start from row 0.
  void doInitComplete() override;

  // Offers Asic::needsAutoRemove() only, which is entryBlockRef; aborts otherwise.
  EntryHandle::PtrConst entryBlockWrite(EntryBlock const& block,
                                        Asic::AutoRemoveType autoRemoveType);
  // The handle of the block, found or made; the block lives while callers hold it. Raises
  // Vek::Exception "Unsupported behavior" when the block does not hold as many members as its size;
  // aborts when a waiting block has no registered handle.
  EntryHandle::PtrConst entryBlockRef(EntryBlock const& block);

  // --- Committed blocks. The changing operations are not for callers.

  [[nodiscard]] bool entryBlockExists(EntryBlock const& block) const;
  [[nodiscard]] std::size_t entryBlocks() const { return entryBlocks_; }
  // Commits and programs a block, then announces it; nothing when it is committed.
  void entryBlockIs(EntryBlock const& block);
  // Takes a committed block out, deletes its rows and announces; false when it was not committed.
  bool entryBlockDel(EntryBlock const& block);
  void entryBlockDelAll();
  // Brings the hardware in line with the committed blocks for one block. Members are written in
  // ascending row order; the handle is published after the last.
  void handleEntryBlock(EntryBlock const& block);

  // --- Waiting blocks. Creation and removal announce; finding does not.

  UnresolvedEntryBlock::Ptr unresolvedEntryBlockIs(EntryBlock const& block);
  UnresolvedEntryBlock::Ptr unresolvedEntryBlockDel(EntryBlock const& block);
  void unresolvedEntryBlockDelAll();
  [[nodiscard]] UnresolvedEntryBlock::Ptr unresolvedEntryBlock(EntryBlock const& block) const;
  [[nodiscard]] std::size_t unresolvedEntryBlocks() const { return unresolvedEntryBlocks_; }

  // --- Handles.

  [[nodiscard]] bool entryHandleExists(EntryBlock const& block) const {
    return rawEntryHandleHas(block);
  }
  [[nodiscard]] Vek::Ptr<EntryHandle> entryHandleAccess(EntryBlock const& block) const {
    return rawEntryHandle(block);
  }
  // A handle is at its end: removes the waiting and the committed block and the registration.
  // Aborts when the block is not registered. Not for callers.
  void cleanupEntry(EntryBlock const& block);

  // --- What the platform supplies.

  [[nodiscard]] Vek::Ptr<Asic::AnySizedBlockAllocator> const& indexAllocator() const {
    return indexAllocator_;
  }
  // The allocator for blocks of that type over that many rows: the present one, or a new one in its
  // place, which is announced. Blocks that the old one placed are not moved.
  Vek::Ptr<Asic::AnySizedBlockAllocator> indexAllocatorIs(Vek::VekType const& blockType,
                                                          unsigned size);
  Vek::Ptr<Asic::AnySizedBlockAllocator> indexAllocatorDel();

  static constexpr char const* typeName() { return L3EcmpMemberTraits::qualifiedName.c_str(); }

 private:
  UnresolvedEntryBlock::Ptr takeUnresolvedEntryBlock(Node& node);
  [[nodiscard]] Asic::AnySizedBlockAllocator& requireAllocator() const;

  Vek::Ptr<Asic::AnySizedBlockAllocator> indexAllocator_;
  // The waiting blocks once more, since walking three of a million should cost three.
  Vek::Chain<UnresolvedEntryBlock, UnresolvedEntryBlock::Hook> waiting_;
  std::size_t entryBlocks_ = 0;
  std::size_t unresolvedEntryBlocks_ = 0;
  bool takingApart_ = false;
};

// What a hardware plug-in implements for this table: a row is one member of a block.
class ORVIA_L3_EXPORT L3EcmpMemberTableUtil : public engine::TableUtil<L3EcmpMemberTraits> {
 public:
  explicit L3EcmpMemberTableUtil(Vek::String const& name);
  [[nodiscard]] Vek::VekType fwkType() const override;
  ~L3EcmpMemberTableUtil() override;

  static Vek::VekType classType();
};

// Brings the plug-ins of this table's directory; the process has one, made when the library is
// loaded.
class ORVIA_L3_EXPORT L3EcmpMemberTableUtilLoader final
    : public plumbing::UtilLoader<L3EcmpMemberTraits> {
 public:
  explicit L3EcmpMemberTableUtilLoader(Vek::String const& name);
  ~L3EcmpMemberTableUtilLoader() override;
};

// A table ready to be attached to its platform: what L3EcmpMemberTable::L3EcmpMemberTableIs()
// gives.
ORVIA_L3_EXPORT Vek::Ptr<L3EcmpMemberTable> l3EcmpMemberTableFactory();

}  // namespace OrviaL3Unicast

namespace Loader {
extern template ORVIA_L3_EXPORT Vek::Ptr<OrviaL3Unicast::L3EcmpMemberTableUtilLoader const>
Singleton::inst<OrviaL3Unicast::L3EcmpMemberTableUtilLoader>();
}

// The same factory under a name without C++ in it, for whoever loads the library with dlopen and
// looks it up with dlsym. Puts the new table into `table`, which holds the count; a C function
// cannot return a counted reference.
extern "C" ORVIA_L3_EXPORT void orviaL3EcmpMemberTableFactory(
    Vek::Ptr<OrviaAsicUtils::SwTable>& table);
