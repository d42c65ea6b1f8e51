// Who holds a row of the hardware, down to the routes.
//
//   Who who(agent, {{Who::Table::members, 16}}, Who::kListed);
//   while (!who.runSlice([](Who::Holder const& holder) { print(holder.entry); })) {}
//
// A row of the next-hop table is held by a next hop: that by ids and routes, or, in the rows for
// groups, by blocks, and so on: block, group, group id, route. Each is told with what it holds the
// row by, lower levels first.
//
// Threading: the loop's thread. Ownership: refers to the agent; keeps names only from one slice to
// the next.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "agent/insight/Causes.h"
#include "agent/insight/Slice.h"

namespace OrviaL3Agent::Insight {

class Who {
 public:
  enum class Table : std::uint8_t { nextHops, members, groups };
  struct Row {
    Table table{};
    std::uint32_t row = 0;
  };
  struct Holder {
    unsigned level = 0;
    std::string entry;
    std::string over;        // what it holds the row by; empty at the top
    std::string detail;      // positions, states
    std::uint64_t more = 0;  // not an entry: so many further ones are not listed
  };
  using Tell = std::function<void(Holder const& holder)>;

  // Of each level that many are listed.
  static constexpr std::size_t kListed = 20;
  static constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();

  Who(Agent const& agent, std::vector<Row> rows, std::size_t listed)
      : agent_(agent), rows_(std::move(rows)), listed_(listed) {}

  // Which tables have the row.
  [[nodiscard]] static std::vector<Row> rowsOf(Agent const& agent, std::uint32_t row);
  [[nodiscard]] static bool hasRow(Agent const& agent, Row const& row);

  // Does about a millisecond's work. Returns whether all is told.
  bool runSlice(Tell const& tell);

 private:
  enum class Phase : std::uint8_t { row, ingressHops, ecmpHops, groups, ids, groupIds, routes };

  bool tellRow();
  bool scanIngressHops(Slice& slice);
  bool scanEcmpHops(Slice& slice);
  bool scanGroups(Slice& slice);
  bool scanIds(Slice& slice);
  bool scanGroupIds(Slice& slice);
  bool scanRoutes(Slice& slice);

  void scanChain(Groups::Group const& group, Groups::Chain const& chain, bool isFormer,
                 bool& isHolder);
  [[nodiscard]] std::string stateText(Groups::Group const& group) const;
  [[nodiscard]] std::string positions(Groups::Chain const& chain) const;
  [[nodiscard]] std::string overText(Routes::Way const& way) const;
  [[nodiscard]] bool holds(Groups::Use const& group) const;
  void list(unsigned level, std::string entry, std::string over, std::string detail);
  void endPhase(char const* what);

  Agent const& agent_;
  std::vector<Row> rows_;  // the first one is being asked for
  std::size_t listed_;
  Tell const* tell_ = nullptr;  // while a slice runs

  Phase phase_ = Phase::row;
  std::size_t told_ = 0;       // in the phase
  unsigned level_ = 0;         // of the last of these
  std::uint64_t holders_ = 0;  // of the row
  std::optional<Identity> identity_;
  std::optional<std::uint32_t> number_;
  std::optional<RouteKey> route_;

  std::optional<Identity> hop_;        // whose row it is
  bool isOfRoutes_ = false;            // that hop, and not one of groups
  std::vector<std::uint32_t> groups_;  // by ascending number
  std::vector<std::uint32_t> ids_;     // of these, ascending
};

}  // namespace OrviaL3Agent::Insight
