// A snapshot of a World, read: what rules and the comparison of states look at.
//
//   View view(world.snapshot());
//   view.table(hop).parked ...
//
// Values refer into the lines that the view keeps. One thread.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/model/World.h"

namespace Interleaving {

using Text = std::string_view;
using Row = std::optional<unsigned>;

enum Table : unsigned { ingress, hop, member, group };
inline constexpr std::array<Text, 4> tableNames{"ingress", "hop", "member", "group"};

std::vector<Text> split(Text text, char at);
unsigned numberOf(Text text);
Row rowOf(Text text);
std::optional<Table> tableOf(Text name);

// The handles that a record or a block points at, with the slots or positions that they are in.
std::vector<std::pair<unsigned, Text>> needs(Table table, Text record);

struct Parked {
  Text key;
  Text record;  // of a block: the block
  unsigned needed;
  unsigned seen;
  std::vector<unsigned> watching;
};
struct Pending {
  Text handle;
  bool active;
};
struct TableView {
  std::map<Text, Text> records;  // of blocks: those that are committed
  std::vector<Parked> parked;
  std::map<Text, Pending> pending;
  std::map<Text, Text> owned;
  std::map<Text, Text> registered;
  std::vector<std::pair<Text, unsigned>> rows;  // as the allocator has them; for blocks: bases
  std::map<unsigned, Text> hardware;
  unsigned lostRows = 0;
  std::map<Text, long> live;
};
struct HandleView {
  Row row;
  unsigned state;
  unsigned handler = 0;  // 0 without one
  [[nodiscard]] bool programmed() const { return state == 1 && row; }
};
struct Waiting {
  unsigned index;
  Table table;
  Text what;  // the row, or the key of an ingress write
};

class View {
 public:
  explicit View(Model::Lines lines);
  View(View const&) = delete;
  View& operator=(View const&) = delete;

  [[nodiscard]] Model::Lines const& lines() const { return lines_; }
  [[nodiscard]] TableView const& table(unsigned table) const { return tables_[table]; }
  [[nodiscard]] std::map<Text, HandleView> const& handles() const { return handles_; }
  [[nodiscard]] std::map<unsigned, Text> const& slots() const { return slots_; }
  [[nodiscard]] std::vector<Waiting> const& waiting() const { return waiting_; }
  // Whether the handle is there and programmed.
  [[nodiscard]] bool programmed(Text handle) const;

 private:
  void read(std::vector<Text> const& words);
  void readOfTable(TableView& table, std::vector<Text> const& words);

  Model::Lines lines_;
  std::array<TableView, 4> tables_;
  std::map<Text, HandleView> handles_;
  std::map<unsigned, Text> slots_;
  std::vector<Waiting> waiting_;
};

}  // namespace Interleaving
