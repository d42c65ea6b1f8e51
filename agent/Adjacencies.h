// Numbers for neighbours: what a next-hop row's `destination` field says.
//
// A neighbour is what an identity names: an interface, a gateway on it (or none, for hosts that are
// connected directly) and how the gateway is reached. Equal neighbours share one number, different
// ones never do. Numbers go from 1 up, lowest free first:
//
//   Adjacencies::Use use = adjacencies.use(identity);
//   record.destinationIs(*use);
//
// A number stays taken while someone holds a use of it.
//
// Threading: one thread. Ownership: uses are counted; they may outlive the Adjacencies.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "agent/Identity.h"
#include "agent/Numbering.h"

namespace OrviaL3Agent {

class Adjacencies {
 public:
  using Use = std::shared_ptr<std::uint16_t const>;

  // The field is 16 bits wide.
  static constexpr std::uint16_t kLastNumber = 0xFFFF;

  // `page`: where numbers are kept over a restart. `isNamed`: whether a row of the hardware names a
  // number; one that is named is never free.
  explicit Adjacencies(std::uint16_t lastNumber = kLastNumber, OwnerPage page = {},
                       Numbering<Identity>::IsNamed isNamed = {});

  // Empty when every number is taken.
  [[nodiscard]] Use use(Identity const& neighbour);

  // Whose number it is, or was before a restart as far as is known.
  [[nodiscard]] std::optional<Identity> ownerOf(std::uint16_t number) const;
  // Numbers of before that nobody uses and no row names are free now.
  void forget() { state_->numbers.forget(); }
  // No row names the number any longer.
  void unnamed(std::uint16_t number) { state_->numbers.unnamed(number); }

  // Whose number it is, or nothing.
  [[nodiscard]] std::optional<Identity> neighbour(std::uint16_t number) const;
  [[nodiscard]] std::size_t size() const { return state_->live.size(); }

 private:
  struct State {
    Numbering<Identity> numbers;
    std::map<Identity, std::weak_ptr<std::uint16_t const>> live;
    std::map<std::uint16_t, Identity> neighbours;
  };

  std::shared_ptr<State> state_;
};

}  // namespace OrviaL3Agent
