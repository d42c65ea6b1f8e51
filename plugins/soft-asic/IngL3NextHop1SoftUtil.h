// The ingress next-hop table's utility over the simulated hardware.
//
//   Vek::Ptr<SoftAsic::AnswerQueue> answers = new SoftAsic::AnswerQueue(...);
//   Vek::Ptr<SoftAsic::NextHopHwTable> hardware = new SoftAsic::NextHopHwTable(rows);
//   table->utilIs(new SoftAsic::IngL3NextHop1SoftUtil(*table, answers));
//   table->hwTableIs(hardware); table->hwTableReadyIs(true);
//   ... answers->drain();   // in the agent's loop
//
// A write takes the record's contents at once and answers through the queue: the row, then the state
// are set on the handle that the table holds for the key by then. An answer to a write that was
// overwritten or deleted meanwhile is counted and dropped. A waiting answer keeps its key alive. The
// utility does not keep its table alive; answers that come after the table's end change nothing.
#pragma once

#include "AnswerQueue.h"
#include "NextHopHwTable.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"

namespace SoftAsic {

class IngL3NextHop1SoftUtil final : public OrviaL3Unicast::IngL3NextHop1TableUtil {
 public:
  IngL3NextHop1SoftUtil(OrviaL3Unicast::IngL3NextHop1Table& table,
                        Vek::Ptr<AnswerQueue> const& answers);
  ~IngL3NextHop1SoftUtil() override;

  [[nodiscard]] std::uint32_t minIndex() const override;
  // The last row of the attached hardware table.
  [[nodiscard]] std::uint32_t maxIndex() const override;
  // The key's own row when the hardware holds something there.
  [[nodiscard]] Asic::Index hwTableEntryIndex(Vek::Ptr<Asic::HwTable> const& hwTable,
                                              Key const& key) const override;
  void hwTableEntryIs(Vek::Ptr<Asic::HwTable> const& hwTable, Key const& key,
                      Entry const& entry) override;
  void hwTableEntryDel(Vek::Ptr<Asic::HwTable> const& hwTable, Key const& key) override;
  void hwTableEntryDelAll(Vek::Ptr<Asic::HwTable> const& hwTable) override;
  // Finds nothing to refill from: this hardware lives and dies with the agent's process.
  void syncEntries(Vek::Ptr<Asic::HwTable> const& hwTable,
                   Vek::Ptr<OrviaAsicUtils::SwTable> const& swTable) override;

 private:
  using Link = OrviaL3Unicast::engine::TableLink<OrviaL3Unicast::IngL3NextHop1Traits>;

  Vek::Ptr<Link> table_;
  Vek::Ptr<AnswerQueue> answers_;
};

}  // namespace SoftAsic
