// Numbers for things, lowest free number first; with a page of an OwnerBook a thing has the number
// after a restart that it had before.
//
//   Numbering<Identity> rows(16384, 32767, page);
//   auto row = rows.take(identity);    // its own of before, or the lowest that nobody has or had
//   rows.giveBack(*row);
//   rows.forget();                     // who has not come back by now is not waited for any longer
//
// A number that was somebody's before the restart is kept for him until forget(): hardware may
// still be leading packets by it. Whoever knows which numbers the hardware names says so (see
// NumbersInHardware.h): one that it names is never free, whoever gave it back, and tells unnamed()
// when that is over.
//
// Threading: one thread. Ownership: numbers are plain; who takes one gives it back once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "agent/OwnerBook.h"
#include "agent/RowPool.h"

namespace OrviaL3Agent {

template <class Key>
class Numbering {
 public:
  using IsNamed = std::function<bool(std::uint32_t number)>;

  // Numbers `first` to `last`, both included. What the page says of others is dropped.
  Numbering(std::uint32_t first, std::uint32_t last, OwnerPage page = {}, IsNamed isNamed = {})
      : pool_(first, last), page_(std::move(page)), isNamed_(std::move(isNamed)) {
    for (auto const& [number, text] : page_.owners()) {
      std::optional<Key> owner;
      ownerOf(text, owner);
      if (owner && pool_.reserve(number)) {
        keep(number, *owner);
      } else {
        page_.strike(number);
      }
    }
    // What a hardware from before names and nobody is known to own.
    if (!isNamed_ || !page_) return;
    for (std::uint64_t number = first; number <= last; ++number) {
      auto const candidate = static_cast<std::uint32_t>(number);
      if (isNamed_(candidate) && pool_.reserve(candidate)) nobodys_.insert(candidate);
    }
  }

  // Empty when all numbers are taken or kept, or when the book cannot be written: a number that is
  // in no book must not come into hardware.
  [[nodiscard]] std::optional<std::uint32_t> take(Key const& key) {
    if (auto const found = numbers_.find(key); found != numbers_.end()) {
      std::uint32_t const number = found->second;
      kept_.erase(number);
      numbers_.erase(found);
      return number;
    }
    std::optional<std::uint32_t> const number = pool_.take();
    if (number && page_ && !page_.note(*number, ownerText(key))) {
      pool_.giveBack(*number);
      return std::nullopt;
    }
    return number;
  }
  // Takes a number for something without a name, also one that is only kept for somebody; false
  // when it is taken or outside the range.
  [[nodiscard]] bool reserve(std::uint32_t number) {
    auto const found = kept_.find(number);
    if (found == kept_.end()) return pool_.reserve(number);
    numbers_.erase(found->second);
    kept_.erase(found);
    page_.strike(number);
    return true;
  }
  // What somebody had that is named `key`. Throws std::invalid_argument for a number that is not
  // taken.
  void giveBack(std::uint32_t number, Key const& key) {
    if (isNamed_ && isNamed_(number)) {
      keep(number, key);
    } else {
      giveBack(number);
    }
  }
  // The same without a name.
  void giveBack(std::uint32_t number) {
    pool_.giveBack(number);
    page_.strike(number);
  }

  // Whose number it is while it is kept for him.
  [[nodiscard]] std::optional<Key> remembered(std::uint32_t number) const {
    auto const found = kept_.find(number);
    return found == kept_.end() ? std::nullopt : std::optional(found->second);
  }
  // Gives back the numbers that are kept and that the hardware does not name.
  void forget() {
    waiting_ = false;
    for (auto at = kept_.begin(); at != kept_.end();) {
      if (isNamed_ && isNamed_(at->first)) {
        ++at;
      } else {
        at = free(at);
      }
    }
  }
  // The hardware does not name the number any longer.
  void unnamed(std::uint32_t number) {
    if (nobodys_.erase(number) > 0) pool_.giveBack(number);
    if (waiting_ && page_) return;
    if (auto const found = kept_.find(number); found != kept_.end()) free(found);
  }
  [[nodiscard]] std::size_t kept() const { return kept_.size(); }
  // How many numbers there are, and those that are not free: in use, kept, or named by hardware.
  [[nodiscard]] std::uint64_t size() const { return pool_.size(); }
  [[nodiscard]] std::uint64_t taken() const { return pool_.taken(); }

 private:
  using Kept = std::map<std::uint32_t, Key>;

  void keep(std::uint32_t number, Key const& key) {
    kept_.emplace(number, key);
    numbers_.emplace(key, number);
  }
  typename Kept::iterator free(typename Kept::iterator at) {
    giveBack(at->first);
    numbers_.erase(at->second);
    return kept_.erase(at);
  }

  RowPool pool_;
  OwnerPage page_;
  IsNamed isNamed_;
  Kept kept_;                             // nobody has them: their owners may come back
  std::map<Key, std::uint32_t> numbers_;  // the same
  std::set<std::uint32_t> nobodys_;       // taken because the hardware names them
  bool waiting_ = true;                   // until forget()
};

}  // namespace OrviaL3Agent
