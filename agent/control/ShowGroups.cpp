#include <fmt/format.h>

#include <map>

#include "agent/Agent.h"
#include "agent/GroupReport.h"
#include "agent/control/ShowVerbs.h"
#include "agent/control/Walk.h"
#include "agent/insight/States.h"

namespace OrviaL3Agent::Control {
namespace {

// The group ids that hold each group, collected in slices.
class IdsOfGroups {
 public:
  // Returns whether all ids have been looked at.
  bool run(GroupIds const& groupIds, SliceTime const& time) {
    return walk_.run(groupIds.ids(), time,
                     [this](std::uint32_t id, GroupIds::GroupId const& group) {
                       if (group.group) ids_[group.group->number].push_back(id);
                       if (group.former) ids_[group.former->number].push_back(id);
                     });
  }
  [[nodiscard]] std::vector<std::uint32_t> const& of(std::uint32_t number) { return ids_[number]; }

 private:
  Walk<std::uint32_t> walk_;
  std::map<std::uint32_t, std::vector<std::uint32_t>> ids_;
};

Json rowOf(Asic::Index row) {
  return row == Asic::Index::invalidIndex() ? Json() : Json(row.value());
}

Json identityJson(std::optional<Identity> const& identity) {
  return identity ? Json(text(*identity)) : Json();
}

class GroupList final : public Job {
 public:
  explicit GroupList(Context const& context) : agent_(context.agent) {}

  bool runSlice(Answer& answer) override {
    SliceTime const time;
    if (!hasIds_) {
      hasIds_ = ids_.run(agent_.mapping().groupIds(), time);
      if (!hasIds_) return false;
      answer.tableIs("groups", {"group", "state", "row", "blockRow", "width", "paths", "pathsDown",
                                "ids", "routes", "missingRows", "reason"});
    }
    return groups_.run(agent_.mapping().groups().groups(), time,
                       [&](std::uint32_t, Groups::Group const* group) { tell(answer, *group); });
  }

 private:
  void tell(Answer& answer, Groups::Group const& group) {
    Groups const& groups = agent_.mapping().groups();
    std::vector<std::uint32_t> const& ids = ids_.of(group.number);
    Asic::Index const row = groups.row(group);
    std::optional<SoftAsic::GroupContents> contents;
    if (row != Asic::Index::invalidIndex()) {
      contents = agent_.hardware().device().groups().row(row).contents;
    }
    std::size_t const down =
        group.reason.empty() ? group.paths.size() - group.chain.paths.size() : 0;
    answer.row(Json::array({group.number, Insight::textOf(groups.state(group)), rowOf(row),
                            contents ? Json(contents->ecmpBlockPtr) : Json(),
                            contents ? Json(contents->numPaths) : Json(), group.paths.size(), down,
                            ids, routesOf(group, ids.size(), agent_.mapping()),
                            groups.missingMemberRows(group), reasonOf(group)}));
  }
  [[nodiscard]] Json reasonOf(Groups::Group const& group) const {
    if (!group.reason.empty()) return group.reason;
    for (EcmpNextHops::Use const& hop : group.chain.hops) {
      if (agent_.mapping().ecmp().state(*hop) == NextHopState::refused) {
        return "refused: " + text(hop->identity);
      }
    }
    return {};
  }

  Agent& agent_;
  IdsOfGroups ids_;
  bool hasIds_ = false;
  Walk<std::uint32_t> groups_;
};

// Rows one after the other that lead to the same place are one.
Json membersJson(std::vector<ShownMember> const& members) {
  Json all = Json::array();
  auto const isSame = [](ShownMember const& a, ShownMember const& b) {
    return a.nextHopRow == b.nextHopRow;
  };
  for (std::size_t i = 0; i < members.size();) {
    std::size_t last = i;
    while (last + 1 < members.size() && isSame(members[last + 1], members[i])) ++last;
    ShownMember const& member = members[i];
    Json one;
    one["firstRow"] = member.row;
    one["lastRow"] = members[last].row;
    one["nextHopRow"] = orNull(member.nextHopRow);
    one["nextHop"] = identityJson(member.identity);
    one["l3Oif1"] = member.nextHop ? Json(member.nextHop->l3Oif1) : Json();
    all.push_back(std::move(one));
    i = last + 1;
  }
  return all;
}

class OneGroup final : public Job {
 public:
  OneGroup(Context const& context, std::uint32_t number) : agent_(context.agent), number_(number) {}

  bool runSlice(Answer& answer) override {
    SliceTime const time;
    // Asked for first: a wrong number costs nothing.
    auto const& groups = agent_.mapping().groups().groups();
    auto const found = groups.find(number_);
    if (found == groups.end())
      throw RequestError(fmt::format(
          "there is no group {} (a group has a number; `who group ROW` asks for a row)", number_));
    if (!ids_.run(agent_.mapping().groupIds(), time)) return false;
    ShownGroup const shown =
        shownGroup(*found->second, ids_.of(number_), agent_.mapping(), agent_.hardware());
    Json group;
    group["group"] = shown.number;
    group["state"] = Insight::textOf(shown.state);
    group["text"] = stateText(shown);
    group["row"] = orNull(shown.row);
    group["blockRow"] = shown.contents ? Json(shown.contents->ecmpBlockPtr) : Json();
    group["width"] = shown.contents ? Json(shown.contents->numPaths) : Json();
    group["olderInRow"] = shown.olderInRow;
    group["ids"] = shown.ids;
    group["routes"] = shown.routes;
    group["pathsDown"] = shown.pathsDown;
    group["missingRows"] = shown.missingMemberRows;
    group["paths"] = Json::array();
    for (auto const& [identity, rows] : shown.paths) {
      group["paths"].push_back({{"nextHop", text(identity)}, {"rows", rows}});
    }
    group["members"] = membersJson(shown.members);
    answer.object("group", group);
    return true;
  }

 private:
  Agent& agent_;
  std::uint32_t number_;
  IdsOfGroups ids_;
};

// The block that covers a row of the member table.
class OneBlock final : public Job {
 public:
  OneBlock(Context const& context, std::uint32_t row) : agent_(context.agent), row_(row) {}

  bool runSlice(Answer& answer) override {
    SliceTime const time;
    bool const isThrough = walk_.run(agent_.mapping().groups().groups(), time,
                                     [&](std::uint32_t number, Groups::Group const* group) {
                                       bool uses = covers(group->chain);
                                       if (uses) hops(group->chain);
                                       for (Groups::Chain const& former : group->former) {
                                         if (!covers(former)) continue;
                                         uses = true;
                                         hops(former);
                                       }
                                       if (uses) groups_.push_back(number);
                                     });
    if (!isThrough) return false;
    if (!first_) throw RequestError(fmt::format("member row {} is of no group's block", row_));
    tell(answer);
    return true;
  }

 private:
  bool covers(Groups::Chain const& chain) {
    if (!chain.block) return false;
    Asic::Index const first = chain.block->hwEntryIndex();
    if (first == Asic::Index::invalidIndex() || row_ < first.value() ||
        row_ - first.value() >= chain.width) {
      return false;
    }
    first_ = first.value();
    width_ = chain.width;
    return true;
  }
  void hops(Groups::Chain const& chain) {
    for (EcmpNextHops::Use const& hop : chain.hops) {
      hops_.emplace(hop->handle->hwEntryIndex().value(), hop->identity);
    }
  }
  void tell(Answer& answer) const {
    answer.object("block", {{"row", *first_}, {"width", width_}, {"groups", groups_}});
    answer.tableIs("members", {"row", "nextHopRow", "nextHop", "answer"});
    SoftAsic::SoftDevice const& device = agent_.hardware().device();
    // A kernel has no such rows: it is asked for whole groups, and nobody answers for one of these.
    bool const areAnswered = agent_.kernel() == nullptr;
    for (std::uint32_t row = *first_; row < *first_ + width_; ++row) {
      if (!device.members().hasRow(row)) continue;
      auto const& member = device.members().row(row);
      std::optional<std::uint32_t> nextHopRow;
      if (member.contents) nextHopRow = member.contents->nextHopEntry.value();
      auto const hop = nextHopRow ? hops_.find(*nextHopRow) : hops_.end();
      answer.row(Json::array({row, orNull(nextHopRow),
                              hop == hops_.end() ? Json() : Json(text(hop->second)),
                              areAnswered ? Json(answerName(member.answer)) : Json()}));
    }
  }
  static char const* answerName(SoftAsic::Answer answer) {
    switch (answer) {
      case SoftAsic::Answer::none:
        return "none";
      case SoftAsic::Answer::awaited:
        return "awaited";
      case SoftAsic::Answer::accepted:
        return "accepted";
      case SoftAsic::Answer::refused:
        break;
    }
    return "refused";
  }

  Agent& agent_;
  std::uint32_t row_;
  Walk<std::uint32_t> walk_;
  std::optional<std::uint32_t> first_;
  std::uint32_t width_ = 0;
  std::vector<std::uint32_t> groups_;
  std::map<std::uint32_t, Identity> hops_;
};

template <class ItsJob>
Verb numberedVerb(std::string const& words, std::string help, std::string what) {
  return {words, "N", std::move(help),
          [usage = words + " N", what = std::move(what)](Context const& context,
                                                         Arguments const& arguments) {
            requireCount(arguments, 1, 1, usage);
            return std::make_unique<ItsJob>(context, numberOf(arguments[0], what));
          }};
}

}  // namespace

std::vector<Verb> showGroupVerbs() {
  return {
      plainVerb<GroupList>("show groups", "the groups of the hardware"),
      numberedVerb<OneGroup>("show group",
                             "the group of that number: paths, and where its rows lead",
                             "a group's number"),
      numberedVerb<OneBlock>("show block", "the block that covers a row of the member table",
                             "a row of the member table"),
  };
}

}  // namespace OrviaL3Agent::Control
