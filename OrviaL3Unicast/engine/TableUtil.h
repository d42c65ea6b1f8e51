// What a hardware plug-in implements for a table: the seven hardware-facing operations.
//
// The operations only start their work; the hardware's answer comes later, also for a table whose
// utility is asked from within a notification. An answer from within hwTableEntryIs is allowed.
//
// T::HwKey says where a row is: the key that brings its row, or the row itself. A plug-in for a
// table that chooses its rows ignores, and counts, a delete at the invalid index: it is what a
// table asks for when the entry never got a row.
#pragma once

#include "OrviaAsicUtils/SwTableUtil.h"

namespace OrviaL3Unicast::engine {

template <class T>
class TableUtil : public OrviaAsicUtils::SwTableUtil {
 public:
  using Key = typename T::Key;
  using Entry = typename T::Entry;
  using HwKey = typename T::HwKey;
  using HwTable = Vek::Ptr<Asic::HwTable>;

  // The virtual operations keep this order.
  // The lowest and the highest row that the hardware offers, for whoever asks; the tables
  // themselves go by their keys' rows or by numEntries().
  [[nodiscard]] virtual std::uint32_t minIndex() const = 0;
  [[nodiscard]] virtual std::uint32_t maxIndex() const = 0;
  // The row that the hardware holds for the key, or the invalid index.
  [[nodiscard]] virtual Asic::Index hwTableEntryIndex(HwTable const& hwTable,
                                                      Key const& key) const = 0;
  // Writes one row.
  virtual void hwTableEntryIs(HwTable const& hwTable, HwKey where, Entry const& entry) = 0;
  // Deletes one row. The record has left the table's collection by then.
  virtual void hwTableEntryDel(HwTable const& hwTable, HwKey where) = 0;
  // Empties the table's rows: a restart of a table that chooses its rows. The hardware need not be
  // ready yet, and there may be no hardware table at all.
  virtual void hwTableEntryDelAll(HwTable const& hwTable) = 0;
  // Refills the software table from what the hardware table holds: a restart of a table whose keys
  // bring their rows. For each row it makes the key's handle (entryHandleIs), puts the record in
  // (entryIs) and only then sets the handle's row and state, as storing the record resets the
  // state. The platform has hwTableReady off meanwhile, so that storing writes nothing to hardware.
  virtual void syncEntries(HwTable const& hwTable,
                           Vek::Ptr<OrviaAsicUtils::SwTable> const& swTable) = 0;

 protected:
  using OrviaAsicUtils::SwTableUtil::SwTableUtil;
};

}  // namespace OrviaL3Unicast::engine
