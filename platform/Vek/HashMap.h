// The framework's keyed hash collection: one node per key, nodes never move.
//
// Open addressing over an array of {hash, node}; nodes come from the framework's allocator and are
// also chained in the order of their insertion, which is the order of every walk: it depends on the
// history of the collection only, never on addresses or hash values. version() counts changes of
// the key set.
//
// Two ways to walk: iterators assert that the key set does not change meanwhile; walk() tolerates
// every change, visits the nodes that are there when it starts and skips those that went.
//
// Hash is a function object `std::uint32_t operator()(Key const&, unsigned seed) const`; Seed is
// the collection's own constant. Not thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "Vek/Chain.h"
#include "Vek/Hash.h"
#include "Vek/Memory.h"
#include "Vek/SassertHelper.h"

namespace Vek {

template <class Key, class Value, class Hash, unsigned Seed>
class HashMap {
 public:
  class Node {
   public:
    Key const key;
    Value value;

    Node(Node const&) = delete;
    Node& operator=(Node const&) = delete;

   private:
    friend class HashMap;
    template <class... Arguments>
    Node(std::uint32_t hash, Key const& k, Arguments&&... arguments)
        : key(k), value(std::forward<Arguments>(arguments)...), hash_(hash) {}
    ~Node() = default;

    ChainHook<Node> hook_;
    std::uint32_t hash_;
  };

  class Iterator {
   public:
    Iterator(HashMap const& map, Node* node)
        : hashMap_(&map), node_(node), version_(map.version()) {}
    Node& operator*() const {
      checkVersion();
      return *node_;
    }
    Node* operator->() const { return &**this; }
    Iterator& operator++() {
      checkVersion();
      node_ = Nodes::next(*node_);
      return *this;
    }
    friend bool operator==(Iterator const& a, Iterator const& b) { return a.node_ == b.node_; }

   private:
    void checkVersion() const {
      if (version_ != hashMap_->version()) [[unlikely]] {
        SassertHelper("version_ == hashMap_->version()", {"HashMap", __LINE__, "Iterator"})
            << "the collection changed during the walk";
      }
    }

    HashMap const* hashMap_;
    Node* node_;
    std::uint32_t version_;
  };

  HashMap() = default;
  HashMap(HashMap const&) = delete;
  HashMap& operator=(HashMap const&) = delete;
  ~HashMap() { clear(); }

  [[nodiscard]] std::size_t size() const { return size_; }
  [[nodiscard]] bool empty() const { return size_ == 0; }
  [[nodiscard]] std::uint32_t version() const { return version_; }
  [[nodiscard]] Iterator begin() const { return {*this, nodes_.first()}; }
  [[nodiscard]] Iterator end() const { return {*this, nullptr}; }

  [[nodiscard]] Node* find(Key const& key) const {
    if (size_ == 0) return nullptr;
    std::uint32_t const hash = hashOf(key);
    for (std::size_t i = home(hash);; i = (i + 1) & mask_) {
      Slot const& slot = slots_[i];
      if (slot.node == nullptr) return nullptr;
      if (slot.hash == hash && slot.node->key == key) return slot.node;
    }
  }

  // The node of the key, made with the given value arguments when there was none.
  template <class... Arguments>
  Node& findOrInsert(Key const& key, Arguments&&... arguments) {
    if (Node* node = find(key)) return *node;
    if ((size_ + 1) * 4 > capacity() * 3) grow();
    std::uint32_t const hash = hashOf(key);
    void* memory = vekMemAlloc(sizeof(Node));
    Node* node = nullptr;
    try {
      node = new (memory) Node(hash, key, std::forward<Arguments>(arguments)...);
    } catch (...) {
      vekMemFree(memory, sizeof(Node));
      throw;
    }
    place({hash, node});
    nodes_.append(*node);
    ++size_;
    ++version_;
    return *node;
  }

  // Takes the node out, then destroys it: what its end sets off finds the key gone.
  void erase(Node& node) {
    removeSlot(node);
    nodes_.remove(node);
    --size_;
    ++version_;
    destroy(node);
  }
  bool erase(Key const& key) {
    Node* node = find(key);
    if (node == nullptr) return false;
    erase(*node);
    return true;
  }

  // Members that come while others are being destroyed go, too.
  void clear() {
    while (Node* node = nodes_.first()) erase(*node);
  }

  // Calls visit(Node&) for each node of the moment, in the order of insertion, whatever visit does.
  template <class Visit>
  void walk(Visit&& visit) {
    nodes_.walk(std::forward<Visit>(visit));
  }

 private:
  struct Slot {
    std::uint32_t hash = 0;
    Node* node = nullptr;
  };
  struct NodeHook {
    static ChainHook<Node>& of(Node& node) { return node.hook_; }
  };
  using Nodes = Chain<Node, NodeHook>;

  static std::uint32_t hashOf(Key const& key) { return Hash{}(key, collectionHashSeed(Seed)); }
  [[nodiscard]] std::size_t capacity() const { return slots_ ? mask_ + 1 : 0; }
  [[nodiscard]] std::size_t home(std::uint32_t hash) const { return hash & mask_; }

  void place(Slot slot) {
    std::size_t i = home(slot.hash);
    while (slots_[i].node != nullptr) i = (i + 1) & mask_;
    slots_[i] = slot;
  }

  void grow() {
    std::size_t const oldCapacity = capacity();
    auto old = std::move(slots_);
    std::size_t const newCapacity = oldCapacity == 0 ? 16 : 2 * oldCapacity;
    slots_ = std::make_unique<Slot[]>(newCapacity);
    mask_ = newCapacity - 1;
    for (std::size_t i = 0; i < oldCapacity; ++i) {
      if (old[i].node != nullptr) place(old[i]);
    }
  }

  // Linear probing without tombstones: later slots of the run move up into the gap.
  void removeSlot(Node const& node) {
    std::size_t gap = home(node.hash_);
    while (slots_[gap].node != &node) gap = (gap + 1) & mask_;
    for (std::size_t i = (gap + 1) & mask_; slots_[i].node != nullptr; i = (i + 1) & mask_) {
      // The slot may fill the gap when its home is not between the gap and itself.
      if (((i - home(slots_[i].hash)) & mask_) >= ((i - gap) & mask_)) {
        slots_[gap] = slots_[i];
        gap = i;
      }
    }
    slots_[gap] = {};
  }

  static void destroy(Node& node) {
    node.~Node();
    vekMemFree(&node, sizeof(Node));
  }

  std::unique_ptr<Slot[]> slots_;
  std::size_t mask_ = 0;
  std::size_t size_ = 0;
  std::uint32_t version_ = 0;
  Nodes nodes_;
};

}  // namespace Vek
