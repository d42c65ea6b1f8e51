// The attribute table of a record, made from the rows that the record itself lists (attributes()).
//
//   constexpr auto rows = engine::recordAttributes<Entry>(
//       engine::derived<Entry, &Entry::l3Oif1>("l3Oif1"),
//       engine::handle<Entry, &Entry::l3Oif1Handle, &Entry::l3Oif1HandleIs>("l3Oif1Handle"), ...);
//
// Names and numbers come from the record. The unit adds the accessors of what the record does not
// store; each such row must find its accessor by name, or this does not compile.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <tuple>
#include <utility>

#include "OrviaL3Unicast/engine/NeededHandleCollection.h"
#include "OrviaL3Unicast/engine/ReflectTypes.h"
#include "OrviaL3Unicast/plumbing/RecordAttributes.h"
#include "Vek/ReflectBuild.h"

namespace OrviaL3Unicast::engine {

// The needed handles of a record. The slot is the attribute id of the field that a handle feeds.
template <class Entry>
struct NeededHandleElements {
  using Key = Vek::AttributeId;
  using Element = NeededHandle;

  static std::optional<Element> read(Entry const& entry, Key slot) {
    return entry.neededEntryHandle(numberOf(slot));
  }
  static void write(Entry& entry, Key slot, Element const& handle) {
    entry.neededEntryHandleIs(numberOf(slot), handle);
  }
  static void del(Entry& entry, Key slot) { entry.neededEntryHandleDel(numberOf(slot)); }
  static std::size_t count(Entry const& entry) { return entry.neededEntryHandleCount(); }
  static void keys(Entry const& entry, auto const& visit) {
    for (auto const& member : entry.neededEntryHandle()) {
      visit(Key(static_cast<std::uint32_t>(member.key)));
    }
  }

 private:
  static int numberOf(Key slot) { return static_cast<int>(slot.value()); }
};

// The accessors of what a record does not store, under the name of their row.
template <class Entry, auto Get>
constexpr Vek::VekAttribute derived(char const* name) {
  return Vek::attribute<Entry, Get>(0, name);
}
template <class Entry, auto Get, auto Set>
constexpr Vek::VekAttribute handle(char const* name) {
  return Vek::attribute<Entry, Get, Set>(0, name);
}

namespace detail {

template <class Entry, std::size_t Row>
struct StoredField {
  static constexpr auto member = std::get<Row>(Entry::attributes()).member;
  using Type = std::remove_cvref_t<decltype(std::declval<Entry const&>().fields().*member)>;

  static Type read(Entry const& entry) { return entry.fields().*member; }
  static void write(Entry& entry, Type const& value) { entry.fields().*member = value; }
};

template <class Entry, std::size_t Row, std::size_t Accessors>
constexpr Vek::VekAttribute recordRow(std::array<Vek::VekAttribute, Accessors> const& accessors) {
  constexpr auto row = std::get<Row>(Entry::attributes());
  if constexpr (row.kind == plumbing::AttributeKind::stored) {
    using Field = StoredField<Entry, Row>;
    return Vek::attribute<Entry, &Field::read, &Field::write>(row.id, row.name);
  } else if constexpr (row.kind == plumbing::AttributeKind::collection) {
    return Vek::collection<Entry, NeededHandleElements<Entry>>(row.id, row.name);
  } else {
    for (Vek::VekAttribute accessor : accessors) {
      if (std::string_view(accessor.name) != row.name) continue;
      accessor.id = row.id;
      return accessor;
    }
    throw "a row of the record has no accessor";  // at compile time only
  }
}

}  // namespace detail

template <class Entry, class... Accessors>
constexpr auto recordAttributes(Accessors const&... accessors) {
  constexpr std::size_t count = std::tuple_size_v<decltype(Entry::attributes())>;
  std::array<Vek::VekAttribute, sizeof...(Accessors)> const given{{accessors...}};
  return [&]<std::size_t... Row>(std::index_sequence<Row...>) {
    // In front, as declared attributes are numbered from 2: the collection's count once more, under
    // a name of its own.
    constexpr Vek::AttributeId countId{1};
    return std::array<Vek::VekAttribute, count + 1>{
        {Vek::attribute<Entry, &Entry::neededEntryHandleCount>(countId, "neededEntryHandleCount"),
         detail::recordRow<Entry, Row>(given)...}};
  }
  (std::make_index_sequence<count>());
}

}  // namespace OrviaL3Unicast::engine

// A record refers to objects and changes: it is nobody's key.
template <class T>
struct Vek::VekValueHash<OrviaL3Unicast::NextHopEntry<T>> {
  [[noreturn]] static std::uint32_t hash(OrviaL3Unicast::NextHopEntry<T> const& /*entry*/,
                                         unsigned /*seed*/) {
    throwUnhashableTypeException(VekTypeOf<OrviaL3Unicast::NextHopEntry<T>>::type);
  }
};
template <class T>
struct Vek::VekValueHash<OrviaL3Unicast::L3EcmpGroupEntry<T>> {
  [[noreturn]] static std::uint32_t hash(OrviaL3Unicast::L3EcmpGroupEntry<T> const& /*entry*/,
                                         unsigned /*seed*/) {
    throwUnhashableTypeException(VekTypeOf<OrviaL3Unicast::L3EcmpGroupEntry<T>>::type);
  }
};
