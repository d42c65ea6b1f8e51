#include "agent/serve/AnswerTimes.h"

namespace OrviaL3Agent {

using SoftAsic::Answer;
using SoftAsic::TableId;

AnswerTimes::AnswerTimes(SoftAsic::SoftDevice& device) : device_(device) {
  for (TableId const table : SoftAsic::allTables) {
    tables_[static_cast<std::size_t>(table)].answersSeen = answers(table);
  }
  device_.observerIs(this);
}

AnswerTimes::~AnswerTimes() { device_.observerDel(this); }

// First answers, to whichever writes.
std::uint64_t AnswerTimes::answers(TableId table) const {
  SoftAsic::Counts const& counts = device_.counts(table);
  return counts.accepted + counts.refused;
}

AnswerTimes::RowState AnswerTimes::stateOf(TableId table, std::uint32_t row) const {
  auto const of = [row](auto const& window) {
    auto const& state = window.row(Asic::Index(row));
    return RowState{state.stamp, state.answer};
  };
  switch (table) {
    case TableId::ingressNextHops:
      return of(device_.ingressNextHops());
    case TableId::ecmpNextHops:
      return of(device_.ecmpNextHops());
    case TableId::members:
      return of(device_.members());
    case TableId::groups:
      break;
  }
  return of(device_.groups());
}

void AnswerTimes::callIs(SoftAsic::Call const& call) {
  bool const isAwaited = call.kind == SoftAsic::Call::Kind::write &&
                         call.fate != SoftAsic::Fate::noSuchRow &&
                         call.fate != SoftAsic::Fate::lost;
  if (!isAwaited) return;
  tables_[static_cast<std::size_t>(call.table)].awaited.push_back(
      {call.row, stateOf(call.table, call.row).stamp, Clock::now()});
}

// At most one write of each row is not overtaken.
void AnswerTimes::forgetOvertaken(TableId id, Table& table) const {
  std::erase_if(table.awaited,
                [&](Write const& write) { return stateOf(id, write.row).stamp != write.stamp; });
}

void AnswerTimes::turnEnds(Clock::time_point now, Accepted const& accepted) {
  for (TableId const id : SoftAsic::allTables) {
    Table& table = tables_[static_cast<std::size_t>(id)];
    std::uint64_t const answered = answers(id);
    std::uint64_t left = answered - table.answersSeen;
    table.answersSeen = answered;
    if (table.awaited.size() > kMostAwaited) forgetOvertaken(id, table);
    // Answers mostly come in the order of the writes: those that do not are put behind the others,
    // so that the ones that never come are not looked at again and again.
    for (std::size_t i = table.awaited.size(); i > 0 && left > 0; --i) {
      Write const write = table.awaited.front();
      table.awaited.pop_front();
      RowState const state = stateOf(id, write.row);
      if (state.stamp != write.stamp) continue;
      if (state.answer == Answer::awaited) {
        table.awaited.push_back(write);
        continue;
      }
      --left;
      table.times.add(now - write.when);
      if (state.answer == Answer::accepted) accepted(id, write.row);
    }
  }
}

}  // namespace OrviaL3Agent
