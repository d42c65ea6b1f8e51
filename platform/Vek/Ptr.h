// Counted reference to a Vek::PtrInterface.
//
// Copying counts, destruction and reassignment release; the object dies with its last reference
// (PtrInterface::handleZeroRef). A plain pointer beside it does not count. Comparison, ordering and
// stream output are by the address of the object. Access through an empty reference is undefined.
#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <ostream>
#include <type_traits>
#include <utility>

namespace Vek {

template <class T>
class Ptr {
 public:
  using element_type = T;

  constexpr Ptr() = default;
  constexpr Ptr(std::nullptr_t) {}  // NOLINT(google-explicit-constructor)
  // Implicit, as a plain pointer to a counted object is as good as a reference to it.
  Ptr(T* object) : object_(object) { acquire(); }  // NOLINT(google-explicit-constructor)
  Ptr(Ptr const& other) : object_(other.object_) { acquire(); }
  Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U>
  requires std::is_convertible_v<U*, T*> Ptr(Ptr<U> const& other)
      : object_(other.get()) {  // NOLINT(google-explicit-constructor)
    acquire();
  }
  template <class U>
  requires std::is_convertible_v<U*, T*> Ptr(Ptr<U>&& other)
  noexcept : object_(other.detach()) {}  // NOLINT(google-explicit-constructor)
  ~Ptr() { release(); }

  // The old object is released last, when this reference already shows the new one: what its end
  // sets off may look here.
  Ptr& operator=(Ptr const& other) {
    Ptr(other).swap(*this);
    return *this;
  }
  Ptr& operator=(Ptr&& other) noexcept {
    Ptr(std::move(other)).swap(*this);
    return *this;
  }

  void swap(Ptr& other) noexcept { std::swap(object_, other.object_); }
  [[nodiscard]] T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }
  // Gives the reference up without releasing it.
  [[nodiscard]] T* detach() noexcept { return std::exchange(object_, nullptr); }

  template <class U>
  friend bool operator==(Ptr const& a, Ptr<U> const& b) {
    return a.get() == b.get();
  }
  friend bool operator==(Ptr const& a, std::nullptr_t) { return a.object_ == nullptr; }
  friend bool operator==(Ptr const& a, T* b) { return a.object_ == b; }
  friend std::strong_ordering operator<=>(Ptr const& a, Ptr const& b) {
    return std::compare_three_way{}(static_cast<void const*>(a.object_),
                                    static_cast<void const*>(b.object_));
  }
  friend std::ostream& operator<<(std::ostream& out, Ptr const& p) {
    return out << static_cast<void const*>(p.object_);
  }

 private:
  void acquire() {
    if (object_ != nullptr) object_->newRef();
  }
  void release() {
    if (object_ != nullptr) object_->deleteRef();
  }

  T* object_ = nullptr;
};

}  // namespace Vek

template <class T>
struct std::hash<Vek::Ptr<T>> {
  std::size_t operator()(Vek::Ptr<T> const& p) const noexcept {
    return std::hash<void const*>{}(p.get());
  }
};
