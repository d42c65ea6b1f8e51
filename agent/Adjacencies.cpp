#include "agent/Adjacencies.h"

namespace OrviaL3Agent {

Adjacencies::Adjacencies(std::uint16_t lastNumber, OwnerPage page,
                         Numbering<Identity>::IsNamed isNamed)
    : state_(std::make_shared<State>(State{
          Numbering<Identity>(1, lastNumber, std::move(page), std::move(isNamed)), {}, {}})) {}

Adjacencies::Use Adjacencies::use(Identity const& neighbour) {
  if (auto const found = state_->live.find(neighbour); found != state_->live.end()) {
    return found->second.lock();
  }
  std::optional<std::uint32_t> const taken = state_->numbers.take(neighbour);
  if (!taken) return nullptr;
  auto const number = static_cast<std::uint16_t>(*taken);
  auto const end = [state = state_, neighbour](std::uint16_t const* ended) {
    state->numbers.giveBack(*ended, neighbour);
    state->neighbours.erase(*ended);
    state->live.erase(neighbour);
    delete ended;
  };
  Use use(new std::uint16_t(number), end);
  state_->live.emplace(neighbour, use);
  state_->neighbours.emplace(number, neighbour);
  return use;
}

std::optional<Identity> Adjacencies::ownerOf(std::uint16_t number) const {
  std::optional<Identity> const used = neighbour(number);
  return used ? used : state_->numbers.remembered(number);
}

std::optional<Identity> Adjacencies::neighbour(std::uint16_t number) const {
  auto const found = state_->neighbours.find(number);
  return found == state_->neighbours.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace OrviaL3Agent
