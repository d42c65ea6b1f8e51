// Finds the entries that somebody names.
//
//   Search search(agent, {"nexthop", "10.0.1.2@2"});   // throws SearchError
//   while (!search.runSlice()) {}                      // throws it as well: there is no such thing
//   for (Entry const& entry : search.found()) ...
//
// Names are as in Entry.h, and some more:
//
//   10.1.2.3               the best route for the address, of each table
//   nexthop 10.0.1.2       on whatever interface
//   nexthop 40             the one in that row
//   block 18               by any of its rows
//
// Threading: the loop's thread. Ownership: refers to the agent.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/insight/Causes.h"
#include "agent/insight/Slice.h"

namespace OrviaL3Agent::Insight {

// What was typed is no name, or nothing has it. The text says what was expected.
class SearchError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Search {
 public:
  using Words = std::vector<std::string>;

  // For help: what can be typed.
  static constexpr char const* kNames =
      "PREFIX|ADDRESS [table N] [metric N] | id N | group N | block ROW | "
      "nexthop ADDRESS[@INTERFACE]|@INTERFACE|ROW | interface N";

  Search(Agent const& agent, Words const& words);

  // Does about a millisecond's work. Returns whether all is found.
  bool runSlice();
  [[nodiscard]] std::vector<Entry> const& found() const { return found_; }

  // A number of 32 bits. Throws SearchError, which says what it is for.
  [[nodiscard]] static std::uint32_t number(std::string const& what, std::string const& text);

 private:
  enum class Phase : std::uint8_t { once, ingressHops, ecmpHops, blocks, end };

  void readRoute(Words const& words);
  void readNextHop(Words const& words);
  void findRoutes();
  void findNumbered();
  bool scanIngressHops(Slice& slice);
  bool scanEcmpHops(Slice& slice);
  bool scanBlocks(Slice& slice);
  [[nodiscard]] bool matches(Identity const& identity, std::optional<std::uint32_t> row) const;

  Agent const& agent_;
  std::string name_;  // as typed
  std::string kind_;  // its first word, or "route"
  std::optional<std::uint32_t> number_;

  Fpm::Prefix prefix_;
  bool isAddress_ = false;
  std::optional<std::uint32_t> table_;
  std::optional<std::uint32_t> metric_;

  std::optional<Asic::GatewayAddress> gateway_;
  std::optional<std::uint32_t> interface_;
  bool isOnlink_ = false;

  Phase phase_ = Phase::once;
  std::optional<Identity> identity_;
  std::optional<std::uint32_t> group_;
  std::vector<Entry> found_;
};

}  // namespace OrviaL3Agent::Insight
