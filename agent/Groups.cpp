#include "agent/Groups.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace OrviaL3Agent {
namespace {

constexpr char const* kNextHopTable = "ECMP next-hop";
constexpr char const* kMemberTable = "member";
constexpr char const* kGroupTable = "group";

Groups::Table::Entry recordOf(Groups::Chain const& chain) {
  return {0, chain.block, 0, chain.width};
}

// Row 0 of the next-hop and group tables belongs to nobody, so it is not among the rows that a full
// table has.
std::string noRoomText(char const* table, std::uint32_t needed, std::uint32_t free,
                       std::uint32_t size, std::uint32_t longest) {
  bool const reserved = table != kMemberTable;
  return fmt::format("no room in the {} table: {} needed, {} of {} rows free, longest run {}",
                     table, needed, free, reserved ? size - 1 : size, longest);
}
std::string noRoomText(char const* table, std::uint32_t needed,
                       Asic::GenericIndexAllocator const& rows) {
  return noRoomText(table, needed, rows.rowsFree(), rows.size(), rows.largestFreeRun());
}

// The block of these paths, whose next hops are given in the order of the paths.
OrviaL3Unicast::L3EcmpEntryBlock blockOf(Paths const& paths,
                                         std::vector<EcmpNextHops::Use> const& hops) {
  OrviaL3Unicast::L3EcmpEntryBlock block{
      Asic::BlockSize(static_cast<std::uint16_t>(widthOf(paths)))};
  std::uint32_t position = 0;
  auto hop = hops.begin();
  for (auto const& [identity, rows] : paths) {
    OrviaL3Unicast::L3EcmpMember const member((*hop++)->handle);
    for (std::uint32_t i = 0; i < rows; ++i) block.entryIs(position++, member);
  }
  return block;
}

}  // namespace

Groups::Groups(Vek::Ptr<Table> table, Vek::Ptr<MemberTable> memberTable, EcmpNextHops& ecmpNextHops,
               Hardware const& hardware)
    : table_(std::move(table)),
      memberTable_(std::move(memberTable)),
      ecmpNextHops_(ecmpNextHops),
      hardware_(hardware),
      link_(std::make_shared<Link>(Link{this})),
      numbers_(1, std::numeric_limits<std::uint32_t>::max() - 1) {}

Groups::~Groups() { end(); }

Groups::Use Groups::use(Paths const& paths) {
  auto const found = uses_.find(paths);
  return found == uses_.end() ? make(paths) : found->second.lock();
}

Groups::Use Groups::make(Paths const& paths) {
  auto made = std::make_unique<Group>();
  // There are as many numbers as could be counted.
  made->number = numbers_.take().value();
  made->paths = paths;
  Group& group = *made;
  auto const end = [link = link_](Group* ended) {
    std::unique_ptr<Group> const owned(ended);
    if (link->owner != nullptr) link->owner->remove(*ended);
  };
  std::shared_ptr<Group> const use(made.release(), end);
  uses_.emplace(paths, use);
  byNumber_.emplace(group.number, &group);
  index(group);
  ++counts_.made;
  counts_.peak = std::max(counts_.peak, byNumber_.size());
  update(group);
  return use;
}

void Groups::change(Use& held, Use& former, Paths const& paths) {
  if (held && held->paths == paths) return;
  bool const isOnlyHolder = held && held.use_count() == 1;
  if (!isOnlyHolder || uses_.contains(paths)) {
    Use before = std::exchange(held, use(paths));
    if (before && mayLead(*before)) former = std::move(before);
    return;
  }
  Group& group = *byNumber_.at(held->number);
  auto node = uses_.extract(group.paths);
  unindex(group);
  group.paths = paths;
  group.since = sinceNow();
  node.key() = paths;
  uses_.insert(std::move(node));
  index(group);
  update(group);
}

void Groups::remove(Group& group) {
  ++counts_.ended;
  uses_.erase(group.paths);
  unindex(group);
  byNumber_.erase(group.number);
  notPlaced_.erase(group.number);
  refused_.erase(group.number);
  missingRows_.erase(group.number);
  if (group.handle) ++freed_;
  release(group);
  numbers_.giveBack(group.number);
}

void Groups::index(Group const& group) {
  for (auto const& [identity, rows] : group.paths) {
    byInterface_[identity.interfaceIndex()].insert(group.number);
  }
}

void Groups::unindex(Group const& group) {
  for (auto const& [identity, rows] : group.paths) {
    auto const found = byInterface_.find(identity.interfaceIndex());
    if (found == byInterface_.end()) continue;  // of an identity on the same interface
    found->second.erase(group.number);
    if (found->second.empty()) byInterface_.erase(found);
  }
}

void Groups::interfaceIs(std::uint32_t interface, bool up) {
  if (up ? down_.erase(interface) == 0 : !down_.insert(interface).second) return;
  if (up) {
    downSince_.erase(interface);
  } else {
    downSince_.emplace(interface, sinceNow());
  }
  Repair repair;
  repair.up = up;
  std::vector<std::uint32_t>& affected = repair.numbers;
  if (auto const found = byInterface_.find(interface); found != byInterface_.end()) {
    affected.assign(found->second.begin(), found->second.end());
  }
  // The block in force may be of other paths than those asked for.
  affected.insert(affected.end(), waiting_.begin(), waiting_.end());
  for (auto const& [number, tried] : notPlaced_) affected.push_back(number);
  std::sort(affected.begin(), affected.end());
  affected.erase(std::unique(affected.begin(), affected.end()), affected.end());
  repairs_.push_back(std::move(repair));
}

bool Groups::repairSlice(Steps& steps) {
  while (!repairs_.empty()) {
    if (!steps.take()) return false;
    Repair& first = repairs_.front();
    if (first.next == first.numbers.size()) {
      repairs_.pop_front();
      continue;
    }
    // One that is not there any longer, or somebody else by now, has the paths that it is to have.
    auto const found = byNumber_.find(first.numbers[first.next++]);
    if (found != byNumber_.end()) repair(*found->second, first.up);
  }
  return true;
}

void Groups::repair(Group& group, bool up) {
  if (!up) repairInForce(group);
  bool const hadPlace = group.reason.empty();
  bool const isSwapped = update(group);
  if (isSwapped) ++(up ? counts_.restores : counts_.repairs);
  if (isSwapped || (hadPlace && !group.reason.empty())) group.since = sinceNow();
}

void Groups::repairInForce(Group& group) {
  if (!group.accepted || (group.former.empty() && group.reason.empty())) return;
  Paths const& inForce = group.former.empty() ? group.chain.paths : group.former.back().paths;
  Paths const paths = withoutInterfaces(inForce, down_);
  if (paths == inForce) return;
  std::string const reason = group.reason;
  tryToPlace(group, paths);
  if (!reason.empty()) group.reason = reason;  // what is asked for still has no place
}

bool Groups::update(Group& group) {
  Paths const paths = withoutInterfaces(group.paths, down_);
  if (group.reason.empty() && group.handle && group.chain.paths == paths) return false;
  group.reason.clear();
  notPlaced_.erase(group.number);
  if (group.handle && group.chain.paths == paths) return false;  // back to what is in force
  std::uint64_t const swaps = counts_.swaps;
  tryToPlace(group, paths);
  return counts_.swaps != swaps;
}

void Groups::tryToPlace(Group& group, Paths const& paths) {
  char const* tableInUse = nullptr;
  try {
    place(group, paths, tableInUse);
  } catch (Asic::NoRowException const& full) {
    fail(group, noRoomText(tableInUse, full.width(), full.rowsFree(), full.tableSize(),
                           full.largestFreeRun()));
    // It may have been another group's write, which an answer within this one set off.
    if (!waiting_.empty()) noRoom();
  }
}

void Groups::place(Group& group, Paths const& paths, char const*& tableInUse) {
  Chain chain;
  chain.paths = paths;
  chain.width = static_cast<std::uint16_t>(widthOf(paths));
  tableInUse = kNextHopTable;
  for (auto const& [identity, rows] : paths) {
    EcmpNextHops::Result const result = ecmpNextHops_.use(identity);
    if (!result.use) {
      fail(group, text(result.obstacle));
      return;
    }
    chain.hops.push_back(result.use);
  }
  tableInUse = kMemberTable;
  chain.block = memberTable_->entryBlockRef(blockOf(paths, chain.hops));
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
  if (group.handle->isProgrammed()) answered(group.number, Asic::HwTable::success());
}

void Groups::write(Group& group) {
  waiting_.insert(group.number);
  auto const answer = [link = link_, number = group.number](Asic::HwTable::EntryState state) {
    if (link->owner != nullptr) link->owner->answered(number, state);
  };
  group.handle = table_->entryCommitWithResponseHandler(Table::Index(group.number),
                                                        recordOf(group.chain), answer);
}

// The hardware answered for the group's row.
void Groups::answered(std::uint32_t number, Asic::HwTable::EntryState answer) {
  auto const found = byNumber_.find(number);
  if (found == byNumber_.end()) return;
  if (answer != Asic::HwTable::success()) {
    refused_.add(number);
    found->second->since = sinceNow();
    return;
  }
  found->second->accepted = true;
  // While a newer record is parked, this was the answer to the one before.
  if (!isWritten(*found->second)) return;
  waiting_.erase(number);
  std::vector<Chain> ended;
  ended.swap(found->second->former);
  if (!ended.empty()) ++freed_;
}

Groups::State Groups::state(Group const& group) const {
  if (!group.reason.empty() || !group.handle) return State::notPlaced;
  if (table_->unresolvedEntry(Table::Index(group.number))) return State::parked;
  if (group.handle->isProgrammed()) return State::programmed;
  return group.handle->entryState() == Asic::HwTable::refused ? State::refused : State::unanswered;
}

std::optional<Since> Groups::downSince(std::uint32_t interface) const {
  auto const found = downSince_.find(interface);
  return found == downSince_.end() ? std::nullopt : std::optional(found->second);
}

bool Groups::inForce(Group const& group) const { return group.accepted; }

bool Groups::mayLead(Group const& group) const {
  if (!group.handle || group.accepted) return group.accepted;
  bool const wasWritten = !group.former.empty() || isWritten(group);
  return wasWritten && group.handle->entryState() == Asic::HwTable::notAnswered;
}

Asic::Index Groups::row(Group const& group) const {
  Table::Index const key(group.number);
  return table_->firstFreeIndexAllocator()->indexForKey(
      OrviaL3Unicast::L3EcmpGroupTraits::keyType(), &key);
}

std::size_t Groups::missingMemberRows(Group const& group) const {
  if (!group.chain.block || !group.chain.block->isProgrammed()) return 0;
  std::uint32_t const first = group.chain.block->hwEntryIndex().value();
  // What becomes of a write is settled with the call.
  std::uint64_t const calls = hardware_.memberCalls();
  MissingRows& known = missingRows_[group.number];
  if (known.calls != calls || known.first != first || known.width != group.chain.width) {
    std::size_t const missing = hardware_.memberRowsNotTaken(first, group.chain.width);
    known = {calls, first, group.chain.width, missing};
  }
  return known.missing;
}

std::size_t Groups::holders(Group const& group) const {
  return static_cast<std::size_t>(uses_.at(group.paths).use_count());
}

bool Groups::isWritten(Group const& group) const {
  Table::Index const key(group.number);
  return table_->entryExists(key) && table_->entry(key) == recordOf(group.chain);
}

void Groups::release(Group& group) {
  waiting_.erase(group.number);
  Table::Index const key(group.number);
  if (table_->entryHandleExists(key)) table_->entryRemove(key);
  group.handle = nullptr;
  group.accepted = false;
  // All blocks before any next hop.
  std::vector<Chain> chains;
  chains.swap(group.former);
  chains.push_back(std::exchange(group.chain, {}));
  for (Chain& chain : chains) chain.block = nullptr;
}

void Groups::noRoom() {
  // Everything is looked at before anything is taken back: that makes room and hides the cause.
  std::vector<std::pair<std::uint32_t, std::string>> failed;
  for (std::uint32_t const number : waiting_) {
    Group const& group = *byNumber_.at(number);
    std::string reason = group.handle ? obstacleOf(group) : std::string();
    if (!reason.empty()) failed.emplace_back(number, std::move(reason));
  }
  // Who came last makes room for who came first: each of them may have a part of the rows that
  // another one needs.
  std::size_t first = 0;
  for (std::size_t end = failed.size(); first < end;) {
    if (placeRows(*byNumber_.at(failed[first].first))) {
      ++first;
    } else {
      --end;
      takeBack(*byNumber_.at(failed[end].first), failed[end].second);
    }
  }
}

bool Groups::placeRows(Group const& group) {
  try {
    for (EcmpNextHops::Use const& hop : std::vector(group.chain.hops)) {
      if (ecmpNextHops_.withoutRow(*hop)) ecmpNextHops_.place(*hop);
    }
    MemberTable::EntryHandle::PtrConst const block = group.chain.block;
    if (hasNoRows(*block)) memberTable_->handleEntryBlock(block->key());
    Table::Index const key(group.number);
    if (table_->entryExists(key) && row(group) == Asic::Index::invalidIndex()) {
      table_->handleEntry(key);
    }
  } catch (Asic::NoRowException const&) {
    return false;
  }
  return obstacleOf(group).empty();
}

// Whether the block is committed and yet has no rows, because there were none at that moment.
bool Groups::hasNoRows(MemberTable::EntryHandle const& block) const {
  void const* const key = static_cast<Asic::EntryBlockBase const*>(&block.key());
  return memberTable_->entryBlockExists(block.key()) &&
         memberTable_->indexAllocator()->indexForBlock(key) == Asic::Index::invalidIndex();
}

// What of the group's latest record is ready and found no row.
std::string Groups::obstacleOf(Group const& group) const {
  if (std::any_of(
          group.chain.hops.begin(), group.chain.hops.end(),
          [this](EcmpNextHops::Use const& hop) { return ecmpNextHops_.withoutRow(*hop); })) {
    return noRoomText(kNextHopTable, 1, ecmpNextHops_.rows());
  }
  if (hasNoRows(*group.chain.block)) {
    return noRoomText(kMemberTable, group.chain.width, *memberTable_->indexAllocator());
  }
  if (table_->entryExists(Table::Index(group.number)) &&
      row(group) == Asic::Index::invalidIndex()) {
    return noRoomText(kGroupTable, 1, *table_->firstFreeIndexAllocator());
  }
  return {};
}

void Groups::takeBack(Group& group, std::string const& reason) {
  if (group.former.empty()) {
    release(group);
  } else {
    // Writing the record that is in force drops the parked one; then nothing needs the new block.
    Chain failed = std::exchange(group.chain, std::move(group.former.back()));
    group.former.pop_back();
    write(group);
    failed.block = nullptr;
  }
  fail(group, reason);
}

void Groups::fail(Group& group, std::string reason) {
  ++counts_.notPlaced;
  group.reason = std::move(reason);
  notPlaced_[group.number] = freed_;
}

void Groups::retry(Group const& group, bool unanswered) {
  bool full = false;
  for (EcmpNextHops::Use const& hop : std::vector(group.chain.hops)) {
    full |= ecmpNextHops_.retry(*hop, unanswered);
  }
  if (full) noRoom();
  if (unanswered && missingMemberRows(group) > 0) {
    ++counts_.retried;
    MemberTable::EntryHandle::PtrConst const block = group.chain.block;
    memberTable_->handleEntryBlock(block->key());
  }
  State const now = state(group);
  if (now == State::notPlaced) {
    update(*byNumber_.at(group.number));
  } else if (now == State::refused || (unanswered && now == State::unanswered)) {
    ++counts_.retried;
    table_->handleEntry(Table::Index(group.number));
  }
}

bool Groups::retrySlice(Steps& steps) {
  while (steps.take()) {
    bool const unanswered = refused_.isAll();
    std::optional<std::uint32_t> const number = refused_.next(byNumber_);
    if (!number) return true;
    if (Use const use = uses_.at(byNumber_.at(*number)->paths).lock()) retry(*use, unanswered);
  }
  return false;
}

void Groups::retryNotPlaced() {
  notPlacedTried_.clear();
  for (auto const& [number, tried] : notPlaced_) {
    if (tried != freed_) notPlacedTried_.push_back(number);
  }
  std::reverse(notPlacedTried_.begin(), notPlacedTried_.end());
}

bool Groups::retryNotPlacedSlice(Steps& steps) {
  for (; !notPlacedTried_.empty() && steps.take();) {
    std::uint32_t const number = notPlacedTried_.back();
    notPlacedTried_.pop_back();
    auto const failed = notPlaced_.find(number);
    if (failed == notPlaced_.end()) continue;
    failed->second = freed_;
    Group& group = *byNumber_.at(number);
    if (mayFit(group, room())) update(group);
  }
  return notPlacedTried_.empty();
}

Groups::Room Groups::room() const {
  auto const& runs = *memberTable_->indexAllocator();
  return {ecmpNextHops_.rows().rowsFree(), runs.largestFreeRun(),
          table_->firstFreeIndexAllocator()->rowsFree()};
}

bool Groups::mayFit(Group const& group, Room const& free) const {
  if (!group.handle && free.groups == 0) return false;
  Paths const paths = withoutInterfaces(group.paths, down_);
  auto const needed = std::count_if(paths.begin(), paths.end(), [this](auto const& path) {
    return !ecmpNextHops_.isLive(path.first);
  });
  if (widthOf(paths) <= free.run) return needed <= free.nextHops;
  // Another group may have the very block.
  if (needed > 0) return false;
  std::vector<EcmpNextHops::Use> hops;
  for (auto const& [identity, rows] : paths) hops.push_back(ecmpNextHops_.use(identity).use);
  return memberTable_->entryBlockExists(blockOf(paths, hops));
}

}  // namespace OrviaL3Agent
