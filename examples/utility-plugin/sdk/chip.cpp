#include "chip.h"

#include <array>
#include <cstdint>
#include <deque>
#include <map>

namespace {

struct Answer {
  ChipDone done;
  void* context;
  int accepted;
};

struct Chip {
  std::array<std::map<std::uint32_t, ChipRow>, 3> tables;
  std::deque<Answer> answers;
  bool defer = false;
  bool refuseNext = false;
};

Chip& chip() {
  static Chip chip;
  return chip;
}

}  // namespace

void chipWrite(ChipTable table, std::uint32_t row, ChipRow const* contents, ChipDone done,
               void* context) {
  bool const accepted = row < CHIP_ROWS && !chip().refuseNext;
  chip().refuseNext = false;
  if (accepted) chip().tables[table][row] = *contents;
  if (chip().defer) {
    chip().answers.push_back({done, context, accepted ? 1 : 0});
  } else {
    done(context, accepted ? 1 : 0);
  }
}

void chipErase(ChipTable table, std::uint32_t row) { chip().tables[table].erase(row); }

int chipRead(ChipTable table, std::uint32_t row, ChipRow* contents) {
  auto const& rows = chip().tables[table];
  auto const found = rows.find(row);
  if (found == rows.end()) return 0;
  *contents = found->second;
  return 1;
}

void chipDefer(int on) { chip().defer = on != 0; }

int chipPoll() {
  if (chip().answers.empty()) return 0;
  Answer const answer = chip().answers.front();
  chip().answers.pop_front();
  answer.done(answer.context, answer.accepted);
  return 1;
}

void chipRefuseNext() { chip().refuseNext = true; }
