// A small ordered map, for collections that are part of a value.
//
// Iterates by ascending key, so equal contents iterate alike whatever the order of insertion. Up to
// `Inline` members are kept in the object itself; more move to the heap. version() counts changes
// of the key set; an iterator asserts that it did not change since the iterator was made.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

#include "Vek/SassertHelper.h"

namespace Vek {

template <class Key, class Value, std::size_t Inline>
class SmallMap {
 public:
  struct Member {
    Key key{};
    Value value{};
  };

  class IteratorConst {
   public:
    IteratorConst(SmallMap const& map, std::size_t position)
        : hashMap_(&map), position_(position), version_(map.version()) {}
    Member const& operator*() const {
      checkVersion();
      return hashMap_->data()[position_];
    }
    Member const* operator->() const { return &**this; }
    IteratorConst& operator++() {
      checkVersion();
      ++position_;
      return *this;
    }
    friend bool operator==(IteratorConst const& a, IteratorConst const& b) {
      return a.position_ == b.position_;
    }

   private:
    void checkVersion() const {
      if (version_ != hashMap_->version()) [[unlikely]] {
        SassertHelper("version_ == hashMap_->version()", {"SmallMap", __LINE__, "IteratorConst"})
            << "the collection changed during the walk";
      }
    }

    SmallMap const* hashMap_;
    std::size_t position_;
    std::uint32_t version_;
  };

  SmallMap() = default;
  SmallMap(SmallMap const& other)
      : inline_(other.inline_), heap_(other.heap_), size_(other.size_), version_(other.version_) {}
  // Not memberwise: where the members are follows from the heap's capacity, which a copy would
  // keep.
  SmallMap& operator=(SmallMap const& other) {
    SmallMap(other).swap(*this);
    return *this;
  }
  SmallMap(SmallMap&& other) noexcept { swap(other); }
  SmallMap& operator=(SmallMap&& other) noexcept {
    SmallMap(std::move(other)).swap(*this);
    return *this;
  }
  ~SmallMap() = default;

  [[nodiscard]] std::size_t size() const { return size_; }
  [[nodiscard]] bool empty() const { return size_ == 0; }
  [[nodiscard]] std::uint32_t version() const { return version_; }
  [[nodiscard]] IteratorConst begin() const { return {*this, 0}; }
  [[nodiscard]] IteratorConst end() const { return {*this, size_}; }

  // The value under key, or none.
  [[nodiscard]] Value const* find(Key const& key) const {
    std::size_t const position = lowerBound(key);
    return holds(position, key) ? &data()[position].value : nullptr;
  }

  // Inserts or replaces. The old value is released last.
  void set(Key const& key, Value value) {
    std::size_t const position = lowerBound(key);
    if (holds(position, key)) {
      std::swap(data()[position].value, value);
      return;
    }
    ++version_;
    if (!spilled() && size_ < Inline) {
      std::move_backward(inline_.begin() + offset(position), inline_.begin() + offset(size_),
                         inline_.begin() + offset(size_) + 1);
      inline_[position] = {key, std::move(value)};
    } else {
      if (!spilled()) {
        heap_.reserve(Inline == 0 ? 1 : 2 * Inline);
        std::move(inline_.begin(), inline_.end(), std::back_inserter(heap_));
      }
      heap_.insert(heap_.begin() + offset(position), {key, std::move(value)});
    }
    ++size_;
  }

  // Removes the member and returns its value, or a default one when there was none.
  Value take(Key const& key) {
    std::size_t const position = lowerBound(key);
    if (!holds(position, key)) return Value{};
    ++version_;
    Value taken = std::move(data()[position].value);
    if (spilled()) {
      heap_.erase(heap_.begin() + offset(position));
    } else {
      std::move(inline_.begin() + offset(position) + 1, inline_.begin() + offset(size_),
                inline_.begin() + offset(position));
      inline_[size_ - 1] = {};
    }
    --size_;
    return taken;
  }

  void clear() { SmallMap().swap(*this); }

  void swap(SmallMap& other) noexcept {
    std::swap(inline_, other.inline_);
    heap_.swap(other.heap_);
    std::swap(size_, other.size_);
    // Each keeps its own count of changes, so that a walk under way notices.
    ++version_;
    ++other.version_;
  }

 private:
  using Offset = typename std::vector<Member>::difference_type;
  static Offset offset(std::size_t position) { return static_cast<Offset>(position); }

  [[nodiscard]] bool spilled() const { return heap_.capacity() != 0; }
  [[nodiscard]] Member const* data() const { return spilled() ? heap_.data() : inline_.data(); }
  [[nodiscard]] Member* data() { return spilled() ? heap_.data() : inline_.data(); }
  [[nodiscard]] std::size_t lowerBound(Key const& key) const {
    Member const* const first = data();
    return static_cast<std::size_t>(
        std::lower_bound(first, first + size_, key,
                         [](Member const& member, Key const& k) { return member.key < k; }) -
        first);
  }
  [[nodiscard]] bool holds(std::size_t position, Key const& key) const {
    return position < size_ && data()[position].key == key;
  }

  std::array<Member, Inline> inline_{};
  std::vector<Member> heap_;  // in use as soon as it has a capacity
  std::uint32_t size_ = 0;
  std::uint32_t version_ = 0;
};

}  // namespace Vek
