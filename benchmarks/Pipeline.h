// The four tables on one kind of hardware, as the scenarios drive them.
//
// On the simulated device an answer is delivered inside the write, unless it is held; with nothing
// behind the utilities the pipeline answers itself, in the same places. Only the rows that a
// scenario asks for are made. One thread.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "benchmarks/DoNothingUtils.h"
#include "plugins/soft-asic/SoftDevice.h"

namespace OrviaBenchmarks {

using namespace OrviaL3Unicast;
using Handle = Vek::Ptr<Asic::SwTable::EntryHandle const>;

enum class Hardware { softAsic, nothing };

// Rows; no table comes with none.
struct Sizes {
  std::uint32_t ingress = 1;
  std::uint32_t nextHops = 1;
  std::uint32_t members = 1;
  std::uint32_t groups = 1;
};

class Pipeline {
 public:
  Pipeline(Hardware hardware, Sizes const& sizes);

  // A next hop of its own for every i, pointing at one of 64 interfaces and one of 64 MTU profiles.
  void writeNextHop(std::uint64_t i, std::uint64_t version = 0);
  // The same; its answer is held until nextHeldAnswer().
  void writeNextHopHeld(std::uint64_t i);
  void nextHeldAnswer();
  void removeNextHop(std::uint64_t i) { nextHops_->entryRemove(key(i)); }
  [[nodiscard]] Handle nextHop(std::uint64_t i) const { return nextHops_->entryLookup(key(i)); }

  Handle block(std::vector<Handle> const& members);
  void writeGroup(std::uint32_t i, Handle const& block, std::uint16_t paths);
  // The hardware's answer for a group's row, where nothing else gives it.
  void answerGroup(std::uint32_t row);
  void removeGroup(std::uint32_t i) { groups_->entryRemove({i}); }

  // Ingress next hops; the keys are the scenario's.
  void writeIngress(Handle const& key, std::uint64_t i);
  void removeIngress(Handle const& key) { ingress_->entryRemove(key); }

  // What happened so far.
  [[nodiscard]] std::uint64_t answered() const { return answered_; }  // handlers called: success
  [[nodiscard]] std::uint64_t nextHopWrites() const;
  [[nodiscard]] std::uint64_t nextHopDeletes() const;
  [[nodiscard]] std::uint64_t memberWrites() const;
  [[nodiscard]] std::uint64_t memberDeletes() const;
  [[nodiscard]] std::uint64_t ingressDeletes() const;

 private:
  static L3EcmpNextHopKey key(std::uint64_t i);
  template <class Entry>
  Entry record(std::uint64_t i, std::uint64_t version) const;
  [[nodiscard]] WriteResponseHandler handler() {
    return [this](Asic::HwTable::EntryState state) {
      if (state == Asic::HwTable::success()) ++answered_;
    };
  }
  [[nodiscard]] bool onSoftAsic() const { return hardware_ == Hardware::softAsic; }

  Hardware const hardware_;
  SoftAsic::SoftDevice device_;
  std::vector<Handle> interfaces_;
  std::vector<Handle> mtuProfiles_;
  std::deque<std::uint32_t> held_;  // rows whose answer the scenario holds, with nothing behind
  std::uint32_t nextRow_ = 1;       // of a new next hop: rows are handed out lowest first
  std::uint64_t answered_ = 0;
  Vek::Ptr<DoNothingUtil<IngL3NextHop1Traits>> noIngress_;
  Vek::Ptr<DoNothingUtil<EcmpIngL3NextHop1Traits>> noNextHops_;
  Vek::Ptr<DoNothingUtil<L3EcmpMemberTraits>> noMembers_;
  Vek::Ptr<DoNothingUtil<L3EcmpGroupTraits>> noGroups_;
  Vek::Ptr<IngL3NextHop1Table> ingress_ = IngL3NextHop1Table::IngL3NextHop1TableIs();
  Vek::Ptr<EcmpIngL3NextHop1Table> nextHops_ = EcmpIngL3NextHop1Table::EcmpIngL3NextHop1TableIs();
  Vek::Ptr<L3EcmpMemberTable> members_ = L3EcmpMemberTable::L3EcmpMemberTableIs();
  Vek::Ptr<L3EcmpGroupTable> groups_ = L3EcmpGroupTable::L3EcmpGroupTableIs();
};

}  // namespace OrviaBenchmarks
