// An intrusive doubly linked list that may change while it is being walked.
//
// Append and remove cost O(1) and allocate nothing. A walk goes over the members that are in the
// chain when it starts, in the order in which they joined; members that leave meanwhile are skipped
// and members that join meanwhile are not visited. Walks nest. The chain must outlive its walks.
//
// T offers its links through a hook: `ChainHook<T>& hook(T&)` found by Hook::of(T&). Not
// thread-safe.
#pragma once

#include <utility>

namespace Vek {

template <class T>
struct ChainHook {
  T* prev = nullptr;  // of the first member: the last one
  T* next = nullptr;  // of the last member: none
};

template <class T, class Hook>
class Chain {
 public:
  Chain() = default;
  Chain(Chain const&) = delete;
  Chain& operator=(Chain const&) = delete;
  ~Chain() = default;  // members are not owned

  [[nodiscard]] bool empty() const { return first_ == nullptr; }
  [[nodiscard]] T* first() const { return first_; }
  [[nodiscard]] static T* next(T& member) { return Hook::of(member).next; }

  void append(T& member) {
    auto& hook = Hook::of(member);
    hook.next = nullptr;
    if (first_ == nullptr) {
      first_ = &member;
      hook.prev = &member;
      return;
    }
    T* last = Hook::of(*first_).prev;
    Hook::of(*last).next = &member;
    hook.prev = last;
    Hook::of(*first_).prev = &member;
  }

  // Requires: `member` is in this chain.
  void remove(T& member) {
    auto& hook = Hook::of(member);
    for (Cursor* cursor = cursors_; cursor != nullptr; cursor = cursor->outer) {
      cursor->forget(member);
    }
    T* after = hook.next;
    if (first_ == &member) {
      first_ = after;
      if (after != nullptr) Hook::of(*after).prev = hook.prev;
    } else {
      Hook::of(*hook.prev).next = after;
      Hook::of(after != nullptr ? *after : *first_).prev = hook.prev;
    }
    hook = {};
  }

  // Calls visit(T&) for each member of the moment. An exception ends the walk.
  template <class Visit>
  void walk(Visit&& visit) {
    if (first_ == nullptr) return;
    Cursor cursor{first_, Hook::of(*first_).prev, cursors_};
    struct Scope {
      Chain& chain;
      Cursor& cursor;
      ~Scope() { chain.cursors_ = cursor.outer; }
    } scope{*this, cursor};
    cursors_ = &cursor;
    while (cursor.next != nullptr) {
      T& member = *cursor.next;
      cursor.next = &member == cursor.last ? nullptr : Hook::of(member).next;
      visit(member);
    }
  }

 private:
  // Where a walk stands: the next member to visit (none: done) and the last one it will visit.
  struct Cursor {
    T* next;
    T* last;
    Cursor* outer;

    void forget(T& member) {
      if (next == &member) {
        next = last == &member ? nullptr : Hook::of(member).next;
      } else if (last == &member) {
        last = Hook::of(member).prev;  // at or behind `next`, which is still to come
      }
    }
  };

  T* first_ = nullptr;
  Cursor* cursors_ = nullptr;
};

}  // namespace Vek
