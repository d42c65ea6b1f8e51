// What depends on what, as a graph for Graphviz' dot: groups, their blocks, next hops and
// interfaces, coloured by state, with the routes as counts.
//
//   Graph graph(agent);
//   while (!graph.runSlice([](std::string const& line) { puts(line.c_str()); })) {}
//
// Up to so many groups each thing is a node. Beyond that a page would hold more than anybody reads:
// there is a node for each kind and state with a count, and one for each root cause. Root causes
// that are no part of the picture otherwise, such as an id that was never announced, are named in
// both.
//
// Threading: the loop's thread. Ownership: refers to the agent.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>

#include "agent/insight/CauseScan.h"

namespace OrviaL3Agent::Insight {

class Graph {
 public:
  using Tell = std::function<void(std::string const& line)>;

  static constexpr std::size_t kMostGroups = 50;
  static constexpr std::size_t kMostNextHops = 200;  // of groups, and as many of routes
  static constexpr std::size_t kMostCauses = 500;    // by name; the rest is a number

  explicit Graph(Agent const& agent);

  // Does about a millisecond's work. Returns whether the graph is complete.
  bool runSlice(Tell const& tell);

 private:
  enum class Phase : std::uint8_t {
    begin,
    causes,
    routes,
    groups,
    ecmpHops,
    ingressHops,
    interfaces,
    summary,
    named,
    end,
  };
  enum class Color : std::uint8_t { good, kept, waits, unanswered, refused, failed, down };
  static constexpr std::size_t kColors = 7;
  enum class Layer : std::uint8_t { routes, groups, blocks, ecmpHops, ingressHops, interfaces };
  static constexpr std::size_t kLayers = 6;

  bool runPhase(Slice& slice);
  void begin();
  bool scanRoutes(Slice& slice);
  bool scanGroups(Slice& slice);
  bool scanEcmpHops(Slice& slice);
  bool scanIngressHops(Slice& slice);
  bool scanInterfaces(Slice& slice);
  void summarise();
  bool nameCauses(Slice& slice);

  void countRoute(Routes::Route const& route);
  void countBlock(Groups::Group const& group);
  void drawGroup(Groups::Group const& group);
  void node(std::string const& name, std::string const& label, Color color);
  void edge(std::string const& from, std::string const& to, std::string const& label = {});
  void count(Layer layer, Color color) {
    ++counts_[static_cast<std::size_t>(layer)][static_cast<std::size_t>(color)];
  }

  [[nodiscard]] Color colorOf(Groups::Group const& group) const;
  [[nodiscard]] Color blockColorOf(Groups::Group const& group) const;
  [[nodiscard]] Color colorOf(NextHopState state, Identity const& identity) const;
  [[nodiscard]] static char const* nameOf(Layer layer);
  [[nodiscard]] static char const* textOf(Color color);
  [[nodiscard]] static char const* codeOf(Color color);
  // Whether what is of the layer has nodes of its own.
  [[nodiscard]] bool isDrawn(Layer layer) const;
  [[nodiscard]] bool isNode(Entry const& entry) const;
  [[nodiscard]] static Layer layerOf(Entry const& entry);

  Agent const& agent_;
  CauseScan causes_;
  bool hasGroups_;   // drawn one by one
  bool hasIngress_;  // the next hops of routes as well
  Tell const* tell_ = nullptr;

  Phase phase_ = Phase::begin;
  std::optional<Identity> identity_;
  std::optional<std::uint32_t> number_;
  std::optional<RouteKey> route_;
  std::optional<StandInTable::Key> interface_;
  std::size_t named_ = 0;

  std::map<std::uint32_t, std::uint64_t> groupRoutes_;  // by number
  std::map<Identity, std::uint64_t> hopRoutes_;
  std::unordered_set<void const*> countedBlocks_;
  std::set<std::uint32_t> blocks_;      // that are drawn, by their first row
  std::set<std::uint32_t> interfaces_;  // that are drawn
  std::array<std::array<std::uint64_t, kColors>, kLayers> counts_{};
};

}  // namespace OrviaL3Agent::Insight
