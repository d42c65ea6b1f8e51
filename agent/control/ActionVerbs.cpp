#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>
#include <chrono>
#include <optional>

#include "Asic/GenericIndexAllocator.h"
#include "Vek/TraceHandle.h"
#include "agent/Agent.h"
#include "agent/control/RingDump.h"
#include "agent/control/TraceFollow.h"
#include "agent/control/Walk.h"
#include "agent/control/Words.h"
#include "agent/serve/FpmServer.h"

namespace OrviaL3Agent::Control {
namespace {

// What an action completes may find a table full. That is no failure of the action.
template <class Act>
void acting(Agent& agent, Act const& act) {
  try {
    act();
  } catch (Asic::NoRowException const&) {
    agent.mapping().noRoom();
  }
}

// Takes the interface out or in, and then looks at what that means, a slice at a time.
class InterfaceJob final : public Job {
 public:
  InterfaceJob(Context const& context, std::uint32_t interface, bool isUp)
      : context_(context), interface_(interface), isUp_(isUp) {}

  bool runSlice(Answer& answer) override {
    SliceTime const time;
    Mapping& mapping = context_.agent.mapping();
    if (!isDone_) {
      bool const isDown = mapping.groups().downInterfaces().contains(interface_);
      isChanged_ = isDown == isUp_;
      acting(context_.agent, [&] { mapping.interfaceIs(interface_, isUp_); });
      context_.logDone(
          fmt::format("interface {} {}{}", interface_, state(), isChanged_ ? "" : " as before"));
      isDone_ = true;
      return false;
    }
    // Group by group, in turns to come.
    if (mapping.groups().isRepairing()) return false;
    auto const isOver = [this](auto const& path) {
      return path.first.interfaceIndex() == interface_;
    };
    bool const isCounted = groups_.run(mapping.groups().groups(), time,
                                       [&](std::uint32_t, Groups::Group const* group) {
                                         auto const over = [&](Paths const& paths) {
                                           return std::any_of(paths.begin(), paths.end(), isOver);
                                         };
                                         if (!over(group->paths)) return;
                                         ++withPaths_;
                                         if (group->reason.empty() && !over(group->chain.paths))
                                           ++without_;
                                       }) &&
                           hops_.run(mapping.ingress().hops(), time,
                                     [&](Identity const& identity, IngressNextHops::Hop const*) {
                                       if (identity.interfaceIndex() == interface_) ++nextHops_;
                                     });
    if (!isCounted) return false;
    answer.object("interface", {{"interface", interface_},
                                {"state", state()},
                                {"changed", isChanged_},
                                {"groups", withPaths_},
                                {"groupsWithout", without_},
                                {"nextHops", nextHops_}});
    if (withPaths_ + nextHops_ == 0) {
      answer.line(fmt::format("no next hop is on interface {}{}", interface_,
                              isUp_ ? "" : "; that it is down stays noted for those to come"));
    }
    return true;
  }

 private:
  [[nodiscard]] char const* state() const { return isUp_ ? "up" : "down"; }

  Context context_;
  std::uint32_t interface_;
  bool isUp_;
  bool isDone_ = false;
  bool isChanged_ = false;
  Walk<std::uint32_t> groups_;
  Walk<Identity> hops_;
  std::size_t withPaths_ = 0;  // groups that have paths over it
  std::size_t without_ = 0;    // of these, that go without
  std::size_t nextHops_ = 0;   // of routes, which are led over it whatever its state
};

std::unique_ptr<Job> interfaceIs(Context const& context, Arguments const& arguments) {
  constexpr char const* usage = "interface N down|up";
  requireCount(arguments, 2, 2, usage);
  std::uint32_t const interface = numberOf(arguments[0], "an interface's number");
  std::string const& state = arguments[1];
  if (state != "down" && state != "up") {
    throw RequestError(fmt::format("\"{}\" is neither down nor up: {}", shortened(state), usage));
  }
  return std::make_unique<InterfaceJob>(context, interface, state == "up");
}

// The profile that the table has now. One that never got any answers as the device does by default.
SoftAsic::FaultProfile profileOf(SoftAsic::SoftDevice const& device, SoftAsic::TableId table) {
  switch (table) {
    case SoftAsic::TableId::ingressNextHops:
      return device.ingressNextHops().fault().value_or(SoftAsic::FaultProfile{});
    case SoftAsic::TableId::ecmpNextHops:
      return device.ecmpNextHops().fault().value_or(SoftAsic::FaultProfile{});
    case SoftAsic::TableId::members:
      return device.members().fault().value_or(SoftAsic::FaultProfile{});
    case SoftAsic::TableId::groups:
      break;
  }
  return device.groups().fault().value_or(SoftAsic::FaultProfile{});
}

void faultsDel(SoftAsic::SoftDevice& device, SoftAsic::TableId table) {
  switch (table) {
    case SoftAsic::TableId::ingressNextHops:
      return device.ingressNextHops().faultsDel();
    case SoftAsic::TableId::ecmpNextHops:
      return device.ecmpNextHops().faultsDel();
    case SoftAsic::TableId::members:
      return device.members().faultsDel();
    case SoftAsic::TableId::groups:
      break;
  }
  device.groups().faultsDel();
}

std::unique_ptr<Job> faultIs(Context const& context, Arguments const& arguments) {
  requireCount(arguments, 2, 2, "fault TABLE KEY=VALUE[,KEY=VALUE...]|off");
  auto const* const table =
      std::find_if(std::begin(SoftAsic::allTables), std::end(SoftAsic::allTables),
                   [&](SoftAsic::TableId id) { return arguments[0] == SoftAsic::name(id); });
  if (table == std::end(SoftAsic::allTables)) {
    throw RequestError(fmt::format("there is no table \"{}\": ingress, ecmp, member or group",
                                   shortened(arguments[0])));
  }
  if (context.agent.kernel() != nullptr) {
    throw RequestError("fault is of the simulated hardware, and the agent programs a kernel");
  }
  return jobOf([context, table = *table, text = arguments[1]](Answer& answer) {
    SoftAsic::SoftDevice& device = context.agent.hardware().device();
    if (text == "off") {
      faultsDel(device, table);
    } else {
      SoftAsic::FaultProfiles profiles;
      profiles.of(table) = profileOf(device, table);
      try {
        SoftAsic::faultIs(profiles, fmt::format("{}:{}", SoftAsic::name(table), text));
      } catch (SoftAsic::FaultProfileError const& error) {
        throw RequestError(error.what());
      }
      device.faultIs(table, profiles.of(table));
    }
    std::string const profile = SoftAsic::text(profileOf(device, table));
    context.logDone(fmt::format("fault {}: {}", SoftAsic::name(table), profile));
    answer.object("fault", {{"table", SoftAsic::name(table)}, {"profile", profile}});
  });
}

// What was written once more so far, and what found no room.
struct Tries {
  std::uint64_t hops, groups, noRoom;
};
Tries triesOf(Mapping const& mapping) {
  NextHopCounts const& ingress = mapping.ingress().counts();
  NextHopCounts const& ecmp = mapping.ecmp().counts();
  Groups::Counts const& groups = mapping.groups().counts();
  return {ingress.retried + ecmp.retried, groups.retried,
          ingress.notPlaced + ecmp.notPlaced + groups.notPlaced};
}

// Has all of it tried again, which takes some turns, and says what that was. Where other things go
// on all the time there is no end of it to be seen: after a while it tells of what was done by
// then.
class RetryJob final : public Job {
 public:
  explicit RetryJob(Context const& context) : context_(context) {}

  bool runSlice(Answer& answer) override {
    Mapping& mapping = context_.agent.mapping();
    if (!begin_) {
      begin_ = Clock::now();
      before_ = triesOf(mapping);
      acting(context_.agent, [&] { mapping.retry(true); });
      context_.logDone("retry");
      return false;
    }
    if (mapping.busy() && Clock::now() - *begin_ < kLongest) return false;
    Tries const after = triesOf(mapping);
    answer.object("retry", {{"nextHopWrites", after.hops - before_.hops},
                            {"groupWrites", after.groups - before_.groups},
                            {"noRoom", after.noRoom - before_.noRoom}});
    return true;
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::seconds kLongest{2};

  Context context_;
  std::optional<Clock::time_point> begin_;
  Tries before_{};
};

std::unique_ptr<Job> retry(Context const& context, Arguments const& arguments) {
  requireCount(arguments, 0, 0, "retry");
  return std::make_unique<RetryJob>(context);
}

std::unique_ptr<Job> resync(Context const& context, Arguments const& arguments) {
  requireCount(arguments, 0, 0, "resync");
  return jobOf([context](Answer& answer) {
    std::optional<std::string> const peer = context.stream.status().peer;
    context.logDone(peer ? "resync" : "resync without a routing daemon");
    // Without one nothing is to be dropped, and whoever connects next says all anyway.
    answer.line(peer ? fmt::format("dropped the connection of {}: it is to connect again and say "
                                   "everything once more",
                                   *peer)
                     : "no routing daemon is connected: there is nothing to drop");
    context.stream.resync();
  });
}

std::unique_ptr<Job> traceLevel(Context const&, Arguments const& arguments) {
  constexpr char const* usage = "trace level NAME N|off";
  constexpr std::uint32_t highest = Vek::TraceFacility::level9;
  requireCount(arguments, 2, 2, usage);
  std::optional<std::uint32_t> level;
  if (arguments[1] != "off") level = numberOf(arguments[1], "a level");
  if (level.value_or(0) > highest) {
    throw RequestError(fmt::format("\"{}\" is no level from 0 to {}", arguments[1], highest));
  }
  return jobOf([pattern = arguments[0], level](Answer& answer) {
    Vek::traceLevelsUpToIs(pattern, Vek::TraceFacility::level9, false);
    if (level) {
      auto const upTo = static_cast<Vek::TraceFacility::FacilityLevel>(*level);
      Vek::traceLevelsUpToIs(pattern, upTo, true);
    }
    std::vector<Vek::TraceLevels> const handles = Vek::traceLevels();
    auto const matching = std::count_if(handles.begin(), handles.end(), [&](auto const& handle) {
      return ::fnmatch(pattern.c_str(), handle.name.c_str(), 0) == 0;
    });
    answer.object("trace", {{"name", pattern}, {"handles", matching}});
  });
}

class Follow final : public Job {
 public:
  bool runSlice(Answer& answer) override {
    SliceTime const time;
    while (std::optional<TraceFollower::Line> const line = follower_.take()) {
      if (line->droppedBefore > 0) {
        answer.line(fmt::format("... {} lines lost: they came faster than they were read",
                                line->droppedBefore));
      }
      if (!line->text.empty()) answer.line(line->text);
      if (time.isOver()) break;
    }
    return false;  // until the client goes
  }
  [[nodiscard]] bool busy() const override { return follower_.hasLines(); }
  [[nodiscard]] bool follows() const override { return true; }

 private:
  TraceFollower follower_;
};

std::unique_ptr<Job> traceFollow(Context const&, Arguments const& arguments) {
  requireCount(arguments, 0, 0, "trace follow");
  return std::make_unique<Follow>();
}

}  // namespace

std::vector<Verb> actionVerbs() {
  return {
      {"interface", "N down|up", "take an interface out of the groups, or back in", interfaceIs},
      {"fault", "TABLE KEY=VALUE[,...]|off", "what the simulated hardware does wrong", faultIs},
      {"retry", "", "try again what was refused, unanswered or had no room", retry},
      {"resync", "", "drop the routing daemon's connection: it says all again", resync},
      {"trace level", "NAME N|off", "levels 0 to N on, the rest off; NAME may have * and ?",
       traceLevel},
      {"trace follow", "", "print trace lines as they come", traceFollow},
      {"ring dump", "", "the records of the ring file, as text", ringDump},
  };
}

}  // namespace OrviaL3Agent::Control
