// Makes rows of attribute tables from members and functions, at compile time.
//
//   constexpr Vek::VekAttribute rows[] = {
//       Vek::attribute<Table, &Table::numEntries, &Table::numEntriesIs>(4, "numEntries"),
//       Vek::attribute<Table, &Table::rows>(5, "rows"),  // can only be read
//       Vek::collection<Table, EntryCollection>(16, "entry"),
//   };
//   constexpr Vek::VekOperation operations[] = {
//       Vek::operation<Table, &Table::syncEntries>("syncEntries"),
//       Vek::operation("entryRemove", {}, {{"key", keyType}}),  // has arguments: described only
//   };
//
// What a function takes and returns says the row's types: a counted reference or a pointer is an
// object of a class, a size is a 32-bit number, anything else is a value of VekTypeOf its type.
//
// A collection is a struct of static functions over the object C, its Key and its Element:
//
//   static std::optional<Element> read(C const&, Key const&);   // nothing for an absent one; an
//                                                               // empty reference is absent, too
//   static void write(C&, Key const&, Element const&);          // if elements can be set
//   using Origin = ...;                                         // if C makes elements itself: what
//   static void make(C&, Key const&, Origin const&);            // it makes one from (madeFrom)
//   static void del(C&, Key const&);                            // if they can be deleted
//   static std::size_t count(C const&);
//   static void keys(C const&, auto const& visit);              // bool visit(Key const&); a large
//                                                               // one stops when it is false
#pragma once

#include <functional>
#include <initializer_list>
#include <optional>
#include <type_traits>

#include "Vek/Reflect.h"

namespace Vek {

namespace detail {

template <class T>
struct Reflected {
  static constexpr VekType type = VekTypeOf<T>::type;
  static Value value(T const& native) { return Value::of(native); }
  static T const& native(Value const& value) { return *static_cast<T const*>(value.data()); }
};
template <class T>
requires std::is_base_of_v<PtrInterface, T>
struct Reflected<T*> {
  using Class = std::remove_const_t<T>;
  static constexpr VekType type = VekTypeOf<Class>::type;
  static Value value(T* object) { return Value::object(type, object); }
  // What tools hold is held as constant; the objects themselves are not.
  static T* native(Value const& value) {
    return static_cast<Class*>(const_cast<PtrInterface*>(value.object()));
  }
};
template <class T>
struct Reflected<Ptr<T>> {
  static constexpr VekType type = VekTypeOf<std::remove_const_t<T>>::type;
  static Value value(Ptr<T> const& object) { return Value::object(type, object.get()); }
  static Ptr<T> native(Value const& value) { return Reflected<T*>::native(value); }
};
template <>
struct Reflected<std::size_t> {
  static constexpr VekType type = VekTypeOf<std::uint32_t>::type;
  static Value value(std::size_t number) { return Value::of(static_cast<std::uint32_t>(number)); }
};

// Objects are given by their PtrInterface part, which not every class has at its start.
template <class C>
C const& objectAt(void const* address) {
  if constexpr (std::is_base_of_v<PtrInterface, C>) {
    return static_cast<C const&>(*static_cast<PtrInterface const*>(address));
  } else {
    return *static_cast<C const*>(address);
  }
}
template <class C>
C& objectAt(void* address) {
  return const_cast<C&>(objectAt<C>(static_cast<void const*>(address)));
}

template <class Function>
struct SetterArgument;
template <class R, class C, class A>
struct SetterArgument<R (C::*)(A)> {
  using Type = std::remove_cvref_t<A>;
};
template <class R, class C, class A>
struct SetterArgument<R (*)(C&, A)> {
  using Type = std::remove_cvref_t<A>;
};

template <class C, auto Get>
Value readWith(void const* object) {
  using Result = std::remove_cvref_t<std::invoke_result_t<decltype(Get), C const&>>;
  return Reflected<Result>::value(std::invoke(Get, objectAt<C>(object)));
}
template <class C, auto Set>
void writeWith(void* object, Value const& value) {
  using Argument = typename SetterArgument<decltype(Set)>::Type;
  std::invoke(Set, objectAt<C>(object), Reflected<Argument>::native(value));
}
template <class C, auto Call>
Value callWith(void* object) {
  using Result = std::remove_cvref_t<std::invoke_result_t<decltype(Call), C&>>;
  if constexpr (std::is_void_v<Result>) {
    std::invoke(Call, objectAt<C>(object));
    return {};
  } else {
    return Reflected<Result>::value(std::invoke(Call, objectAt<C>(object)));
  }
}

}  // namespace detail

// The type of what C++ code sees as a T: for arguments and results of operations.
template <class T>
inline constexpr VekType reflectedType = detail::Reflected<T>::type;

template <class C, auto Get, auto Set = nullptr>
constexpr VekAttribute attribute(AttributeId id, char const* name) {
  using Result = std::remove_cvref_t<std::invoke_result_t<decltype(Get), C const&>>;
  VekAttribute row{id, name, reflectedType<Result>, {}};
  row.read = &detail::readWith<C, Get>;
  if constexpr (!std::is_null_pointer_v<decltype(Set)>) row.write = &detail::writeWith<C, Set>;
  return row;
}

namespace detail {

template <class C, class Collection>
struct CollectionFunctions {
  using Key = typename Collection::Key;
  using Element = typename Collection::Element;
  using Keys = Reflected<Key>;
  using Elements = Reflected<Element>;

  static Value read(void const* object, Value const& key) {
    std::optional<Element> const element = Collection::read(objectAt<C>(object), Keys::native(key));
    if (!element) return {};
    Value value = Elements::value(*element);
    return value.isObject() && value.object() == nullptr ? Value() : value;
  }
  static void write(void* object, Value const& key, Value const& value) {
    Collection::write(objectAt<C>(object), Keys::native(key), Elements::native(value));
  }
  static void make(void* object, Value const& key, Value const& value) {
    using Origins = Reflected<typename Collection::Origin>;
    Collection::make(objectAt<C>(object), Keys::native(key), Origins::native(value));
  }
  static void del(void* object, Value const& key) {
    Collection::del(objectAt<C>(object), Keys::native(key));
  }
  static std::size_t count(void const* object) { return Collection::count(objectAt<C>(object)); }
  static std::vector<Value> keys(void const* object, std::size_t first, std::size_t most) {
    std::vector<Value> keys;
    std::size_t position = 0;
    Collection::keys(objectAt<C>(object), [&](Key const& key) {
      if (position++ < first) return true;
      if (keys.size() >= most) return false;
      keys.push_back(Keys::value(key));
      return true;
    });
    return keys;
  }
};

}  // namespace detail

template <class C, class Collection>
constexpr VekAttribute collection(AttributeId id, char const* name) {
  using Functions = detail::CollectionFunctions<C, Collection>;
  using Key = typename Collection::Key;
  using Element = typename Collection::Element;
  VekAttribute row{id, name, reflectedType<Element>, reflectedType<Key>};
  row.elementRead = &Functions::read;
  row.count = &Functions::count;
  row.keys = &Functions::keys;
  if constexpr (requires(C & object, Key const& key, Element const& element) {
                  Collection::write(object, key, element);
                }) {
    row.elementWrite = &Functions::write;
  } else if constexpr (requires { typename Collection::Origin; }) {
    row.elementWrite = &Functions::make;
    row.madeFrom = reflectedType<typename Collection::Origin>;
  }
  if constexpr (requires(C & object, Key const& key) { Collection::del(object, key); }) {
    row.elementDelete = &Functions::del;
  }
  return row;
}

// An operation that takes arguments: described only.
constexpr VekOperation operation(char const* name, VekType result,
                                 std::initializer_list<VekArgument> arguments) {
  VekOperation row{name, result};
  std::size_t position = 0;
  for (VekArgument const& argument : arguments) row.argumentRows.at(position++) = argument;
  return row;
}

template <class C, auto Call>
constexpr VekOperation operation(char const* name, bool endsObject = false) {
  using Result = std::remove_cvref_t<std::invoke_result_t<decltype(Call), C&>>;
  VekOperation row{name, {}};
  if constexpr (!std::is_void_v<Result>) row.result = reflectedType<Result>;
  row.call = &detail::callWith<C, Call>;
  row.endsObject = endsObject;
  return row;
}

}  // namespace Vek
