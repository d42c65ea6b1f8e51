#include "agent/Adjacencies.h"

namespace OrviaL3Agent {

Adjacencies::Adjacencies(std::uint16_t lastNumber)
    : state_(std::make_shared<State>(State{RowPool(1, lastNumber), {}})) {}

Adjacencies::Use Adjacencies::use(Fpm::NextHop const& nextHop) {
  Neighbour const neighbour(nextHop.interface, nextHop.family, nextHop.gateway, nextHop.onlink);
  if (auto const found = state_->live.find(neighbour); found != state_->live.end()) {
    return found->second.lock();
  }
  std::optional<std::uint32_t> const number = state_->numbers.take();
  if (!number) return nullptr;
  auto const end = [state = state_, neighbour](std::uint16_t const* ended) {
    state->numbers.giveBack(*ended);
    state->live.erase(neighbour);
    delete ended;
  };
  Use use(new std::uint16_t(static_cast<std::uint16_t>(*number)), end);
  state_->live.emplace(neighbour, use);
  return use;
}

}  // namespace OrviaL3Agent
