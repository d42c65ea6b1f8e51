#include "agent/insight/Graph.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "agent/TextHelpers.h"
#include "agent/insight/States.h"

namespace OrviaL3Agent::Insight {
namespace {

// Within quotes. A backslash of ours begins a new line.
std::string quoted(std::string const& text) {
  std::string out;
  for (char const character : text) {
    if (character == '"') out += '\\';
    out += character;
  }
  return '"' + out + '"';
}

}  // namespace

Graph::Graph(Agent const& agent)
    : agent_(agent),
      causes_(agent),
      hasGroups_(agent.mapping().groups().groups().size() <= kMostGroups &&
                 agent.mapping().ecmp().hops().size() <= kMostNextHops),
      hasIngress_(hasGroups_ && agent.mapping().ingress().hops().size() <= kMostNextHops) {}

bool Graph::runSlice(Tell const& tell) {
  Slice slice;
  tell_ = &tell;
  while (phase_ != Phase::end && !slice.isOver()) {
    if (!runPhase(slice)) break;
    slice.spend();
    phase_ = static_cast<Phase>(static_cast<std::uint8_t>(phase_) + 1);
    identity_.reset();
    number_.reset();
  }
  if (phase_ == Phase::end) tell("}");
  tell_ = nullptr;
  return phase_ == Phase::end;
}

bool Graph::runPhase(Slice& slice) {
  switch (phase_) {
    case Phase::begin:
      begin();
      return true;
    case Phase::causes:
      // It takes a slice of its own.
      return causes_.runSlice();
    case Phase::routes:
      return scanRoutes(slice);
    case Phase::groups:
      return scanGroups(slice);
    case Phase::ecmpHops:
      return scanEcmpHops(slice);
    case Phase::ingressHops:
      return scanIngressHops(slice);
    case Phase::interfaces:
      return scanInterfaces(slice);
    case Phase::summary:
      summarise();
      return true;
    case Phase::named:
      return nameCauses(slice);
    case Phase::end:
      break;
  }
  return true;
}

void Graph::begin() {
  (*tell_)("digraph dependencies {");
  (*tell_)("  rankdir=LR;");
  (*tell_)(R"(  node [shape=box, style=filled, fontname="sans-serif", fontsize=10];)");
  (*tell_)(R"(  edge [fontname="sans-serif", fontsize=9];)");
  (*tell_)("  subgraph cluster_legend {");
  (*tell_)(R"(    label="what the colours mean"; fontname="sans-serif"; fontsize=10;)");
  for (std::size_t i = 0; i < kColors; ++i) {
    auto const color = static_cast<Color>(i);
    (*tell_)(fmt::format(R"(    legend_{} [label="{}", fillcolor="{}"];)", i, textOf(color),
                         codeOf(color)));
  }
  (*tell_)("  }");
}

bool Graph::scanRoutes(Slice& slice) {
  auto const& routes = agent_.mapping().routes().routes();
  auto at = route_ ? routes.upper_bound(*route_) : routes.begin();
  for (; at != routes.end() && !slice.isOver(); ++at) {
    slice.spend();
    route_ = at->first;
    countRoute(at->second);
  }
  return at == routes.end();
}

void Graph::countRoute(Routes::Route const& route) {
  Color color = Color::waits;
  switch (agent_.mapping().routes().state(route)) {
    case Routes::State::forwarded:
    case Routes::State::drop:
      color = Color::good;
      break;
    case Routes::State::formerWay:
      color = Color::kept;
      break;
    case Routes::State::notPossible:
      color = Color::failed;
      break;
    case Routes::State::unknownId:
    case Routes::State::notInForce:
      break;
  }
  count(Layer::routes, color);
  Routes::Way const& way = neededWay(route);
  if (hasIngress_ && way.hop) ++hopRoutes_[way.hop->identity];
  if (!hasGroups_) return;
  Groups::Use group = way.group;
  if (way.kind == Routes::Way::Kind::groupId) {
    auto const* const id = agent_.mapping().groupIds().find(way.id.id());
    if (id != nullptr) group = id->group;
  }
  if (group) ++groupRoutes_[group->number];
}

bool Graph::scanGroups(Slice& slice) {
  auto const& groups = agent_.mapping().groups().groups();
  auto at = number_ ? groups.upper_bound(*number_) : groups.begin();
  for (; at != groups.end() && !slice.isOver(); ++at) {
    slice.spend(1 + at->second->chain.width / 8);
    number_ = at->first;
    count(Layer::groups, colorOf(*at->second));
    countBlock(*at->second);
    if (hasGroups_) drawGroup(*at->second);
  }
  return at == groups.end();
}

// A block that several groups share counts once.
void Graph::countBlock(Groups::Group const& group) {
  void const* const block = group.chain.block.get();
  if (block == nullptr || !countedBlocks_.insert(block).second) return;
  count(Layer::blocks, blockColorOf(group));
}

void Graph::drawGroup(Groups::Group const& group) {
  std::string const name = fmt::format("group_{}", group.number);
  Asic::Index const row = agent_.mapping().groups().row(group);
  std::string label = Insight::nameOf(Entry(GroupName{group.number}));
  if (row != Asic::Index::invalidIndex()) label += fmt::format("\\nrow {}", row.value());
  label += fmt::format("\\n{}", counted(groupRoutes_[group.number], "route"));
  if (!group.reason.empty()) label += "\\n" + group.reason;
  node(name, label, colorOf(group));
  if (!group.chain.block) return;
  auto const first = blockRows(agent_, group.chain).first;
  std::string const block =
      first ? fmt::format("block_{}", *first) : fmt::format("block_of_{}", group.number);
  edge(name, block);
  if (first && !blocks_.insert(*first).second) return;
  node(block,
       fmt::format("{}\\n{}", first ? blockName(*first) : "block",
                   counted(group.chain.width, "row")),
       blockColorOf(group));
  for (auto const& [identity, rows] : group.chain.paths) {
    edge(block, "ecmp " + Insight::nameOf(identity), rows == 1 ? "" : fmt::format("{} x", rows));
  }
}

bool Graph::scanEcmpHops(Slice& slice) {
  auto const& hops = agent_.mapping().ecmp().hops();
  auto at = identity_ ? hops.upper_bound(*identity_) : hops.begin();
  for (; at != hops.end() && !slice.isOver(); ++at) {
    slice.spend();
    identity_ = at->first;
    Color const color = colorOf(agent_.mapping().ecmp().state(*at->second), at->first);
    count(Layer::ecmpHops, color);
    if (!hasGroups_) continue;
    std::string const name = "ecmp " + Insight::nameOf(at->first);
    Asic::Index const row = agent_.mapping().ecmp().row(*at->second);
    std::string label = Insight::nameOf(Entry(EcmpName{at->first}));
    if (row != Asic::Index::invalidIndex()) label += fmt::format("\\nrow {}", row.value());
    node(name, label, color);
    edge(name, fmt::format("interface_{}", at->first.interfaceIndex()));
    interfaces_.insert(at->first.interfaceIndex());
  }
  return at == hops.end();
}

bool Graph::scanIngressHops(Slice& slice) {
  auto const& hops = agent_.mapping().ingress().hops();
  auto at = identity_ ? hops.upper_bound(*identity_) : hops.begin();
  for (; at != hops.end() && !slice.isOver(); ++at) {
    slice.spend();
    identity_ = at->first;
    IngressNextHops::Hop const& hop = *at->second;
    Color const color = colorOf(agent_.mapping().ingress().state(hop), at->first);
    count(Layer::ingressHops, color);
    if (!hasIngress_) continue;
    std::string const name = "ingress " + Insight::nameOf(at->first);
    std::string label = Insight::nameOf(Entry(IngressName{at->first}));
    if (hop.key) label += fmt::format("\\nrow {}", hop.key->hwEntryIndex().value());
    if (hop.obstacle != Obstacle::none) label += "\\n" + text(hop.obstacle);
    auto const routes = hopRoutes_.find(at->first);
    label += "\\n" + counted(routes == hopRoutes_.end() ? 0 : routes->second, "route");
    node(name, label, color);
    edge(name, fmt::format("interface_{}", at->first.interfaceIndex()));
    interfaces_.insert(at->first.interfaceIndex());
  }
  return at == hops.end();
}

bool Graph::scanInterfaces(Slice& slice) {
  while (!slice.isOver()) {
    auto const shown = agent_.interfaces().shownAfter(interface_);
    if (!shown) return true;
    slice.spend();
    interface_ = shown->key;
    auto const interface = static_cast<std::uint32_t>(shown->key);
    bool const isDown = agent_.mapping().groups().downInterfaces().contains(interface);
    Color const color = isDown ? Color::down : shown->programmed ? Color::good : Color::failed;
    count(Layer::interfaces, color);
    if (!interfaces_.contains(interface)) continue;
    node(fmt::format("interface_{}", interface),
         fmt::format("interface {}{}", interface,
                     isDown              ? "\\ndown"
                     : shown->programmed ? ""
                                         : "\\nnot programmed"),
         color);
  }
  return false;
}

// What is not drawn one by one: a node for each kind, and one for each state that there is of it.
void Graph::summarise() {
  for (std::size_t i = 0; i < kLayers; ++i) {
    auto const layer = static_cast<Layer>(i);
    if (isDrawn(layer)) continue;
    std::uint64_t const all = std::accumulate(counts_[i].begin(), counts_[i].end(), 0ULL);
    (*tell_)(fmt::format("  {} [label=\"{} {}\", fillcolor=white];", quoted(nameOf(layer)), all,
                         nameOf(layer)));
    for (std::size_t j = 0; j < kColors; ++j) {
      auto const color = static_cast<Color>(j);
      if (counts_[i][j] == 0) continue;
      std::string const name = fmt::format("{} {}", nameOf(layer), textOf(color));
      node(name, fmt::format("{} {}\\n{}", counts_[i][j], nameOf(layer), textOf(color)), color);
      edge(nameOf(layer), name);
    }
  }
  constexpr std::array<std::pair<Layer, Layer>, 6> needs = {
      {{Layer::routes, Layer::groups},
       {Layer::routes, Layer::ingressHops},
       {Layer::groups, Layer::blocks},
       {Layer::blocks, Layer::ecmpHops},
       {Layer::ecmpHops, Layer::interfaces},
       {Layer::ingressHops, Layer::interfaces}}};
  for (auto const& [from, to] : needs) {
    if (!isDrawn(from) && !isDrawn(to)) edge(nameOf(from), nameOf(to));
  }
}

bool Graph::nameCauses(Slice& slice) {
  while (!slice.isOver()) {
    CauseCount const* const cause = causes_.next();
    if (cause == nullptr) return true;
    slice.spend(8);
    Layer const layer = layerOf(cause->cause.entry);
    if (isNode(cause->cause.entry)) continue;
    std::string const name = fmt::format("cause_{}", named_);
    if (named_ == kMostCauses) {
      node(name, fmt::format("and {} more root causes", causes_.size() - named_), Color::failed);
      return true;
    }
    ++named_;
    std::string const detail = detailOf(agent_, cause->cause);
    std::string label = Insight::nameOf(cause->cause.entry);
    label += fmt::format("\\n{}{}{}", Insight::textOf(cause->cause.kind),
                         detail.empty() ? "" : "\\n", detail);
    Color const color = cause->cause.kind == Cause::Kind::refused         ? Color::refused
                        : cause->cause.kind == Cause::Kind::unanswered    ? Color::unanswered
                        : cause->cause.kind == Cause::Kind::interfaceDown ? Color::down
                                                                          : Color::failed;
    label += fmt::format("\\nholds up {}, {}, {}", counted(cause->routes, "route"),
                         counted(cause->groups, "group"), counted(cause->nextHops, "next hop"));
    node(name, label, color);
    if (!isDrawn(layer)) edge(nameOf(layer), name);
  }
  return false;
}

void Graph::node(std::string const& name, std::string const& label, Color color) {
  (*tell_)(fmt::format("  {} [label={}, fillcolor=\"{}\"];", quoted(name), quoted(label),
                       codeOf(color)));
}

void Graph::edge(std::string const& from, std::string const& to, std::string const& label) {
  std::string const attributes = label.empty() ? "" : fmt::format(" [label={}]", quoted(label));
  (*tell_)(fmt::format("  {} -> {}{};", quoted(from), quoted(to), attributes));
}

}  // namespace OrviaL3Agent::Insight
