// How the graph shows what: colours by state, and which layer an entry belongs to.
#include <array>

#include "agent/insight/Graph.h"

namespace OrviaL3Agent::Insight {

bool Graph::isDrawn(Layer layer) const {
  bool const needsIngress =
      layer == Layer::ingressHops || layer == Layer::routes || layer == Layer::interfaces;
  return needsIngress ? hasIngress_ : hasGroups_;
}

// Whether the entry is drawn by itself, and coloured.
bool Graph::isNode(Entry const& entry) const {
  if (auto const* const name = std::get_if<InterfaceName>(&entry)) {
    return interfaces_.contains(name->interface);
  }
  bool const isOfLayer =
      std::holds_alternative<GroupName>(entry) || std::holds_alternative<BlockName>(entry) ||
      std::holds_alternative<EcmpName>(entry) || std::holds_alternative<IngressName>(entry);
  return isOfLayer && isDrawn(layerOf(entry));
}

// Where the entry would be drawn.
Graph::Layer Graph::layerOf(Entry const& entry) {
  if (std::holds_alternative<GroupName>(entry) || std::holds_alternative<RoomName>(entry)) {
    return Layer::groups;
  }
  if (std::holds_alternative<BlockName>(entry)) return Layer::blocks;
  if (std::holds_alternative<EcmpName>(entry)) return Layer::ecmpHops;
  if (std::holds_alternative<IngressName>(entry)) return Layer::ingressHops;
  bool const isBelow =
      std::holds_alternative<InterfaceName>(entry) || std::holds_alternative<MtuName>(entry);
  return isBelow ? Layer::interfaces : Layer::routes;
}

Graph::Color Graph::colorOf(Groups::Group const& group) const {
  switch (agent_.mapping().groups().state(group)) {
    case Groups::State::programmed:
      return agent_.mapping().groups().missingMemberRows(group) > 0 ? Color::refused : Color::good;
    case Groups::State::unanswered:
      return Color::unanswered;
    case Groups::State::parked:
      return group.accepted ? Color::kept : Color::waits;
    case Groups::State::refused:
      return Color::refused;
    case Groups::State::notPlaced:
      break;
  }
  return group.accepted ? Color::kept : Color::failed;
}

Graph::Color Graph::blockColorOf(Groups::Group const& group) const {
  BlockRows const rows = blockRows(agent_, group.chain);
  if (!rows.first) return Color::waits;
  if (rows.refused > 0) return Color::refused;
  return rows.lost > 0 ? Color::unanswered : Color::good;
}

Graph::Color Graph::colorOf(NextHopState state, Identity const& identity) const {
  switch (state) {
    case NextHopState::programmed:
      return agent_.mapping().groups().downInterfaces().contains(identity.interfaceIndex())
                 ? Color::down
                 : Color::good;
    case NextHopState::unanswered:
      return Color::unanswered;
    case NextHopState::parked:
      return Color::waits;
    case NextHopState::refused:
      return Color::refused;
    case NextHopState::notPlaced:
      break;
  }
  return Color::failed;
}

char const* Graph::nameOf(Layer layer) {
  constexpr std::array<char const*, kLayers> names = {
      "routes",    "groups", "blocks of groups", "next hops of groups", "next hops of routes",
      "interfaces"};
  return names.at(static_cast<std::size_t>(layer));
}

char const* Graph::textOf(Color color) {
  constexpr std::array<char const*, kColors> texts = {"programmed",
                                                      "waits, led as before",
                                                      "waits",
                                                      "unanswered",
                                                      "refused",
                                                      "missing or impossible",
                                                      "over an interface that is down"};
  return texts.at(static_cast<std::size_t>(color));
}

char const* Graph::codeOf(Color color) {
  constexpr std::array<char const*, kColors> codes = {"#c8e6c9", "#dcedc8", "#bbdefb", "#fff59d",
                                                      "#ef9a9a", "#ffcc80", "#cfd8dc"};
  return codes.at(static_cast<std::size_t>(color));
}

}  // namespace OrviaL3Agent::Insight
