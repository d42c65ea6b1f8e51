#include "agent/NextHops.h"

#include <algorithm>
#include <utility>

#include "agent/NextHopRecord.h"

namespace OrviaL3Agent {
NextHops::NextHops(Vek::Ptr<Table> table, StandInTable& interfaces, StandInTable& mtuProfiles,
                   std::shared_ptr<RowPool> rows)
    : table_(std::move(table)),
      interfaces_(interfaces),
      mtuProfiles_(mtuProfiles),
      rows_(std::move(rows)) {}

NextHops::~NextHops() = default;

void NextHops::nextHopIs(Fpm::NextHop const& announced) {
  auto const [found, isNew] = byId_.try_emplace(announced.id);
  NextHop& nextHop = found->second;
  if (isNew) {
    ++counts_.announced;
  } else if (nextHop.contents == announced) {
    ++counts_.repeated;
    // Committing the same record again would be no harmless repetition: while it is parked, the
    // table counts the handles it waits for once more.
    if (nextHop.obstacle == Obstacle::none) return;
  } else {
    ++counts_.changed;
  }
  nextHop.contents = announced;
  nextHop.obstacle = place(nextHop);
  if (nextHop.obstacle != Obstacle::none) ++counts_.notPlaced;
  counts_.peak = std::max(counts_.peak, byId_.size());
  counts_.peakParked = std::max(counts_.peakParked, table_->unresolvedEntrys());
}

NextHops::Obstacle NextHops::place(NextHop& nextHop) {
  StandInTable::Handle const interface = interfaces_.entry(nextHop.contents.interface);
  if (!interface) return Obstacle::interfaceSlot;
  StandInTable::Handle const mtuProfile = mtuProfiles_.entry(kDefaultMtu);
  if (!mtuProfile) return Obstacle::mtuSlot;
  Adjacencies::Use const adjacency = adjacencies_.use(nextHop.contents);
  if (!adjacency) return Obstacle::adjacency;
  if (!nextHop.key) nextHop.key = RowKey::rowKeyIs(rows_);
  if (!nextHop.key) return Obstacle::row;

  auto const record =
      nextHopRecord<Table::Entry>(nextHop.contents, *adjacency, interface, mtuProfile);
  nextHop.handle = commitTime_.measure([&] { return table_->entryCommit(nextHop.key, record); });
  if (parked(nextHop)) {
    // The row goes on naming the neighbour before, so that one keeps its number as well.
    ++counts_.waited;
  } else {
    nextHop.adjacencies.clear();
  }
  nextHop.adjacencies.push_back(adjacency);
  return Obstacle::none;
}

bool NextHops::nextHopDel(std::uint32_t id) {
  auto const found = byId_.find(id);
  if (found == byId_.end()) return false;
  ++counts_.withdrawn;
  NextHop nextHop = std::move(found->second);
  byId_.erase(found);
  if (nextHop.key) {
    removeTime_.measure([&] {
      table_->entryRemove(nextHop.key);
      // The record leaves the table, and the row the hardware, when the last reference goes: this
      // one.
      nextHop.handle = nullptr;
    });
    if (!table_->entryExists(nextHop.key)) nextHop.key->rowDel();
  }
  return true;
}

bool NextHops::parked(NextHop const& nextHop) const {
  return nextHop.key && table_->unresolvedEntry(nextHop.key) != nullptr;
}

std::string text(NextHops::Obstacle obstacle) {
  switch (obstacle) {
    case NextHops::Obstacle::none:
      return "none";
    case NextHops::Obstacle::row:
      return "no free row";
    case NextHops::Obstacle::interfaceSlot:
      return "no free interface slot";
    case NextHops::Obstacle::mtuSlot:
      return "no free MTU-profile slot";
    case NextHops::Obstacle::adjacency:
      return "no free neighbour number";
  }
  return "unknown";
}

}  // namespace OrviaL3Agent
