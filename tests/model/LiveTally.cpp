#include "LiveTally.h"

#include <string>

#include "EngineTable.h"
#include "Vek/Memory.h"

namespace Model::Engine {
namespace {

struct Type {
  std::string name;  // as the snapshot shows it
  Vek::TypeAllocation const* allocation;
};

template <class Part>
void addTypes(std::array<Type, LiveTally::typeCount>& types, std::size_t& next) {
  using Traits = typename Part::Traits;
  using Table = typename Traits::Table;
  auto const add = [&](char const* name, char const* typeName) {
    types.at(next++) = {std::string(Part::name) + " " + name, &Vek::vekTypeAllocation(typeName)};
  };
  add("EntryHandle", Table::EntryHandle::typeName());
  if constexpr (Traits::holdsBlocks) {
    add("UnresolvedEntryBlock", Table::UnresolvedEntryBlock::typeName());
  } else {
    add("UnresolvedEntry", Table::UnresolvedEntry::typeName());
    add("PendingEntrySm", Table::PendingEntrySm::typeName());
  }
  add("NeededEntryHandleSm", OrviaL3Unicast::engine::NeededEntryHandleSm<Traits>::typeName());
}

std::array<Type, LiveTally::typeCount> const& types() {
  static std::array<Type, LiveTally::typeCount> const all = [] {
    std::array<Type, LiveTally::typeCount> result;
    std::size_t next = 0;
    addTypes<IngressPart>(result, next);
    addTypes<HopPart>(result, next);
    addTypes<MemberPart>(result, next);
    addTypes<GroupPart>(result, next);
    return result;
  }();
  return all;
}

}  // namespace

LiveTally::Counts LiveTally::ofProcess() {
  Counts counts;
  for (std::size_t i = 0; i < typeCount; ++i) {
    counts[i] = static_cast<std::int64_t>(types()[i].allocation->liveObjects);
  }
  return counts;
}

LiveTally::Work::~Work() {
  Counts const after = ofProcess();
  for (std::size_t i = 0; i < typeCount; ++i) tally_.counts_[i] += after[i] - before_[i];
}

void LiveTally::appendTo(Lines& lines) const {
  for (std::size_t i = 0; i < typeCount; ++i) {
    lines.push_back("live " + types()[i].name + " " + std::to_string(counts_[i]));
  }
}

}  // namespace Model::Engine
