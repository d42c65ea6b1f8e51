#include "agent/Adjacencies.h"

namespace OrviaL3Agent {

Adjacencies::Adjacencies(std::uint16_t lastNumber)
    : state_(std::make_shared<State>(State{RowPool(1, lastNumber), {}})) {}

Adjacencies::Use Adjacencies::use(const Fpm::NextHop& nextHop) {
  const Neighbour neighbour(nextHop.interface, nextHop.family, nextHop.gateway, nextHop.onlink);
  if (const auto found = state_->live.find(neighbour); found != state_->live.end()) {
    return found->second.lock();
  }
  const std::optional<std::uint32_t> number = state_->numbers.take();
  if (!number) return nullptr;
  const auto end = [state = state_, neighbour](const std::uint16_t* ended) {
    state->numbers.giveBack(*ended);
    state->live.erase(neighbour);
    delete ended;
  };
  Use use(new std::uint16_t(static_cast<std::uint16_t>(*number)), end);
  state_->live.emplace(neighbour, use);
  return use;
}

}  // namespace OrviaL3Agent
