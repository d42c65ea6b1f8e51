#include "agent/serve/AgentMetrics.h"

#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>

#include "agent/insight/States.h"
#include "agent/serve/MetricFamilies.h"

namespace OrviaL3Agent {
namespace {

using SoftAsic::TableId;
using Type = MetricFamilies::Type;

constexpr char const* kGroupIdStates[EntryCounts::kGroupIdStates] = {
    "group", "missing-members", "drops", "drops-in-part", "not-possible"};

// In the words that everything else says of states.
void addStates(MetricFamilies& families, char const* table, EntryCounts::States const& counts) {
  for (std::size_t i = 0; i < counts.size(); ++i) {
    char const* const state = Insight::textOf(static_cast<NextHopState>(i));
    families.add({{"table", table}, {"state", state}}, counts[i]);
  }
}

void addEntries(MetricFamilies& families, Agent const& agent, EntryCounts::Result const& counts) {
  Mapping const& mapping = agent.mapping();
  families.begin(Type::Gauge, "orvia_l3_entries",
                 "Entries of the hardware tables by state: next hops of routes (ingress), next "
                 "hops of groups (ecmp), groups (group), and blocks of member rows (member).");
  addStates(families, "ingress", counts.ingress);
  addStates(families, "ecmp", counts.ecmp);
  addStates(families, "group", counts.groups);
  for (auto const& [state, count] : {std::pair{NextHopState::programmed, counts.blocks.programmed},
                                     std::pair{NextHopState::unanswered, counts.blocks.unanswered},
                                     std::pair{NextHopState::parked, counts.blocks.parked},
                                     std::pair{NextHopState::refused, counts.blocks.refused}}) {
    families.add({{"table", "member"}, {"state", Insight::textOf(state)}}, count);
  }

  families.begin(Type::Gauge, "orvia_l3_routes", "Routes by state.");
  for (std::size_t i = 0; i < counts.routes.size(); ++i) {
    families.add({{"state", Insight::textOf(static_cast<Routes::State>(i))}}, counts.routes[i]);
  }
  families.begin(Type::Gauge, "orvia_l3_group_ids", "Group ids of the stream by state.");
  for (std::size_t i = 0; i < counts.groupIds.size(); ++i) {
    families.add({{"state", kGroupIdStates[i]}}, counts.groupIds[i]);
  }
  families.gauge("orvia_l3_next_hop_ids", "Announced ids of single next hops.",
                 mapping.ids().nextHops());
  families.gauge("orvia_l3_unused_next_hop_ids",
                 "Of these, the ones that no route and no group uses.", counts.unusedNextHopIds);
  families.gauge("orvia_l3_blackhole_ids", "Announced ids that drop.", counts.blackholes);
  families.gauge("orvia_l3_missing_ids", "Ids that a route or group names and nobody announced.",
                 counts.missingIds);

  families.begin(Type::Gauge, "orvia_l3_interfaces", "Interfaces that next hops name, by state.");
  std::size_t const programmed = agent.interfaces().programmed();
  families.add({{"state", "programmed"}}, programmed);
  families.add({{"state", "waiting"}}, agent.interfaces().size() - programmed);
  families.gauge("orvia_l3_interfaces_down", "Interfaces that groups go without.",
                 mapping.groups().downInterfaces().size());

  families.begin(Type::Gauge, "orvia_l3_root_causes",
                 "What keeps entries out of the hardware, by kind: each interface, next hop, "
                 "block, group, id or table once, however many entries wait for it.");
  for (std::size_t i = 0; i < Insight::Cause::kKinds; ++i) {
    families.add({{"cause", textOf(static_cast<Insight::Cause::Kind>(i))}}, counts.causes[i]);
  }
  families.gauge("orvia_l3_groups_with_missing_member_rows",
                 "Groups that are published although some of their member rows did not take their "
                 "last write.",
                 counts.groupsWithMissingMembers);
}

void addChanges(MetricFamilies& families, Mapping const& mapping) {
  Groups::Counts const& groups = mapping.groups().counts();
  NextHopCounts const& ingress = mapping.ingress().counts();
  NextHopCounts const& ecmp = mapping.ecmp().counts();
  families.begin(Type::Counter, "orvia_l3_entries_made_total", "Entries that came into use.");
  families.add({{"table", "ingress"}}, ingress.made);
  families.add({{"table", "ecmp"}}, ecmp.made);
  families.add({{"table", "group"}}, groups.made);
  families.begin(Type::Counter, "orvia_l3_entries_ended_total", "Entries whose last user went.");
  families.add({{"table", "ingress"}}, ingress.ended);
  families.add({{"table", "ecmp"}}, ecmp.ended);
  families.add({{"table", "group"}}, groups.ended);
  families.begin(Type::Counter, "orvia_l3_not_placed_total",
                 "Attempts at an entry that found no room.");
  families.add({{"table", "ingress"}}, ingress.notPlaced);
  families.add({{"table", "ecmp"}}, ecmp.notPlaced);
  families.add({{"table", "group"}}, groups.notPlaced);
  families.begin(Type::Counter, "orvia_l3_retries_total",
                 "Records that were written once more after a refusal or silence.");
  families.add({{"table", "ingress"}}, ingress.retried);
  families.add({{"table", "ecmp"}}, ecmp.retried);
  families.add({{"table", "group"}}, groups.retried);
  families.begin(Type::Counter, "orvia_l3_group_swaps_total",
                 "Groups in use that were given another block, by why: their paths changed, an "
                 "interface failed, an interface returned.");
  families.add({{"reason", "paths"}}, groups.swaps - groups.repairs - groups.restores);
  families.add({{"reason", "failure"}}, groups.repairs);
  families.add({{"reason", "return"}}, groups.restores);
}

void addHardware(MetricFamilies& families, Agent const& agent, EntryCounts::Result const& counts) {
  SoftAsic::SoftDevice const& device = agent.hardware().device();
  auto const each = [&](auto const& add) {
    for (TableId const table : SoftAsic::allTables) {
      add(MetricFamilies::Labels{{"table", name(table)}}, device.counts(table), table);
    }
  };
  auto const with = [](MetricFamilies::Labels labels, char const* label, char const* value) {
    labels.push_back({label, value});
    return labels;
  };
  families.begin(Type::Counter, "orvia_l3_hardware_calls_total", "Calls of the hardware.");
  each([&](auto const& labels, SoftAsic::Counts const& table, TableId) {
    families.add(with(labels, "call", "write"), table.writes);
    families.add(with(labels, "call", "delete"), table.deletes);
    families.add(with(labels, "call", "delete-all"), table.deleteAlls);
  });
  families.begin(Type::Counter, "orvia_l3_hardware_answers_total",
                 "Answers of the hardware: first ones that accept or refuse, second ones to the "
                 "same write, and ones whose row was written again or deleted meanwhile.");
  each([&](auto const& labels, SoftAsic::Counts const& table, TableId) {
    families.add(with(labels, "answer", "accepted"), table.accepted);
    families.add(with(labels, "answer", "refused"), table.refused);
    families.add(with(labels, "answer", "repeated"), table.repeated);
    families.add(with(labels, "answer", "overtaken"), table.overtaken);
  });
  families.begin(Type::Counter, "orvia_l3_hardware_unclaimed_answers_total",
                 "Answers for a row that no entry had any longer.");
  each([&](auto const& labels, SoftAsic::Counts const& table, TableId) {
    families.add(labels, table.unclaimed);
  });
  families.begin(Type::Counter, "orvia_l3_hardware_misdirected_calls_total",
                 "Calls for a row that the table does not have.");
  each([&](auto const& labels, SoftAsic::Counts const& table, TableId) {
    families.add(labels, table.noSuchRow);
  });
  families.begin(Type::Counter, "orvia_l3_hardware_faults_total",
                 "Faults that the simulated hardware was told to have.");
  each([&](auto const& labels, SoftAsic::Counts const& table, TableId) {
    families.add(with(labels, "fault", "lost-write"), table.lostWrites);
    families.add(with(labels, "fault", "lost-answer"), table.lostAnswers);
    families.add(with(labels, "fault", "late-answer"), table.late);
  });
  families.begin(Type::Gauge, "orvia_l3_hardware_rows_in_force", "Rows that hold something.");
  each([&](auto const& labels, SoftAsic::Counts const&, TableId table) {
    families.add(labels, counts.rowsInForce[static_cast<std::size_t>(table)]);
  });
  families.gauge("orvia_l3_hardware_answers_waiting", "Answers that are on their way.",
                 device.answers()->waiting());
}

void addAllocators(MetricFamilies& families, Mapping const& mapping) {
  struct Allocator {
    char const* table;
    Asic::GenericIndexAllocator const& rows;
  };
  Allocator const allocators[] = {
      {"ecmp", mapping.ecmp().rows()},
      {"member", *mapping.tables().members->indexAllocator()},
      {"group", *mapping.tables().groups->firstFreeIndexAllocator()},
  };
  families.begin(
      Type::Gauge, "orvia_l3_allocator_rows",
      "Rows by use: the agent chooses those of the ingress table, the other tables their "
      "own.");
  auto const& keys = mapping.ingress().rows();
  families.add({{"table", "ingress"}, {"use", "in-use"}}, keys.taken());
  families.add({{"table", "ingress"}, {"use", "free"}}, keys.size() - keys.taken());
  for (Allocator const& allocator : allocators) {
    families.add({{"table", allocator.table}, {"use", "in-use"}}, allocator.rows.rowsInUse());
    families.add({{"table", allocator.table}, {"use", "free"}}, allocator.rows.rowsFree());
  }
  families.begin(Type::Gauge, "orvia_l3_allocator_largest_free_run_rows",
                 "The longest run of free rows: the widest block that has room.");
  for (Allocator const& allocator : allocators) {
    families.add({{"table", allocator.table}}, allocator.rows.largestFreeRun());
  }
}

void addStream(MetricFamilies& families, Agent const& agent, FpmServer const& stream) {
  FpmServer::Status const status = stream.status();
  StreamCounts const& counts = agent.streamCounts();
  families.gauge("orvia_l3_stream_connected", "Whether a routing daemon is connected.",
                 status.peer ? 1 : 0);
  families.counter("orvia_l3_stream_connections_total", "Connections that were accepted.",
                   status.connections);
  families.counter("orvia_l3_stream_refused_connections_total",
                   "Connections that were refused because another one was there.", status.refused);
  families.counter("orvia_l3_stream_faults_total",
                   "Connections that were ended because of what they sent.", status.faults);
  families.counter("orvia_l3_stream_received_bytes_total", "Bytes that were received.",
                   status.bytes);
  families.gauge("orvia_l3_stream_queued_bytes", "Bytes that were received and not yet read.",
                 status.queued);
  families.gauge("orvia_l3_stream_lag_seconds",
                 "For how long the oldest bytes that are not read have been waiting.",
                 std::chrono::duration<double>(status.lag).count());
  families.counter("orvia_l3_stream_frames_total", "Frames that were read.", counts.frames);
  families.counter("orvia_l3_stream_messages_total", "Messages that were read.", counts.messages);
  families.counter("orvia_l3_stream_skipped_messages_total",
                   "Of these, the ones of kinds that the agent does not know.",
                   counts.skippedMessages);
  families.gauge("orvia_l3_stream_resynchronising",
                 "Whether what a connection before announced is still to be announced again.",
                 status.resynchronising ? 1 : 0);
  families.gauge("orvia_l3_stream_stale_routes",
                 "Routes of a connection before that have not been announced again so far.",
                 status.stale);
  families.counter("orvia_l3_stream_swept_routes_total",
                   "Routes that were removed because they were not announced again.", status.swept);
}

void addTimes(MetricFamilies& families, MeasuredTimes const& times) {
  families.begin(Type::Histogram, "orvia_l3_hardware_answer_seconds",
                 "From the write of a row to the hardware's first answer.");
  for (TableId const table : SoftAsic::allTables) {
    families.add({{"table", name(table)}}, times.answerTimes(table));
  }
  families.begin(Type::Histogram, "orvia_l3_handler_latency_seconds",
                 "From the commit of a record, parked or not, until the hardware accepted it.");
  for (TableId const table : {TableId::ingressNextHops, TableId::ecmpNextHops, TableId::groups}) {
    families.add({{"table", name(table)}}, times.handlerLatency(table));
  }
  families.begin(Type::Histogram, "orvia_l3_convergence_seconds",
                 "From the arrival of a message to the next state of rest: everything that was "
                 "received is read, and no answer and no timer of the tables is awaited.");
  families.add({}, times.convergence().times());
  families.gauge("orvia_l3_converging_messages", "Messages since the last state of rest.",
                 times.convergence().underWay());
}

void addLoop(MetricFamilies& families, LoopTimes const& times) {
  families.begin(Type::Histogram, "orvia_l3_loop_turn_seconds",
                 "Turns of the event loop; while one runs, nobody is listened to.");
  families.add({}, times);
  families.gauge("orvia_l3_loop_longest_turn_seconds", "The longest turn so far.",
                 std::chrono::duration<double>(times.longest()).count());
}

// The second number of the file, in pages; 0 when it cannot be read.
double residentBytes() {
  std::ifstream file("/proc/self/statm");
  double size = 0;
  double resident = 0;
  file >> size >> resident;
  return file ? resident * static_cast<double>(::sysconf(_SC_PAGESIZE)) : 0;
}

void addProcess(MetricFamilies& families) {
  families.begin(Type::Gauge, "orvia_l3_build_info", "1, with the agent's version.");
  families.add({{"version", ORVIA_VERSION}}, 1);
  families.gauge("process_resident_memory_bytes", "Resident memory size in bytes.",
                 residentBytes());
}

}  // namespace

std::vector<prometheus::MetricFamily> agentMetrics(Agent const& agent, FpmServer const& stream,
                                                   EntryCounts::Result const& counts,
                                                   MeasuredTimes const& times) {
  MetricFamilies families;
  addEntries(families, agent, counts);
  addChanges(families, agent.mapping());
  addHardware(families, agent, counts);
  addAllocators(families, agent.mapping());
  addStream(families, agent, stream);
  addTimes(families, times);
  addLoop(families, agent.loopTimes());
  addProcess(families);
  return families.take();
}

}  // namespace OrviaL3Agent
