#include "Scenario.h"

namespace Interleaving {
namespace {

using Model::Kind;
using Model::Step;

constexpr std::uint32_t refs = 13;  // values of a ref
constexpr std::uint32_t firstSlotRef = 7;

std::string text(std::uint32_t n) { return std::to_string(n); }
std::string refText(Ref ref) {
  if (ref.number == 0) return "nothing";
  return ref.number < firstSlotRef ? "e" + text(ref.number - 1)
                                   : "slot " + text(ref.number - firstSlotRef);
}
std::string recordText(HopRecord const& record) {
  std::string result = " over " + refText(record.l3Oif1);
  if (record.mtuProfile.number != 0) result += " and " + refText(record.mtuProfile);
  return result + ", destination " + text(record.destination);
}
std::uint32_t number(HopRecord const& record) {
  return record.l3Oif1.number + refs * (record.mtuProfile.number + refs * record.destination);
}

std::string tableText(std::uint32_t table) {
  constexpr char const* names[] = {"ingress", "hop", "member", "group"};
  return std::string(names[table % 4]) + " table";
}

Move written(std::string name, Kind kind, std::uint32_t key, std::uint32_t record,
             std::uint32_t handler, std::uint32_t keep) {
  Move move{std::move(name), {{kind, {key, record, handler, 0, keep}}}};
  if (keep == spareSlot) move.steps.push_back({Kind::drop, {spareSlot}});
  return move;
}

}  // namespace

Move program(std::uint32_t n) {
  return {"programs e" + text(n), {{Kind::externRow, {n, 1 + n % 3}}, {Kind::externState, {n, 1}}}};
}
Move giveRow(std::uint32_t n) {
  return {"gives e" + text(n) + " a row", {{Kind::externRow, {n, 1 + n % 3}}}};
}
Move giveState(std::uint32_t n, std::uint32_t state) {
  return {"gives e" + text(n) + " state " + text(state), {{Kind::externState, {n, state}}}};
}

Move commitHop(std::uint32_t key, HopRecord record, std::uint32_t handler, std::uint32_t keep) {
  return written("commits k" + text(key) + recordText(record), Kind::hopCommit, key, number(record),
                 handler, keep);
}
Move refHop(std::uint32_t key, HopRecord record, std::uint32_t keep, std::uint32_t handler) {
  return written("refs k" + text(key) + recordText(record) + " in slot " + text(keep), Kind::hopRef,
                 key, number(record), handler, keep);
}
Move commitIngress(std::uint32_t n, HopRecord record, std::uint32_t handler, std::uint32_t keep) {
  return written("commits e" + text(n) + recordText(record), Kind::ingressCommit, n, number(record),
                 handler, keep);
}
Move refBlock(std::vector<Ref> const& members, std::uint32_t keep) {
  std::string name = "refs a block of";
  std::uint32_t block = 0;
  for (std::size_t position = members.size(); position-- > 0;) {
    block = block * refs + members[position].number;
  }
  for (Ref const member : members) name += " " + refText(member);
  block = block * 4 + static_cast<std::uint32_t>(members.size());
  return written(name + " in slot " + text(keep), Kind::memberRef, 0, block, 0, keep);
}
Move commitGroup(std::uint32_t key, Ref block, std::uint32_t handler, std::uint32_t numPaths,
                 std::uint32_t keep) {
  return written(
      "commits g" + text(key) + " over " + refText(block) + ", " + text(numPaths) + " paths",
      Kind::groupCommit, key, block.number + refs * numPaths, handler, keep);
}
Move refGroup(std::uint32_t key, Ref block, std::uint32_t keep, std::uint32_t handler) {
  return written("refs g" + text(key) + " over " + refText(block) + " in slot " + text(keep),
                 Kind::groupRef, key, block.number, handler, keep);
}
Move removeIngress(std::uint32_t n) { return {"removes e" + text(n), {{Kind::remove, {0, n}}}}; }
Move removeHop(std::uint32_t key) { return {"removes k" + text(key), {{Kind::remove, {1, key}}}}; }
Move removeGroup(std::uint32_t key) {
  return {"removes g" + text(key), {{Kind::remove, {2, key}}}};
}
Move drop(std::uint32_t n) { return {"drops slot " + text(n), {{Kind::drop, {n}}}}; }
Move destroy(std::uint32_t table) {
  return {"destroys the " + tableText(table), {{Kind::destroy, {table}}}};
}
Move notReady(std::uint32_t table) {
  return {"is not ready for the " + tableText(table), {{Kind::hwReady, {table, 0}}}};
}
Move ready(std::uint32_t table) {
  return {"is ready for the " + tableText(table), {{Kind::hwReady, {table, 1}}}};
}
Move takeHwTable(std::uint32_t table) {
  return {"takes hardware from the " + tableText(table), {{Kind::hwTable, {table, 0}}}};
}
Move giveHwTable(std::uint32_t table) {
  return {"gives hardware to the " + tableText(table), {{Kind::hwTable, {table, 1}}}};
}
Move restart(std::uint32_t table) {
  return {"restarts the " + tableText(table), {{Kind::syncEntries, {table}}}};
}
Move fewRows(std::uint32_t table) {
  // The kind counts from the next-hop table, and knows sizes by number: 1 is one row, 2 three.
  return {"leaves few rows to the " + tableText(table),
          {{Kind::allocatorIs, {table - 1, table == 2 ? 2U : 1U}}}};
}
Move raise() { return {"raises", {{Kind::raise, {}}}}; }
Move together(std::vector<Move> const& moves) {
  Move result;
  for (Move const& move : moves) {
    result.name += (result.name.empty() ? "" : ", ") + move.name;
    result.steps.insert(result.steps.end(), move.steps.begin(), move.steps.end());
  }
  return result;
}

AtOnce allAccepted() {
  return {"accepted at once",
          {AtOnce::accepted, AtOnce::accepted, AtOnce::later, AtOnce::accepted}};
}
AtOnce allRefused() {
  return {"refused at once", {AtOnce::refused, AtOnce::refused, AtOnce::later, AtOnce::refused}};
}
AtOnce hopsAccepted() {
  return {"next hops accepted at once",
          {AtOnce::accepted, AtOnce::accepted, AtOnce::later, AtOnce::later}};
}
AtOnce hopsAcceptedGroupsRefused() {
  return {"next hops accepted and groups refused at once",
          {AtOnce::accepted, AtOnce::accepted, AtOnce::later, AtOnce::refused}};
}

std::vector<std::uint32_t> slotsRead(Step const& step) {
  std::uint32_t const n = step.n[1];
  std::vector<std::uint32_t> read;
  switch (step.kind) {
    case Kind::hopCommit:
    case Kind::hopRef:
    case Kind::ingressCommit:
      read = {n % refs, n / refs % refs};
      break;
    case Kind::groupCommit:
    case Kind::groupRef:
      read = {n % refs};
      break;
    case Kind::memberRef: {
      std::uint32_t rest = n / 4;
      for (std::uint32_t position = 0; position < n % 4; ++position, rest /= refs) {
        read.push_back(rest % refs);
      }
      break;
    }
    case Kind::drop:
      // Handles that nobody keeps go wherever they are.
      if (step.n[0] != spareSlot) return {step.n[0]};
      break;
    default:
      break;
  }
  std::erase_if(read, [](std::uint32_t ref) { return ref < firstSlotRef; });
  for (std::uint32_t& ref : read) ref -= firstSlotRef;
  return read;
}

}  // namespace Interleaving
