#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>

#include "Asic/GenericIndexAllocator.h"
#include "Vek/TraceHandle.h"
#include "agent/Agent.h"
#include "agent/control/RingDump.h"
#include "agent/control/TraceFollow.h"
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

std::unique_ptr<Job> interfaceIs(Context const& context, Arguments const& arguments) {
  constexpr char const* usage = "interface N down|up";
  requireCount(arguments, 2, 2, usage);
  std::uint32_t const interface = numberOf(arguments[0], "an interface's number");
  std::string const& state = arguments[1];
  if (state != "down" && state != "up") {
    throw RequestError(fmt::format("\"{}\" is neither down nor up: {}", shortened(state), usage));
  }
  return jobOf([&agent = context.agent, interface, isUp = state == "up"](Answer&) {
    acting(agent, [&] { agent.mapping().interfaceIs(interface, isUp); });
  });
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
  return jobOf([&agent = context.agent, table = *table, text = arguments[1]](Answer& answer) {
    SoftAsic::SoftDevice& device = agent.hardware().device();
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
    answer.object("fault", {{"table", SoftAsic::name(table)},
                            {"profile", SoftAsic::text(profileOf(device, table))}});
  });
}

std::unique_ptr<Job> retry(Context const& context, Arguments const& arguments) {
  requireCount(arguments, 0, 0, "retry");
  return jobOf(
      [&agent = context.agent](Answer&) { acting(agent, [&] { agent.mapping().retry(true); }); });
}

std::unique_ptr<Job> resync(Context const& context, Arguments const& arguments) {
  requireCount(arguments, 0, 0, "resync");
  return jobOf([&stream = context.stream](Answer& answer) {
    // Nothing is to be dropped then, and whoever connects next says all anyway.
    if (!stream.status().peer)
      answer.line("no routing daemon is connected: there is nothing to drop");
    stream.resync();
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
      {"fault", "TABLE KEY=VALUE[,...]|off", "what the simulated hardware does wrong from now on",
       faultIs},
      {"retry", "", "try again what was refused, unanswered or found no room", retry},
      {"resync", "", "drop the routing daemon's connection, so that it says all again", resync},
      {"trace level", "NAME N|off", "trace levels up to N of the handles whose names match",
       traceLevel},
      {"trace follow", "", "print trace lines as they come", traceFollow},
      {"ring dump", "", "the records of the ring file, as text", ringDump},
  };
}

}  // namespace OrviaL3Agent::Control
