// How a table meets what its hardware holds from before a restart, and gets what it needs to serve.
#pragma once

#include "OrviaL3Unicast/engine/AllocatedRowTable.h"
#include "OrviaL3Unicast/engine/KeyRowTable.h"
#include "OrviaL3Unicast/engine/RestartToggle.h"
#include "OrviaL3Unicast/plumbing/Assert.h"

namespace OrviaL3Unicast::engine {

template <class T>
inline constexpr auto syncEntriesSignature =
    plumbing::signature<T>(plumbing::FixedString("virtual void"),
                           plumbing::FixedString("syncEntries"), plumbing::FixedString(""));

// Records that wait do not count: they have no rows that what hardware holds could contradict.
template <class T>
void expectNothingProgrammedBeforeSync(std::size_t programmed, char const* condition) {
  if (programmed == 0) [[likely]]
    return;
  // The blank in front is part of the text.
  Vek::SassertHelper(condition, plumbing::assertWhere<T>(syncEntriesSignature<T>))
      << " non-empty swTable before syncing from hwTable";
}

// A table that chooses rows never rebuilds its records from hardware. Either hardware starts as
// empty as the table, or the old rows stay, unknown to the table, and go on forwarding until its
// new writes come to them. The ready flag is not asked: this is what readies the hardware.
template <class T>
void clearHardwareOnRestart(typename T::Table& table) {
  if (!toggleClearHwTableOnRestartEnabled()) return;
  Vek::Ptr<Asic::HwTable> const hwTable = table.hwTable();
  table.util()->hwTableEntryDelAll(hwTable);
}

template <class T>
void KeyRowTable<T>::syncEntries() {
  Vek::Ptr<Table> const alive(&this->table());
  expectNothingProgrammedBeforeSync<T>(this->entrys(), "!entrys()");
  // The rows belong to the keys, which the platform knows again after a restart: the utility puts
  // the records back. Neither the toggle nor the ready flag has a say here.
  Vek::Ptr<Asic::HwTable> const hwTable = this->hwTable();
  this->util()->syncEntries(hwTable, alive);
}

template <class T>
void AllocatedRowTable<T>::syncEntries() {
  Vek::Ptr<Table> const alive(&this->table());
  expectNothingProgrammedBeforeSync<T>(this->entrys(), "!entrys()");
  clearHardwareOnRestart<T>(this->table());
}

template <class T>
void AllocatedRowTable<T>::doInitComplete() {
  Vek::Ptr<Table> const alive(&this->table());
  // The table's own may be gone: an observer was told.
  Vek::Ptr<Asic::FirstFreeIndexAllocator> const allocator =
      firstFreeIndexAllocatorIs(this->numEntries());
  allocator->reserveIndices(0, 0);
  if (this->hwTable()) writeResponseSmIs(&this->table());
}

template <class T>
void EntryTable<T>::entryDelAll() {
  Vek::Ptr<Table> const alive(&this->table());
  this->store_.walk([this](Node& node) { entryDel(node.key); });
}

}  // namespace OrviaL3Unicast::engine
