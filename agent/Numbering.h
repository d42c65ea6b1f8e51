// Numbers for things, lowest free number first; with a page of an OwnerBook a thing has the number
// after a restart that it had before.
//
//   Numbering<Identity> rows(16384, 32767, page);
//   auto row = rows.take(identity);    // its own of before, or the lowest that nobody has or had
//   rows.giveBack(*row);
//   rows.forget(inHardware);           // who has not come back by now is not waited for any longer
//
// A number that was somebody's before the restart is kept for him until forget(): hardware may
// still be leading packets by it.
//
// Threading: one thread. Ownership: numbers are plain; who takes one gives it back once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>

#include "agent/OwnerBook.h"
#include "agent/RowPool.h"

namespace OrviaL3Agent {

template <class Key>
class Numbering {
 public:
  // Numbers `first` to `last`, both included. What the page says of others is dropped.
  Numbering(std::uint32_t first, std::uint32_t last, OwnerPage page = {})
      : pool_(first, last), page_(std::move(page)) {
    for (auto const& [number, text] : page_.owners()) {
      std::optional<Key> owner;
      ownerOf(text, owner);
      if (owner && pool_.reserve(number)) {
        remembered_.emplace(number, *owner);
        numbers_.emplace(*owner, number);
      } else {
        page_.strike(number);
      }
    }
  }

  // Empty when all numbers are taken or kept.
  [[nodiscard]] std::optional<std::uint32_t> take(Key const& key) {
    if (auto const found = numbers_.find(key); found != numbers_.end()) {
      std::uint32_t const number = found->second;
      numbers_.erase(found);
      remembered_.erase(number);
      return number;
    }
    std::optional<std::uint32_t> const number = pool_.take();
    if (number && page_) page_.note(*number, ownerText(key));
    return number;
  }
  // Takes a number for something without a name, also one that is only kept for somebody; false
  // when it is taken or outside the range.
  [[nodiscard]] bool reserve(std::uint32_t number) {
    auto const found = remembered_.find(number);
    if (found == remembered_.end()) return pool_.reserve(number);
    numbers_.erase(found->second);
    remembered_.erase(found);
    return true;
  }
  // Throws std::invalid_argument for a number that is not taken.
  void giveBack(std::uint32_t number) {
    pool_.giveBack(number);
    if (page_) page_.strike(number);
  }

  // Whose number it was before the restart, while it is kept for him.
  [[nodiscard]] std::optional<Key> remembered(std::uint32_t number) const {
    auto const found = remembered_.find(number);
    return found == remembered_.end() ? std::nullopt : std::optional(found->second);
  }
  // Gives back the numbers that are kept, but for those that keep(number) wants kept on.
  template <class Keep>
  void forget(Keep&& keep) {
    for (auto at = remembered_.begin(); at != remembered_.end();) {
      if (keep(at->first)) {
        ++at;
        continue;
      }
      giveBack(at->first);
      numbers_.erase(at->second);
      at = remembered_.erase(at);
    }
  }
  [[nodiscard]] std::size_t kept() const { return remembered_.size(); }

 private:
  RowPool pool_;
  OwnerPage page_;
  std::map<std::uint32_t, Key> remembered_;  // from before the restart, and not taken since
  std::map<Key, std::uint32_t> numbers_;     // the same
};

}  // namespace OrviaL3Agent
