// The base of every table: what the platform attaches to it and drives it with.
//
// The platform sets the hardware table, the ready flag, the utility and the number of rows; the
// table reads them. While `hwTableReady` is false or `hwTable` is empty, a table makes no hardware
// call. The setters announce changed values to the table's observers.
//
// Life: constructed; attached (hwTableIs, utilIs, numEntriesIs); syncEntries() on a (re)start,
// while the table is still empty; doInitComplete(); hwTableReadyIs(true); serving; not ready again,
// where the rows are to outlive the table; destroyed.
#pragma once

#include <cstdint>

#include "Asic/HwTable.h"
#include "Asic/SwTable.h"
#include "Vek/GenericIf.h"

namespace OrviaAsicUtils {

class SwTableUtil;
class WriteResponseSm;

class VEK_EXPORT SwTable : public Asic::SwTable {
 public:
  // The state that a caller's response handler receives: 1 success, 2 failure; the numbers of the
  // hardware table's states.
  using EntryState = Asic::HwTable::EntryState;

  static constexpr Vek::AttributeId hwTableAttribute{1};
  static constexpr Vek::AttributeId hwTableReadyAttribute{2};
  static constexpr Vek::AttributeId utilAttribute{3};
  static constexpr Vek::AttributeId numEntriesAttribute{4};
  // Attributes of the tables themselves are numbered from here.
  static constexpr std::uint32_t firstTableAttribute = 16;

  [[nodiscard]] Vek::VekType fwkType() const override;
  ~SwTable() override;

  // The virtual operations from here on keep this order.
  virtual void doCreateHwTable();
  virtual void doCreateHwTableResponse();
  // Whether the table wants the hardware's answers delivered to its entries.
  [[nodiscard]] virtual bool responseNeeded() const;
  // The platform has attached everything: make what depends on it.
  virtual void doInitComplete();
  // The agent (re)started with a hardware table that may hold entries from before.
  virtual void syncEntries();
  // The handle of the entry whose key is given as a value of unknown type, or empty.
  [[nodiscard]] virtual Vek::Ptr<EntryHandle const> getEntryHandle(
      Vek::Ptr<Vek::GenericIf const> key) const;
  // The handle of the entry that owns a hardware row, or empty: where an answer for the row goes.
  [[nodiscard]] virtual Vek::Ptr<EntryHandle> entryHandleOfRow(Asic::Index row) const;

  static Vek::VekType classType();

  [[nodiscard]] Vek::Ptr<Asic::HwTable> const& hwTable() const { return hwTable_; }
  void hwTableIs(Vek::Ptr<Asic::HwTable> const& hwTable);
  [[nodiscard]] bool hwTableReady() const { return hwTableReady_; }
  void hwTableReadyIs(bool ready);
  [[nodiscard]] Vek::Ptr<SwTableUtil> const& util() const { return util_; }
  void utilIs(Vek::Ptr<SwTableUtil> const& util);
  // Rows of the hardware table.
  [[nodiscard]] std::uint32_t numEntries() const { return numEntries_; }
  void numEntriesIs(std::uint32_t rows);

 protected:
  explicit SwTable(Vek::String const& name = {});

  // The one gate in front of every hardware call.
  [[nodiscard]] bool mayCallHardware() const { return hwTableReady_ && hwTable_ != nullptr; }
  // Advances whenever another utility is set: what was found out about one holds while it stands.
  [[nodiscard]] std::uint32_t utilVersion() const { return utilVersion_; }

 private:
  Vek::Ptr<Asic::HwTable> hwTable_;
  Vek::Ptr<SwTableUtil> util_;
  std::uint32_t numEntries_ = 0;
  std::uint32_t utilVersion_ = 0;
  bool hwTableReady_ = false;

  friend class WriteResponseSm;
  struct WriteResponseHook {
    static Vek::ChainHook<WriteResponseSm>& of(WriteResponseSm& reactor);
  };
  // Who carries answers here; each loses the table when it dies.
  Vek::Chain<WriteResponseSm, WriteResponseHook> writeResponseSms_;
};

}  // namespace OrviaAsicUtils
