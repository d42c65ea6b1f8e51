#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <set>

#include "agent/Agent.h"
#include "agent/control/ShowVerbs.h"
#include "agent/control/Walk.h"
#include "agent/insight/BlockCounts.h"

namespace OrviaL3Agent::Control {
namespace {

constexpr std::array<SoftAsic::TableId, 4> kTables = {
    SoftAsic::TableId::ingressNextHops, SoftAsic::TableId::ecmpNextHops, SoftAsic::TableId::members,
    SoftAsic::TableId::groups};

// How many entries of a table are in each state.
struct Tally {
  std::size_t programmed = 0, unanswered = 0, parked = 0, refused = 0, notPlaced = 0;

  void add(NextHopState state) { ++of(static_cast<std::size_t>(state)); }
  void add(Groups::State state) {
    constexpr std::array<std::size_t, 5> asNextHops = {0, 1, 2, 3, 4};
    ++of(asNextHops.at(static_cast<std::size_t>(state)));
  }
  [[nodiscard]] std::size_t all() const {
    return programmed + unanswered + parked + refused + notPlaced;
  }

 private:
  // Both kinds of states are in this order.
  std::size_t& of(std::size_t state) {
    static_assert(static_cast<int>(NextHopState::notPlaced) == 4);
    static_assert(static_cast<int>(Groups::State::notPlaced) == 4);
    std::array<std::size_t*, 5> const counts = {&programmed, &unanswered, &parked, &refused,
                                                &notPlaced};
    return *counts.at(state);
  }
};

class Tables final : public Job {
 public:
  explicit Tables(Context const& context) : agent_(context.agent) {}

  bool runSlice(Answer& answer) override {
    SliceTime const time;
    Mapping const& mapping = agent_.mapping();
    auto const addTo = [](Tally& tally, auto const& part) {
      return [&](auto const&, auto const* entry) { tally.add(part.state(*entry)); };
    };
    bool const isDone =
        ingress_.run(mapping.ingress().hops(), time, addTo(ingressTally_, mapping.ingress())) &&
        ecmp_.run(mapping.ecmp().hops(), time, addTo(ecmpTally_, mapping.ecmp())) &&
        groups_.run(mapping.groups().groups(), time, [&](auto const&, Groups::Group const* group) {
          groupTally_.add(mapping.groups().state(*group));
          blocks_.add(agent_, *group);
        });
    if (!isDone) return false;
    blocks_.finish(agent_);
    answer.tableIs("tables", {"table", "entries", "programmed", "unanswered", "parked", "refused",
                              "notPlaced", "rows"});
    AgentOptions const& options = agent_.options();
    tell(answer, "ingress", ingressTally_, options.rows - options.firstIngressRow());
    tell(answer, "ecmp", ecmpTally_, options.firstIngressRow());
    answer.row(Json::array({"member", blocks_.all(), blocks_.programmed, blocks_.unanswered,
                            blocks_.parked, blocks_.refused, nullptr, options.memberRows}));
    tell(answer, "group", groupTally_, options.groupRows);
    return true;
  }

 private:
  static void tell(Answer& answer, char const* table, Tally const& tally, std::uint32_t rows) {
    answer.row(Json::array({table, tally.all(), tally.programmed, tally.unanswered, tally.parked,
                            tally.refused, tally.notPlaced, rows}));
  }

  Agent& agent_;
  Walk<Identity> ingress_, ecmp_;
  Walk<std::uint32_t> groups_;
  Tally ingressTally_, ecmpTally_, groupTally_;
  Insight::BlockCounts blocks_;
};

class Interfaces final : public Job {
 public:
  explicit Interfaces(Context const& context) : agent_(context.agent) {}

  bool runSlice(Answer& answer) override {
    SliceTime const time;
    if (!isBegun_) {
      answer.tableIs("interfaces", {"interface", "vrf", "state", "slot", "programmed", "seconds",
                                    "mtu", "downSeconds"});
      isBegun_ = true;
    }
    while (auto const entry = agent_.interfaces().shownAfter(last_)) {
      last_ = entry->key;
      tell(answer, *entry);
      if (time.isOver()) return false;
    }
    // Down, and in nobody's use.
    std::set<std::uint32_t> const& down = agent_.mapping().groups().downInterfaces();
    auto at = lastDown_ ? down.upper_bound(*lastDown_) : down.begin();
    for (; at != down.end(); ++at) {
      lastDown_ = *at;
      if (agent_.interfaces().slot(*at)) continue;
      answer.row(Json::array({*at, 0, "down", nullptr, nullptr, nullptr, agent_.parts().mtuOf(*at),
                              downSeconds(*at)}));
      if (time.isOver()) return false;
    }
    return true;
  }

 private:
  void tell(Answer& answer, StandInTable::Shown const& entry) const {
    auto const interface = static_cast<std::uint32_t>(entry.key);
    Json const down = downSeconds(interface);
    answer.row(Json::array({interface, static_cast<std::uint32_t>(entry.key >> 32U),
                            down.is_null() ? "up" : "down", entry.slot, entry.programmed,
                            secondsSince(entry.since), agent_.parts().mtuOf(interface), down}));
  }
  [[nodiscard]] Json downSeconds(std::uint32_t interface) const {
    std::optional<Since> const since = agent_.mapping().groups().downSince(interface);
    return since ? Json(secondsSince(*since)) : Json();
  }
  static std::int64_t secondsSince(Since since) {
    return std::chrono::duration_cast<std::chrono::seconds>(sinceNow() - since).count();
  }

  Agent& agent_;
  std::optional<StandInTable::Key> last_;
  std::optional<std::uint32_t> lastDown_;
  bool isBegun_ = false;
};

void showAllocators(Agent& agent, Answer& answer) {
  answer.tableIs("allocators", {"table", "rows", "inUse", "free", "largestFreeRun"});
  Mapping const& mapping = agent.mapping();
  auto const tell = [&answer](char const* table, Asic::GenericIndexAllocator const& rows) {
    answer.row(Json::array(
        {table, rows.size(), rows.rowsInUse(), rows.rowsFree(), rows.largestFreeRun()}));
  };
  // Taken one by one: no run of them matters.
  auto const& keys = mapping.ingress().rows();
  answer.row(
      Json::array({"ingress", keys.size(), keys.taken(), keys.size() - keys.taken(), nullptr}));
  tell("ecmp", mapping.ecmp().rows());
  tell("member", *mapping.tables().members->indexAllocator());
  tell("group", *mapping.tables().groups->firstFreeIndexAllocator());
}

class HardwareTables final : public Job {
 public:
  explicit HardwareTables(Context const& context) : agent_(context.agent) {}

  bool runSlice(Answer& answer) override {
    SoftAsic::SoftDevice const& device = agent_.hardware().device();
    if (table_ == 0 && next_ == 0) {
      answer.tableIs("hardware",
                     {"table", "rows", "inForce", "writes", "deletes", "accepted", "refused",
                      "overtaken", "repeated", "late", "lostAnswers", "lostWrites", "fault"});
    }
    bool isThrough = false;
    switch (kTables.at(table_)) {
      case SoftAsic::TableId::ingressNextHops:
        isThrough = count(device.ingressNextHops(), answer);
        break;
      case SoftAsic::TableId::ecmpNextHops:
        isThrough = count(device.ecmpNextHops(), answer);
        break;
      case SoftAsic::TableId::members:
        isThrough = count(device.members(), answer);
        break;
      case SoftAsic::TableId::groups:
        isThrough = count(device.groups(), answer);
        break;
    }
    if (!isThrough) return false;
    next_ = 0;
    inForce_ = 0;
    if (++table_ < kTables.size()) return false;
    answer.object("answers", {{"waiting", device.answers()->waiting()}});
    return true;
  }

 private:
  // Looking at a row is a matter of nanoseconds.
  static constexpr std::uint32_t kRowsPerSlice = 16384;

  template <class Window>
  bool count(Window const& window, Answer& answer) {
    std::uint32_t const end = std::min(window.rows(), next_ + kRowsPerSlice);
    for (; next_ < end; ++next_) {
      if (window.row(window.firstRow() + next_).contents) ++inForce_;
    }
    if (next_ < window.rows()) return false;
    SoftAsic::Counts const& counts = window.counts();
    bool const isFaulty = window.fault() && !(*window.fault() == SoftAsic::FaultProfile{});
    answer.row(
        Json::array({SoftAsic::name(kTables.at(table_)), window.rows(), inForce_, counts.writes,
                     counts.deletes, counts.accepted, counts.refused, counts.overtaken,
                     counts.repeated, counts.late, counts.lostAnswers, counts.lostWrites,
                     isFaulty ? Json(SoftAsic::text(*window.fault())) : Json()}));
    return true;
  }

  Agent& agent_;
  std::size_t table_ = 0;
  std::uint32_t next_ = 0;
  std::uint64_t inForce_ = 0;
};

}  // namespace

std::vector<Verb> showTableVerbs() {
  return {
      plainVerb<Tables>("show tables", "entries of each table by state"),
      plainVerb<Interfaces>("show interfaces", "interfaces that next hops need, and those down"),
      {"show allocators", "", "rows in use and free, and the longest free run",
       [](Context const& context, Arguments const& arguments) {
         requireCount(arguments, 0, 0, "show allocators");
         return jobOf([&agent = context.agent](Answer& answer) { showAllocators(agent, answer); });
       }},
      plainVerb<HardwareTables>("show hardware", "calls, answers and faults of each table"),
  };
}

}  // namespace OrviaL3Agent::Control
