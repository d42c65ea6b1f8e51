#include "agent/ForwardingCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <numeric>

namespace OrviaL3Agent {
namespace {

using SoftAsic::Call;
using SoftAsic::Fate;
using SoftAsic::TableId;

constexpr std::size_t kLines = 20;

std::string contentsText(SoftAsic::NextHopContents const& contents) {
  return fmt::format("destination {}, interface row {}, MTU row {}", contents.fields.destination,
                     contents.l3Oif1, contents.mtuProfilePtr);
}

std::string contentsText(SoftAsic::MemberContents const& contents) {
  if (contents.nextHopEntry == Asic::Index::invalidIndex()) return "no next-hop row";
  return fmt::format("next-hop row {}", contents.nextHopEntry.value());
}

std::string contentsText(SoftAsic::GroupContents const& contents) {
  return fmt::format("{} paths from member row {}", contents.numPaths, contents.ecmpBlockPtr);
}

std::string contentsText(std::monostate) { return "nothing"; }

std::string callText(Call const& call) {
  char const* const table = name(call.table);
  if (call.kind == Call::Kind::removeAll) return fmt::format("removal of all {} rows", table);
  if (call.kind == Call::Kind::remove) return fmt::format("removal of {} row {}", table, call.row);
  std::string const contents =
      std::visit([](auto const& value) { return contentsText(value); }, call.contents);
  constexpr char const* kFates[] = {"", ", refused", ", lost", ", no such row"};
  return fmt::format("write of {} row {} ({}){}", table, call.row, contents,
                     kFates[static_cast<std::size_t>(call.fate)]);
}

}  // namespace

ForwardingCheck::ForwardingCheck(Sizes const& sizes, std::size_t kept)
    : ecmpNextHops_(sizes.ecmpNextHops),
      nextHops_(sizes.nextHops),
      members_(sizes.members),
      groups_(sizes.groups),
      kept_(kept) {}

std::uint64_t ForwardingCheck::total() const {
  return std::accumulate(counts_.begin(), counts_.end(), std::uint64_t{0});
}

bool ForwardingCheck::hasRow(TableId table, std::uint32_t row) const {
  switch (table) {
    case TableId::ingressNextHops:
      return row >= ecmpNextHops_ && row < nextHops_.size();
    case TableId::ecmpNextHops:
      return row < ecmpNextHops_;
    case TableId::members:
      return row < members_.size();
    case TableId::groups:
      return row < groups_.size();
  }
  return false;
}

// All rows change before any group is looked at: a call takes effect at once.
void ForwardingCheck::callIs(Call const& call) {
  ++calls_;
  if (call.kind == Call::Kind::removeAll) {
    std::uint32_t const first = call.table == TableId::ingressNextHops ? ecmpNextHops_ : 0;
    for (std::uint32_t row = first; hasRow(call.table, row); ++row) empty(call.table, row);
    for (std::uint32_t row = first; hasRow(call.table, row); ++row) touch(call.table, row);
  } else if (hasRow(call.table, call.row)) {
    // A window ignores what is outside of it, even where the device has such a row.
    if (call.kind == Call::Kind::write) {
      write(call);
    } else {
      empty(call.table, call.row);
    }
    touch(call.table, call.row);
  }
  settle(call);
  if (call.kind == Call::Kind::write && call.unprogrammedHandles > 0) {
    report(call, Kind::unprogrammed, std::nullopt);
  }
  if (wrongGroups_ > 0) ++wrongCalls_;
}

void ForwardingCheck::write(Call const& call) {
  bool const taken = call.fate == Fate::taken;
  if (call.table == TableId::members) {
    MemberRow& member = members_[call.row];
    member.missed = call.fate == Fate::refused || call.fate == Fate::lost;
    auto const* const contents = std::get_if<SoftAsic::MemberContents>(&call.contents);
    if (!taken || contents == nullptr) return;
    member.wasWritten = true;
    nameNextHop(call.row, contents->nextHopEntry.value());
  } else if (call.table == TableId::groups) {
    if (taken) writeGroup(call.row, call);
  } else {
    auto const* const contents = std::get_if<SoftAsic::NextHopContents>(&call.contents);
    if (!taken || contents == nullptr) return;
    nextHops_[call.row].wasWritten = true;
    nextHops_[call.row].contents = *contents;
  }
}

void ForwardingCheck::writeGroup(std::uint32_t row, Call const& call) {
  auto const* const contents = std::get_if<SoftAsic::GroupContents>(&call.contents);
  if (contents == nullptr) return;
  emptyGroup(row);
  GroupRow& group = groups_[row];
  group.inForce = true;
  group.block = contents->ecmpBlockPtr;
  group.positions.resize(contents->numPaths);
  for (std::uint32_t i = 0; i < contents->numPaths; ++i) {
    Position& position = group.positions[i];
    // Paths beyond the record's own block were asked for by nobody.
    if (i < call.nextHopRows.size()) position.nextHop = call.nextHopRows[i];
    if (position.nextHop < nextHops_.size()) {
      position.contents = nextHops_[position.nextHop].contents;
    }
    if (group.block + i >= members_.size()) continue;
    std::vector<Lead>& leads = members_[group.block + i].leads;
    position.place = static_cast<std::uint32_t>(leads.size());
    leads.push_back({row, i});
  }
}

void ForwardingCheck::empty(TableId table, std::uint32_t row) {
  if (table == TableId::members) {
    members_[row].missed = false;
    nameNextHop(row, std::nullopt);
  } else if (table == TableId::groups) {
    emptyGroup(row);
  } else {
    nextHops_[row].contents.reset();
  }
}

void ForwardingCheck::nameNextHop(std::uint32_t memberRow,
                                  std::optional<std::uint32_t> nextHopRow) {
  MemberRow& member = members_[memberRow];
  if (member.nextHop && *member.nextHop < nextHops_.size()) {
    std::vector<std::uint32_t>& named = nextHops_[*member.nextHop].members;
    members_[named.back()].place = member.place;
    named[member.place] = named.back();
    named.pop_back();
  }
  member.nextHop = nextHopRow;
  if (nextHopRow && *nextHopRow < nextHops_.size()) {
    std::vector<std::uint32_t>& named = nextHops_[*nextHopRow].members;
    member.place = static_cast<std::uint32_t>(named.size());
    named.push_back(memberRow);
  }
}

void ForwardingCheck::emptyGroup(std::uint32_t row) {
  if (!groups_[row].inForce) return;
  GroupRow& group = touchGroup(row);
  for (std::uint32_t i = 0; i < group.positions.size(); ++i) {
    if (group.block + i >= members_.size()) continue;
    std::vector<Lead>& leads = members_[group.block + i].leads;
    std::uint32_t const place = group.positions[i].place;
    Lead const last = leads.back();
    leads[place] = last;
    groups_[last.group].positions[last.position].place = place;
    leads.pop_back();
  }
  group.inForce = false;
  group.positions.clear();
  group.wrong = {};
}

void ForwardingCheck::touch(TableId table, std::uint32_t row) {
  if (table == TableId::members) {
    touchMember(row);
  } else if (table == TableId::groups) {
    auto const positions = static_cast<std::uint32_t>(groups_[row].positions.size());
    // Those that are judged already are judged the same again.
    for (std::uint32_t i = 0; i < positions; ++i) judge({row, i});
  } else {
    for (std::uint32_t const member : nextHops_[row].members) touchMember(member);
  }
}

void ForwardingCheck::touchMember(std::uint32_t row) {
  for (Lead const& lead : members_[row].leads) judge(lead);
}

// Remembers once a call what was wrong before it.
ForwardingCheck::GroupRow& ForwardingCheck::touchGroup(std::uint32_t row) {
  GroupRow& group = groups_[row];
  if (group.touched != calls_) {
    group.touched = calls_;
    std::transform(group.wrong.begin(), group.wrong.end(), group.before.begin(),
                   [](std::uint32_t positions) { return positions > 0; });
    touched_.push_back(row);
  }
  return group;
}

void ForwardingCheck::judge(Lead const& lead) {
  GroupRow& group = touchGroup(lead.group);
  Position& position = group.positions[lead.position];
  if (position.wrong) --group.wrong[static_cast<std::size_t>(*position.wrong)];
  position.wrong = kindOf(group.block + lead.position, position);
  if (position.wrong) ++group.wrong[static_cast<std::size_t>(*position.wrong)];
}

std::optional<ForwardingCheck::Kind> ForwardingCheck::kindOf(std::uint32_t memberRow,
                                                             Position& position) const {
  if (memberRow >= members_.size()) return Kind::neverWritten;
  MemberRow const& member = members_[memberRow];
  if (member.nextHop != position.nextHop) {
    if (member.missed) return Kind::notInHardware;
    if (member.nextHop) return Kind::another;
    return member.wasWritten ? Kind::deleted : Kind::neverWritten;
  }
  if (position.nextHop >= nextHops_.size()) return Kind::neverWritten;
  NextHopRow const& nextHop = nextHops_[position.nextHop];
  if (!nextHop.contents) return nextHop.wasWritten ? Kind::deleted : Kind::neverWritten;
  if (!position.contents) position.contents = nextHop.contents;
  return position.contents == nextHop.contents ? std::nullopt : std::optional(Kind::another);
}

// Compares each touched group with what it was before the call.
void ForwardingCheck::settle(Call const& call) {
  std::sort(touched_.begin(), touched_.end());
  for (std::uint32_t const row : touched_) {
    GroupRow const& group = groups_[row];
    bool wasWrong = false;
    bool isWrong = false;
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
      wasWrong = wasWrong || group.before[kind];
      isWrong = isWrong || group.wrong[kind] > 0;
      if (group.wrong[kind] > 0 && !group.before[kind]) {
        report(call, static_cast<Kind>(kind), row);
      }
    }
    if (isWrong && !wasWrong) ++wrongGroups_;
    if (wasWrong && !isWrong) --wrongGroups_;
  }
  touched_.clear();
}

void ForwardingCheck::report(Call const& call, Kind kind, std::optional<std::uint32_t> group) {
  ++counts_[static_cast<std::size_t>(kind)];
  if (instants_.size() >= kept_) return;
  Instant instant;
  instant.serial = call.serial;
  instant.call = callText(call);
  instant.kind = kind;
  instant.groupRow = group;
  if (group) {
    describe(instant);
  } else {
    instant.leadsTo = fmt::format("{} not programmed", call.unprogrammedHandles);
    instant.askedFor = "programmed entries";
  }
  instants_.push_back(std::move(instant));
}

void ForwardingCheck::describe(Instant& instant) const {
  GroupRow const& group = groups_[*instant.groupRow];
  auto const wrong =
      std::find_if(group.positions.begin(), group.positions.end(),
                   [&instant](Position const& one) { return one.wrong == instant.kind; });
  std::uint32_t const memberRow =
      group.block + static_cast<std::uint32_t>(std::distance(group.positions.begin(), wrong));
  instant.memberRow = memberRow;
  instant.leadsTo = "nothing";
  if (memberRow < members_.size() && members_[memberRow].nextHop.value_or(kNoRow) != kNoRow) {
    std::uint32_t const row = *members_[memberRow].nextHop;
    instant.nextHopRow = row;
    bool const held = row < nextHops_.size() && nextHops_[row].contents;
    instant.leadsTo = fmt::format("next-hop row {} ({})", row,
                                  held ? contentsText(*nextHops_[row].contents) : "empty");
  }
  instant.askedFor = "nothing";
  if (wrong->nextHop != kNoRow) {
    instant.askedFor = fmt::format("next-hop row {}", wrong->nextHop);
    if (wrong->contents) instant.askedFor += fmt::format(" ({})", contentsText(*wrong->contents));
  }
}

char const* text(ForwardingCheck::Kind kind) {
  switch (kind) {
    case ForwardingCheck::Kind::neverWritten:
      return "leads to a row that was never written";
    case ForwardingCheck::Kind::deleted:
      return "leads to a deleted row";
    case ForwardingCheck::Kind::another:
      return "leads to another row";
    case ForwardingCheck::Kind::notInHardware:
      return "published, not in hardware";
    case ForwardingCheck::Kind::unprogrammed:
      return "names an entry that is not programmed";
  }
  return "unknown";
}

std::string text(ForwardingCheck::Instant const& instant) {
  std::string line = fmt::format("call {}, {}: ", instant.serial, instant.call);
  if (instant.groupRow) line += fmt::format("group row {} ", *instant.groupRow);
  line += text(instant.kind);
  line += ": ";
  if (instant.memberRow) line += fmt::format("member row {} -> ", *instant.memberRow);
  return line + fmt::format("{}; asked for {}", instant.leadsTo, instant.askedFor);
}

std::string text(ForwardingCheck const& check) {
  std::string lines;
  std::size_t const shown = std::min(kLines, check.instants().size());
  for (std::size_t i = 0; i < shown; ++i) lines += text(check.instants()[i]) + "\n";
  std::uint64_t const total = check.total();
  if (total > shown) lines += fmt::format("and {} more\n", total - shown);
  lines += fmt::format("forwarding check: {} calls, ", check.calls());
  if (total == 0) return lines + "no group ever led anywhere but where its record said\n";
  lines += total == 1 ? "1 instant (" : fmt::format("{} instants (", total);
  char const* separator = "";
  for (std::size_t i = 0; i < ForwardingCheck::kKinds; ++i) {
    auto const kind = static_cast<ForwardingCheck::Kind>(i);
    if (check.count(kind) == 0) continue;
    lines += fmt::format("{}{} x {}", separator, check.count(kind), text(kind));
    separator = ", ";
  }
  return lines + fmt::format("), {} calls left a group wrong, {} groups are wrong now\n",
                             check.wrongCalls(), check.wrongGroups());
}

}  // namespace OrviaL3Agent
