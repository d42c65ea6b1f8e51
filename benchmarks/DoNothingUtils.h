// Utilities without hardware behind them: what is left is the cost of the tables themselves.
//
// They write nothing and answer nothing; the benchmark answers in their place. One thread.
#pragma once

#include <cstdint>

#include "OrviaL3Unicast/engine/TableUtil.h"

namespace OrviaBenchmarks {

template <class Traits>
class DoNothingUtil final : public Traits::Util {
 public:
  using HwTable = Vek::Ptr<Asic::HwTable>;

  DoNothingUtil() : Traits::Util("nothing") {}

  [[nodiscard]] std::uint32_t minIndex() const override { return 0; }
  [[nodiscard]] std::uint32_t maxIndex() const override { return 0xFFFFFFFEU; }
  [[nodiscard]] Asic::Index hwTableEntryIndex(HwTable const&,
                                              typename Traits::Key const&) const override {
    return Asic::Index::invalidIndex();
  }
  void hwTableEntryIs(HwTable const&, typename Traits::HwKey,
                      typename Traits::Entry const&) override {
    ++writes;
  }
  void hwTableEntryDel(HwTable const&, typename Traits::HwKey) override { ++deletes; }
  void hwTableEntryDelAll(HwTable const&) override {}
  void syncEntries(HwTable const&, Vek::Ptr<OrviaAsicUtils::SwTable> const&) override {}

  std::uint64_t writes = 0;
  std::uint64_t deletes = 0;
};

}  // namespace OrviaBenchmarks
