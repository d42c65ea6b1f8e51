#include "agent/Groups.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace OrviaL3Agent {
namespace {

// What a group that was read back from a kernel carries: the weight is not known.
constexpr std::uint8_t kUnknownWeight = 255;

constexpr char const* kNextHopTable = "ECMP next-hop";
constexpr char const* kMemberTable = "member";
constexpr char const* kGroupTable = "group";

Groups::Table::Entry recordOf(Groups::Chain const& chain) {
  return {0, chain.block, 0, chain.width};
}

std::string noRoomText(char const* table, std::uint32_t needed, std::uint32_t free,
                       std::uint32_t size, std::uint32_t longest) {
  return fmt::format("no room in the {} table: {} needed, {} of {} rows free, longest run {}",
                     table, needed, free, size, longest);
}
std::string noRoomText(char const* table, std::uint32_t needed,
                       Asic::GenericIndexAllocator const& rows) {
  return noRoomText(table, needed, rows.rowsFree(), rows.size(), rows.largestFreeRun());
}

}  // namespace

Groups::Groups(Vek::Ptr<Table> table, Vek::Ptr<MemberTable> memberTable, EcmpNextHops& ecmpNextHops,
               NextHops const& nextHops, OtherIds const& otherIds, std::uint32_t maxWidth)
    : table_(std::move(table)),
      memberTable_(std::move(memberTable)),
      ecmpNextHops_(ecmpNextHops),
      nextHops_(nextHops),
      otherIds_(otherIds),
      maxWidth_(maxWidth) {}

Groups::~Groups() = default;

void Groups::groupIs(Fpm::NextHopGroup const& announced) {
  auto const [found, isNew] = byId_.try_emplace(announced.id);
  Group& group = found->second;
  bool const same = !isNew && group.contents == announced;
  ++(isNew ? counts_.announced : same ? counts_.repeated : counts_.changed);
  // Repeated contents have a second chance where the first found a full table.
  if (same && group.reason.empty()) return;
  if (!isNew) forgetMembers(group);
  group.contents = announced;
  for (Fpm::NextHopGroup::Member const& member : announced.members) {
    groupsOfMember_[member.id].insert(announced.id);
  }
  if (std::any_of(announced.members.begin(), announced.members.end(),
                  [](auto const& member) { return member.weightByte == kUnknownWeight; })) {
    ++counts_.unknownWeights;
  }
  counts_.peak = std::max(counts_.peak, byId_.size());
  update(group, true);
  if (isNew && !group.missing.empty()) ++counts_.waited;
}

bool Groups::groupDel(std::uint32_t id) {
  auto const found = byId_.find(id);
  if (found == byId_.end()) return false;
  ++counts_.withdrawn;
  forgetMembers(found->second);
  release(found->second);
  byId_.erase(found);
  return true;
}

void Groups::memberIs(std::uint32_t id) {
  auto const found = groupsOfMember_.find(id);
  if (found == groupsOfMember_.end()) return;
  for (std::uint32_t const group : found->second) update(byId_.at(group));
}

void Groups::memberDel(std::uint32_t id) {
  auto const found = groupsOfMember_.find(id);
  if (found == groupsOfMember_.end()) return;
  bool const inForce =
      std::any_of(found->second.begin(), found->second.end(),
                  [this](std::uint32_t group) { return byId_.at(group).handle != nullptr; });
  if (inForce) ++counts_.membersKept;
}

void Groups::forgetMembers(Group const& group) {
  for (Fpm::NextHopGroup::Member const& member : group.contents.members) {
    auto const found = groupsOfMember_.find(member.id);
    if (found == groupsOfMember_.end()) continue;  // named twice
    found->second.erase(group.contents.id);
    if (found->second.empty()) groupsOfMember_.erase(found);
  }
}

// The members in the group's order, and into the group what is wrong with them.
std::vector<Fpm::NextHop> Groups::resolve(Group& group) const {
  group.missing.clear();
  group.blackholes.clear();
  std::vector<Fpm::NextHop> members;
  for (Fpm::NextHopGroup::Member const& member : group.contents.members) {
    auto const announced = nextHops_.nextHops().find(member.id);
    if (announced != nextHops_.nextHops().end()) {
      members.push_back(announced->second.contents);
    } else if (otherIds_.kind(member.id) == OtherIds::Kind::blackhole) {
      group.blackholes.push_back(member.id);
    } else {
      // One that was withdrawn under the group is still what it was.
      auto const kept =
          std::find_if(group.chain.members.begin(), group.chain.members.end(),
                       [&member](Fpm::NextHop const& known) { return known.id == member.id; });
      if (kept != group.chain.members.end()) {
        members.push_back(*kept);
      } else {
        group.missing.push_back(member.id);
      }
    }
  }
  return members;
}

// How many rows each member gets.
std::vector<std::uint32_t> Groups::rowsOfMembers(Fpm::NextHopGroup const& group) {
  std::vector<std::uint32_t> rows;
  if (group.members.empty()) return rows;
  rows.reserve(group.members.size());
  std::uint32_t divisor = 0;
  for (Fpm::NextHopGroup::Member const& member : group.members) {
    rows.push_back(member.weightByte + 1U);
    divisor = std::gcd(divisor, rows.back());
  }
  // Never 0, as a weight is at least 1; said again for readers that cannot know.
  for (std::uint32_t& count : rows) count /= std::max(divisor, 1U);
  std::uint32_t const sum = std::accumulate(rows.begin(), rows.end(), 0U);
  if (sum <= maxWidth_ || rows.size() > maxWidth_) return rows;

  // Too wide: rows in proportion, at least one each.
  ++counts_.scaled;
  std::vector<std::uint32_t> scaled;
  scaled.reserve(rows.size());
  for (std::uint32_t const count : rows) scaled.push_back(std::max(1U, count * maxWidth_ / sum));
  std::uint32_t width = std::accumulate(scaled.begin(), scaled.end(), 0U);
  for (; width > maxWidth_; --width) --*std::max_element(scaled.begin(), scaled.end());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    double const share = static_cast<double>(scaled[i]) / width;
    double const wanted = static_cast<double>(rows[i]) / sum;
    counts_.worstScaling = std::max(counts_.worstScaling, std::abs(share - wanted));
  }
  return scaled;
}

void Groups::update(Group& group, bool changed) {
  std::vector<Fpm::NextHop> const members = resolve(group);
  bool const failedBefore = !group.reason.empty();
  group.reason.clear();
  if (!group.blackholes.empty()) {
    // Part of its traffic is to be dropped, which no row says.
    release(group);
    return;
  }
  if (!group.missing.empty()) return;
  if (!changed && !failedBefore && group.handle && members == group.chain.members) return;
  char const* tableInUse = nullptr;
  try {
    place(group, members, tableInUse);
  } catch (Asic::NoRowException const& full) {
    group.reason = noRoomText(tableInUse, full.width(), full.rowsFree(), full.tableSize(),
                              full.largestFreeRun());
  }
  if (!group.reason.empty()) ++counts_.notPlaced;
}

void Groups::place(Group& group, std::vector<Fpm::NextHop> const& members,
                   char const*& tableInUse) {
  if (members.empty() || members.size() > maxWidth_) {
    group.reason = members.empty() ? "no members"
                                   : fmt::format("{} members, a block has at most {} rows",
                                                 members.size(), maxWidth_);
    return;
  }
  // By identity; several members may be one.
  struct Rows {
    EcmpNextHops::Use use;
    std::uint32_t count = 0;
  };
  std::map<EcmpNextHops::Identity, Rows> paths;
  std::vector<std::uint32_t> const rows = rowsOfMembers(group.contents);
  std::uint32_t width = 0;
  tableInUse = kNextHopTable;
  for (std::size_t i = 0; i < members.size(); ++i) {
    EcmpNextHops::Result const result = ecmpNextHops_.use(members[i]);
    if (!result.use) {
      group.reason = text(result.obstacle);
      return;
    }
    Rows& path = paths[result.use->identity];
    path.use = result.use;
    path.count += rows[i];
    width += rows[i];
  }
  Chain chain;
  chain.members = members;
  chain.width = static_cast<std::uint16_t>(width);
  OrviaL3Unicast::L3EcmpEntryBlock block{Asic::BlockSize(chain.width)};
  std::uint32_t position = 0;
  for (auto const& [identity, path] : paths) {
    chain.hops.push_back(path.use);
    OrviaL3Unicast::L3EcmpMember const member(path.use->handle);
    for (std::uint32_t i = 0; i < path.count; ++i) block.entryIs(position++, member);
  }
  tableInUse = kMemberTable;
  chain.block = memberTable_->entryBlockRef(block);
  tableInUse = kGroupTable;
  commit(group, std::move(chain));
}

void Groups::commit(Group& group, Chain chain) {
  if (group.handle && group.chain.block == chain.block) {
    group.chain = std::move(chain);  // equal in effect
    return;
  }
  // A record that is still parked has not reached the row: nothing names its block once it is
  // replaced. The others stay until the new one is accepted.
  bool const wasWritten = group.handle && isWritten(group);
  Chain replaced = std::move(group.chain);
  group.chain = std::move(chain);
  if (group.handle) ++counts_.swaps;
  if (wasWritten) group.former.push_back(replaced);
  try {
    write(group);
  } catch (Asic::NoRowException const&) {
    // Only a group that never had a row can miss one.
    release(group);
    throw;
  }
  // An answer within the call comes before there is a handle to judge it by.
  if (group.handle->isProgrammed()) answered(group.contents.id);
}

void Groups::write(Group& group) {
  std::uint32_t const id = group.contents.id;
  group.handle = table_->entryCommitWithResponseHandler(
      Table::Index(id), recordOf(group.chain), [this, id](Asic::HwTable::EntryState state) {
        if (state == Asic::HwTable::success()) answered(id);
      });
}

// The hardware accepted the group's row.
void Groups::answered(std::uint32_t id) {
  auto const found = byId_.find(id);
  // While a newer record is parked, this was the answer to the one before.
  if (found == byId_.end() || !isWritten(found->second)) return;
  std::vector<Chain> ended;
  ended.swap(found->second.former);
}

bool Groups::parked(Group const& group) const {
  return group.handle && table_->unresolvedEntry(Table::Index(group.contents.id)) != nullptr;
}

bool Groups::isWritten(Group const& group) const {
  Table::Index const key(group.contents.id);
  return table_->entryExists(key) && table_->entry(key) == recordOf(group.chain);
}

void Groups::release(Group& group) {
  Table::Index const key(group.contents.id);
  if (table_->entryHandleExists(key)) table_->entryRemove(key);
  group.handle = nullptr;
  // All blocks before any next hop.
  std::vector<Chain> chains;
  chains.swap(group.former);
  chains.push_back(std::exchange(group.chain, {}));
  for (Chain& chain : chains) chain.block = nullptr;
}

void Groups::noRoom() {
  // Everything is looked at before anything is taken back: that makes room and hides the cause.
  std::vector<std::pair<std::uint32_t, std::string>> failed;
  for (auto const& [id, group] : byId_) {
    std::string const reason = group.handle ? obstacleOf(group) : std::string();
    if (!reason.empty()) failed.emplace_back(id, reason);
  }
  for (auto const& [id, reason] : failed) takeBack(byId_.at(id), reason);
}

// What of the group's latest record is ready and found no row.
std::string Groups::obstacleOf(Group const& group) const {
  using OrviaL3Unicast::L3EcmpEntryBlock;
  using OrviaL3Unicast::L3EcmpGroupTraits;
  Asic::Index const none = Asic::Index::invalidIndex();
  if (std::any_of(
          group.chain.hops.begin(), group.chain.hops.end(),
          [this](EcmpNextHops::Use const& hop) { return ecmpNextHops_.withoutRow(*hop); })) {
    return noRoomText(kNextHopTable, 1, ecmpNextHops_.rows());
  }
  L3EcmpEntryBlock const& block = group.chain.block->key();
  auto const& runs = *memberTable_->indexAllocator();
  void const* const blockKey = static_cast<Asic::EntryBlockBase const*>(&block);
  if (memberTable_->entryBlockExists(block) && runs.indexForBlock(blockKey) == none) {
    return noRoomText(kMemberTable, group.chain.width, runs);
  }
  Table::Index const key(group.contents.id);
  auto const& rows = *table_->firstFreeIndexAllocator();
  if (table_->entryExists(key) && rows.indexForKey(L3EcmpGroupTraits::keyType(), &key) == none) {
    return noRoomText(kGroupTable, 1, rows);
  }
  return {};
}

void Groups::takeBack(Group& group, std::string const& reason) {
  ++counts_.notPlaced;
  group.reason = reason;
  if (group.former.empty()) {
    release(group);
    return;
  }
  // Writing the record that is in force drops the parked one; then nothing needs the new block.
  Chain failed = std::exchange(group.chain, std::move(group.former.back()));
  group.former.pop_back();
  write(group);
  failed.block = nullptr;
}

}  // namespace OrviaL3Agent
