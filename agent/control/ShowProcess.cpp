#include <unistd.h>

#include <chrono>
#include <fstream>

#include "Fendrel/TraceHandle.h"
#include "Vek/Memory.h"
#include "Vek/TraceHandle.h"
#include "agent/Agent.h"
#include "agent/control/ShowVerbs.h"
#include "agent/serve/FpmServer.h"

namespace OrviaL3Agent::Control {
namespace {

// The process's pages in memory, in bytes; nothing where the system does not say.
Json residentBytes() {
  std::ifstream in("/proc/self/statm");
  std::uint64_t all = 0;
  std::uint64_t resident = 0;
  if (!(in >> all >> resident)) return {};
  return resident * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

void showMemory(Answer& answer) {
  answer.object("memory", {{"residentBytes", residentBytes()}});
  answer.tableIs("objects", {"type", "live", "ever"});
  for (Vek::TypeAllocation const& type : Vek::vekTypeAllocations()) {
    answer.row(Json::array({type.typeName, type.liveObjects, type.totalObjects}));
  }
}

void showTrace(Answer& answer) {
  Fendrel::TraceFile const* const ring = Fendrel::defaultFendrelFile();
  Json about;
  about["ring"] = ring == nullptr ? Json() : Json(ring->path());
  about["ringDropped"] = ring == nullptr ? Json() : Json(ring->dropped());
  answer.object("trace", about);
  answer.tableIs("handles", {"name", "levels"});
  for (Vek::TraceLevels const& handle : Vek::traceLevels()) {
    Json levels = Json::array();
    for (int level = 0; level <= 9; ++level) {
      if ((handle.levels >> level & 1U) != 0) levels.push_back(level);
    }
    answer.row(Json::array({handle.name, levels}));
  }
}

void showStream(Context const& context, Answer& answer) {
  FpmServer::Status const status = context.stream.status();
  StreamCounts const& counts = context.agent.streamCounts();
  auto const age = std::chrono::steady_clock::now() - status.since;
  Json about;
  about["port"] = status.port;
  about["peer"] = orNull(status.peer);
  about["seconds"] = std::chrono::duration_cast<std::chrono::seconds>(age).count();
  about["connections"] = status.connections;
  about["refused"] = status.refused;
  about["faults"] = status.faults;
  about["bytes"] = status.bytes;
  about["frames"] = counts.frames;
  about["messages"] = counts.messages;
  about["queuedBytes"] = status.queued;
  about["lagMicroseconds"] = status.lag.count();
  about["resynchronising"] = status.resynchronising;
  about["stale"] = status.stale;
  about["swept"] = status.swept;
  answer.object("stream", about);
}

Verb simpleVerb(std::string const& words, std::string help,
                std::function<void(Context const&, Answer&)> show) {
  return {words, "", std::move(help),
          [words, show = std::move(show)](Context const& context, Arguments const& arguments) {
            requireCount(arguments, 0, 0, words);
            return jobOf([context, show](Answer& answer) { show(context, answer); });
          }};
}

}  // namespace

std::vector<Verb> showProcessVerbs() {
  return {
      simpleVerb("show memory", "live objects by type, and the process's memory",
                 [](Context const&, Answer& answer) { showMemory(answer); }),
      simpleVerb("show stream", "the routing daemon's connection",
                 [](Context const& context, Answer& answer) { showStream(context, answer); }),
      simpleVerb("show trace", "trace handles, the levels that are on, and the ring file",
                 [](Context const&, Answer& answer) { showTrace(answer); }),
  };
}

}  // namespace OrviaL3Agent::Control
