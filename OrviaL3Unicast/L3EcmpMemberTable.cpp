#include "OrviaL3Unicast/L3EcmpMemberTable.h"

#include "OrviaL3Unicast/L3EcmpMemberReflect.h"
#include "OrviaL3Unicast/engine/EntryHandle-inl.h"
#include "OrviaL3Unicast/engine/ModuleTypes.h"
#include "OrviaL3Unicast/engine/NeededHandles-inl.h"
#include "OrviaL3Unicast/engine/PublishSwitch.h"
#include "OrviaL3Unicast/engine/RawHandleRegistry-inl.h"
#include "OrviaL3Unicast/engine/Restart-inl.h"
#include "OrviaL3Unicast/engine/TableBase-inl.h"
#include "OrviaL3Unicast/plumbing/Assert.h"
#include "OrviaL3Unicast/plumbing/Trace.h"
#include "Vek/Exception.h"

namespace OrviaL3Unicast {
namespace {

using Traits = L3EcmpMemberTraits;
using plumbing::FixedString;

constexpr Vek::VekTypeInfo types[] = {
    {Traits::numbers.table, Traits::qualifiedName.c_str(),
     Vek::VekTypeOf<OrviaAsicUtils::SwTable>::type, nullptr, nullptr, &MemberTableRows::rows},
    engine::valueType<L3EcmpEntryBlock>(
        Traits::keyNumber, "OrviaL3Unicast::L3EcmpMemberTable::EntryBlock", &MemberBlockRows::rows),
    engine::handleType<Traits>(),
    {Traits::numbers.unresolvedEntry, L3EcmpUnresolvedEntryBlock::typeName(),
     Vek::VekTypeOf<Vek::PtrInterface>::type, nullptr, nullptr, &MemberWaitingRows::rows},
    {Traits::numbers.neededEntryHandleSm,
     "OrviaL3Unicast::L3EcmpMemberTable::UnresolvedEntryBlock::NeededEntryHandleSm",
     Vek::VekTypeOf<Vek::NotifieeConst>::type, nullptr, nullptr,
     &engine::WatcherRows<Traits>::rows},
    engine::utilType<Traits>(),
    engine::utilLoaderType<Traits>(),
    engine::indexType<Traits>(),
    engine::valueType<L3EcmpMember>(engine::ValueNumbers<Traits>::entry,
                                    "OrviaL3Unicast::L3EcmpMemberTable::Entry", &MemberRows::rows),
    engine::modeType<Traits>(),
};

constexpr auto blockWriteSignature =
    plumbing::signature<Traits>(plumbing::constHandleText<Traits>, FixedString("entryBlockWrite"),
                                "const " + Traits::keyText + "&, Asic::AutoRemoveType");
constexpr auto blockRefSignature =
    plumbing::signature<Traits>(plumbing::constHandleText<Traits>, FixedString("entryBlockRef"),
                                "const " + Traits::keyText + "&");
constexpr auto handleBlockSignature = plumbing::signature<Traits>(
    FixedString("void"), FixedString("handleEntryBlock"), "const " + Traits::keyText + "&");

}  // namespace

constinit Vek::VekModule const _L3EcmpMemberTable_f39f0387_vekModule{"L3EcmpMemberTable", types};

template class engine::TableLink<Traits>;
template class engine::TableBase<Traits>;
template class engine::RawHandleRegistry<Traits>;
template class engine::EntryHandle<Traits>;
template class engine::NeededEntryHandleSm<Traits>;
template class engine::NeededHandleTally<Traits>;
template class plumbing::UtilLoader<Traits>;

L3EcmpUnresolvedEntryBlock::L3EcmpUnresolvedEntryBlock(EntryBlock const& block) : key_(block) {}
L3EcmpUnresolvedEntryBlock::~L3EcmpUnresolvedEntryBlock() {
  // Before the block: the end of a handle that only the block kept must find nobody who counts.
  neededEntryHandleSmDelAll();
}
Vek::VekType L3EcmpUnresolvedEntryBlock::fwkType() const { return classType(); }
Vek::VekType L3EcmpUnresolvedEntryBlock::classType() {
  return {Traits::module(), Traits::numbers.unresolvedEntry};
}

void L3EcmpUnresolvedEntryBlock::initializeUnresolvedEntryBlock(EntryBlock const& blockOfCaller) {
  EntryBlock const block = blockOfCaller;
  std::uint16_t const size = block.blockSize().value();
  plumbing::trace<Traits, "initializeUnresolvedEntryBlock",
                  ": initializing the unresolvedEntryBlock, blockSize ", " entrys: ">(
      block.blockSize(), block.entrys());
  Vek::Ptr<L3EcmpUnresolvedEntryBlock> const self(this);
  neededEntryHandleCountIs(size);
  for (std::uint32_t i = 0; i < size; ++i) {
    neededEntryHandleSmIs(block.entry(i).nextHopEntryHandle(), i);
  }
}

void L3EcmpUnresolvedEntryBlock::handleEntryHandleProgramSuccessCount() {
  if (!countIsComplete() || table_ == nullptr) return;
  plumbing::traceLevel8<Traits, "handleEntryHandleProgramSuccessCount",
                        ": Unresolved entry processing completed: ">();
  Ptr const self(this);
  Vek::Ptr<L3EcmpMemberTable> const table(table_);
  table->entryBlockIs(key_);
  // The block may have been released, and referenced anew, meanwhile: the new one stays.
  if (table_ != nullptr) table->unresolvedEntryBlockDel(key_);
}

Vek::Ptr<L3EcmpMemberTable> L3EcmpMemberTable::L3EcmpMemberTableIs() {
  Vek::Ptr<L3EcmpMemberTable> table = new L3EcmpMemberTable;
  table->hasNotificationActiveIs(true);
  return table;
}

L3EcmpMemberTable::L3EcmpMemberTable() = default;

L3EcmpMemberTable::~L3EcmpMemberTable() {
  takingApart_ = true;
  indexAllocatorDel();
  unresolvedEntryBlockDelAll();
  // The rest is dropped silently: no hardware calls, and the allocator is gone.
  detachHandles();
  store_.clear();
}

void L3EcmpMemberTable::syncEntries() {
  Vek::Ptr<L3EcmpMemberTable> const alive(this);
  engine::expectNothingProgrammedBeforeSync<Traits>(entryBlocks_, "!entryBlocks()");
  engine::clearHardwareOnRestart<Traits>(*this);
}

void L3EcmpMemberTable::doInitComplete() { indexAllocatorIs(Traits::keyType(), numEntries()); }

L3EcmpMemberTable::EntryHandle::PtrConst L3EcmpMemberTable::entryBlockWrite(
    EntryBlock const& block, Asic::AutoRemoveType autoRemoveType) {
  if (autoRemoveType != Asic::needsAutoRemove()) [[unlikely]] {
    Vek::SassertHelper("autoRemoveType == Asic::needsAutoRemove()",
                       plumbing::assertWhere<Traits>(blockWriteSignature))
        << "only autoRemove is supported";
  }
  return entryBlockRef(block);
}

L3EcmpMemberTable::EntryHandle::PtrConst L3EcmpMemberTable::entryBlockRef(
    EntryBlock const& blockOfCaller) {
  if (blockOfCaller.entrys() != blockOfCaller.blockSize().value()) {
    throw Vek::Exception("Unsupported behavior");
  }
  Vek::Ptr<L3EcmpMemberTable> const alive(this);
  EntryBlock const block = blockOfCaller;
  plumbing::trace<Traits, "entryBlockRef">();
  Node const* const node = store_.find(block);
  if (node != nullptr && node->value.unresolvedEntryBlock) {
    Vek::Ptr<EntryHandle> const handle = rawEntryHandle(block);
    if (!handle) [[unlikely]] {
      Vek::SassertHelper("rawEntryHandleHas( tableentryBlock )",
                         plumbing::assertWhere<Traits>(blockRefSignature))
          << "expect a valid neededTable, tableentryBlock: " << block;
    }
    plumbing::trace<Traits, "entryBlockRef", " : Found unresolved entry: ">();
    return handle;
  }
  if (node != nullptr && node->value.entryBlock) {
    plumbing::trace<Traits, "entryBlockRef", " : Found an existing entry: ">();
    return rawEntryHandle(block);
  }
  Vek::Ptr<EntryHandle> const handle = EntryHandle::EntryHandleIs(block, this);
  rawEntryHandleIs(block, handle.get());
  unresolvedEntryBlockIs(block)->initializeUnresolvedEntryBlock(block);
  plumbing::trace<Traits, "entryBlockRef", " : Returning a new unresolved entryBlock: ">();
  return handle;
}

bool L3EcmpMemberTable::entryBlockExists(EntryBlock const& block) const {
  Node const* const node = store_.find(block);
  return node != nullptr && node->value.entryBlock;
}

void L3EcmpMemberTable::entryBlockIs(EntryBlock const& blockOfCaller) {
  Vek::Ptr<L3EcmpMemberTable> const alive(this);
  EntryBlock const block = blockOfCaller;
  bool& committed = store_.findOrInsert(block).value.entryBlock;
  if (committed) return;
  committed = true;
  ++entryBlocks_;
  handleEntryBlock(block);
  announceKey(Attribute::entryBlock, block);
}

bool L3EcmpMemberTable::entryBlockDel(EntryBlock const& blockOfCaller) {
  Node* const node = store_.find(blockOfCaller);
  if (node == nullptr || !node->value.entryBlock) return false;
  Vek::Ptr<L3EcmpMemberTable> const alive(this);
  EntryBlock const block = blockOfCaller;  // may live in the node that goes
  node->value.entryBlock = false;
  --entryBlocks_;
  releaseIfEmpty(*node);
  handleEntryBlock(block);
  announceKey(Attribute::entryBlock, block);
  return true;
}

void L3EcmpMemberTable::entryBlockDelAll() {
  Vek::Ptr<L3EcmpMemberTable> const alive(this);
  store_.walk([this](Node& node) { entryBlockDel(node.key); });
}

void L3EcmpMemberTable::handleEntryBlock(EntryBlock const& blockOfCaller) {
  Vek::Ptr<L3EcmpMemberTable> const alive(this);
  EntryBlock const block = blockOfCaller;
  plumbing::trace<Traits, "handleEntryBlock">();
  if (!indexAllocator_ && takingApart_)
    return;  // an observer let a handle go: no hardware any more
  Vek::Ptr<Asic::AnySizedBlockAllocator> const allocator(&requireAllocator());
  void const* const blockKey = static_cast<Asic::EntryBlockBase const*>(&block);
  std::uint16_t const size = block.blockSize().value();
  bool const callHardware = mayCallHardware();
  Vek::Ptr<Asic::HwTable> const hwTable = this->hwTable();
  if (!entryBlockExists(block)) {
    // A block that never got rows has the invalid base, and so has each of its rows: the utility
    // ignores the deletes.
    Asic::Index const base = allocator->indexForBlock(blockKey);
    for (std::uint32_t i = 0; callHardware && i < size; ++i) {
      util()->hwTableEntryDel(hwTable, Index((base + i).value()));
      // Committed again from within the deletion: the block has the rows again. Committed and given
      // up again: its rows are deleted, and may be another block's by now.
      if (entryBlockExists(block) || allocator->indexForBlock(blockKey) != base) return;
    }
    allocator->releaseIndexForBlock(blockKey);
    return;
  }
  // Taken as it comes: a full table raises the allocator's exception here.
  Asic::Index const base = allocator->newIndexForBlock(blockKey);
  std::uint32_t version = store_.version();
  for (std::uint32_t i = 0; callHardware && i < size; ++i) {
    util()->hwTableEntryIs(hwTable, Index((base + i).value()), block.entry(i));
    if (store_.version() == version) [[likely]]
      continue;
    // Something came or went within the write: if it was this block, its rows may be another's by
    // now.
    if (!entryBlockExists(block) || allocator->indexForBlock(blockKey) != base) return;
    version = store_.version();
  }
  // Without hardware to call, the switch decides; it is not read before that case comes.
  if (!callHardware && !engine::publishEntryHandleProgrammedState<Traits>()) return;
  if (Vek::Ptr<EntryHandle> const handle = rawEntryHandle(block)) {
    handle->hwEntryIndexIs(base);
    handle->entryStateIs(Asic::HwTable::success());
  }
}

L3EcmpMemberTable::UnresolvedEntryBlock::Ptr L3EcmpMemberTable::unresolvedEntryBlockIs(
    EntryBlock const& block) {
  UnresolvedEntryBlock::Ptr& column = store_.findOrInsert(block).value.unresolvedEntryBlock;
  if (column) return column;
  UnresolvedEntryBlock::Ptr const made = new UnresolvedEntryBlock(block);
  made->hasNotificationActiveIs(true);
  column = made;
  waiting_.append(*made);
  ++unresolvedEntryBlocks_;
  made->table_ = this;
  announceKey(Attribute::unresolvedEntryBlock, block);
  return made;
}

L3EcmpMemberTable::UnresolvedEntryBlock::Ptr L3EcmpMemberTable::unresolvedEntryBlockDel(
    EntryBlock const& block) {
  Node* const node = store_.find(block);
  if (node == nullptr || !node->value.unresolvedEntryBlock) return {};
  UnresolvedEntryBlock::Ptr const taken = takeUnresolvedEntryBlock(*node);
  announceKey(Attribute::unresolvedEntryBlock, taken->key());
  return taken;
}

void L3EcmpMemberTable::unresolvedEntryBlockDelAll() {
  Vek::Ptr<L3EcmpMemberTable> const alive(this);
  waiting_.walk([this](UnresolvedEntryBlock& block) { unresolvedEntryBlockDel(block.key()); });
  // Whatever observers put back meanwhile goes without another word.
  while (UnresolvedEntryBlock* left = waiting_.first()) {
    UnresolvedEntryBlock::Ptr const taken = takeUnresolvedEntryBlock(*store_.find(left->key()));
  }
}

L3EcmpMemberTable::UnresolvedEntryBlock::Ptr L3EcmpMemberTable::unresolvedEntryBlock(
    EntryBlock const& block) const {
  Node const* const node = store_.find(block);
  return node != nullptr ? node->value.unresolvedEntryBlock : nullptr;
}

L3EcmpMemberTable::UnresolvedEntryBlock::Ptr L3EcmpMemberTable::takeUnresolvedEntryBlock(
    Node& node) {
  UnresolvedEntryBlock::Ptr taken = std::move(node.value.unresolvedEntryBlock);
  waiting_.remove(*taken);
  --unresolvedEntryBlocks_;
  taken->table_ = nullptr;
  releaseIfEmpty(node);
  return taken;
}

void L3EcmpMemberTable::cleanupEntry(EntryBlock const& block) {
  Vek::Ptr<L3EcmpMemberTable> const alive(this);
  EntryHandle const* const registered = expectRawEntryHandle(block);
  unresolvedEntryBlockDel(block);
  if (anotherRegistered(block, registered)) return;
  entryBlockDel(block);
  if (anotherRegistered(block, registered)) return;
  rawEntryHandleDel(block);
}

Asic::AnySizedBlockAllocator& L3EcmpMemberTable::requireAllocator() const {
  if (!indexAllocator_) [[unlikely]] {
    Vek::SassertHelper("indexAllocator()", plumbing::assertWhere<Traits>(handleBlockSignature))
        << "expected doInitComplete before a block is programmed";
  }
  return *indexAllocator_;
}

Vek::Ptr<Asic::AnySizedBlockAllocator> L3EcmpMemberTable::indexAllocatorIs(
    Vek::VekType const& blockType, unsigned size) {
  if (indexAllocator_ && indexAllocator_->blockType() == blockType &&
      indexAllocator_->size() == size) {
    return indexAllocator_;
  }
  if (indexAllocator_) indexAllocator_->parentDel();
  Vek::Ptr<Asic::AnySizedBlockAllocator> const made =
      Asic::AnySizedBlockAllocator::AnySizedBlockAllocatorIs("", blockType, size);
  made->handleInitialized();
  made->hasNotificationActiveIs(true);
  made->parentIs(this);
  Vek::Ptr<Asic::AnySizedBlockAllocator> old = made;
  old.swap(indexAllocator_);
  announce(Attribute::indexAllocator);
  return made;
}

Vek::Ptr<Asic::AnySizedBlockAllocator> L3EcmpMemberTable::indexAllocatorDel() {
  Vek::Ptr<Asic::AnySizedBlockAllocator> taken;
  taken.swap(indexAllocator_);
  if (!taken) return {};
  taken->parentDel();
  announce(Attribute::indexAllocator);
  return taken;
}

L3EcmpMemberTableUtil::L3EcmpMemberTableUtil(Vek::String const& name) : TableUtil(name) {}
L3EcmpMemberTableUtil::~L3EcmpMemberTableUtil() = default;
Vek::VekType L3EcmpMemberTableUtil::fwkType() const { return classType(); }
Vek::VekType L3EcmpMemberTableUtil::classType() { return {Traits::module(), Traits::numbers.util}; }

L3EcmpMemberTableUtilLoader::L3EcmpMemberTableUtilLoader(Vek::String const& name)
    : UtilLoader(name) {}
L3EcmpMemberTableUtilLoader::~L3EcmpMemberTableUtilLoader() = default;

Vek::Ptr<L3EcmpMemberTable> l3EcmpMemberTableFactory() {
  return L3EcmpMemberTable::L3EcmpMemberTableIs();
}

}  // namespace OrviaL3Unicast

template Vek::Ptr<OrviaL3Unicast::L3EcmpMemberTableUtilLoader const>
Loader::Singleton::inst<OrviaL3Unicast::L3EcmpMemberTableUtilLoader>();

void orviaL3EcmpMemberTableFactory(Vek::Ptr<OrviaAsicUtils::SwTable>& table) {
  table = OrviaL3Unicast::l3EcmpMemberTableFactory();
}

namespace OrviaL3Unicast {
namespace {

// The handles' mode is found in the enum registry without a look at a handle.
[[maybe_unused]] Vek::EnumType const& mode = engine::EntryHandle<Traits>::modeType();

// Last, so that everything above is there when the plug-ins come.
plumbing::Registration<Traits> const registration;

}  // namespace
}  // namespace OrviaL3Unicast
