// What failed in a table, by its key, and a pass that tries it once more.
//
//   RetryQueue<Identity> failed;
//   failed.add(identity);
//   failed.begin(false);                                   // a pass over what has failed by now
//   while (auto identity = failed.next(live)) retry(*identity);
//
// A pass may be over everything that is there and not only what failed. What fails within a pass is
// for the next one, so a pass ends. Between two calls of next() anything may come and go.
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <cstddef>
#include <optional>
#include <set>

namespace OrviaL3Agent {

template <class Key>
class RetryQueue {
 public:
  void add(Key const& key) { failed_.insert(key); }
  // It is gone, and not tried.
  void erase(Key const& key) {
    failed_.erase(key);
    tried_.erase(key);
  }

  // With `all`: whatever has failed, everything is tried. What is left of a pass before is tried in
  // this one.
  void begin(bool all) {
    if (all || isAll_) {
      failed_.clear();
      tried_.clear();
      isAll_ = true;
      last_.reset();
      return;
    }
    tried_.merge(failed_);
    failed_.clear();
  }
  // Whether the pass tries everything.
  [[nodiscard]] bool isAll() const { return isAll_; }
  // The next key, in ascending order; nothing when the pass is over. `live`: a map of all keys.
  template <class Live>
  [[nodiscard]] std::optional<Key> next(Live const& live) {
    if (isAll_) {
      auto const at = last_ ? live.upper_bound(*last_) : live.begin();
      isAll_ = at != live.end();
      last_ = isAll_ ? std::optional<Key>(at->first) : std::nullopt;
      return last_;
    }
    if (tried_.empty()) return std::nullopt;
    return tried_.extract(tried_.begin()).value();
  }
  // How many have failed since the last pass began.
  [[nodiscard]] std::size_t size() const { return failed_.size(); }

 private:
  std::set<Key> failed_;
  std::set<Key> tried_;  // those that are left in the pass
  bool isAll_ = false;
  std::optional<Key> last_;  // that a pass over everything has looked at
};

}  // namespace OrviaL3Agent
