// A record says its attributes once, as a constexpr table; equality and ordering follow from it.
//
// The table is a tuple of rows in declaration order: stored(id, name, &Fields::member) for a scalar
// that the record stores, other(id, name, kind) for the rest. The stored rows, in that order, are
// the order of comparison.
#pragma once

#include <compare>
#include <cstddef>
#include <tuple>

#include "Vek/AttributeId.h"

namespace OrviaL3Unicast::plumbing {

enum class AttributeKind {
  collection,  // the needed handles by slot
  stored,      // a scalar of the record
  derived,     // read from a needed handle's row
  handle,      // one slot of the collection under a name of its own
};

template <class Fields, class Member>
struct StoredAttribute {
  static constexpr AttributeKind kind = AttributeKind::stored;
  static constexpr std::size_t size = sizeof(Member);
  Vek::AttributeId id;
  char const* name;
  Member Fields::*member;
};

struct OtherAttribute {
  static constexpr std::size_t size = 0;
  Vek::AttributeId id;
  char const* name;
  AttributeKind kind;
};

template <class Fields, class Member>
constexpr StoredAttribute<Fields, Member> stored(Vek::AttributeId id, char const* name,
                                                 Member Fields::*member) {
  return {id, name, member};
}
constexpr OtherAttribute other(Vek::AttributeId id, char const* name, AttributeKind kind) {
  return {id, name, kind};
}

// Bytes of all stored rows: for the assertion that no stored field lacks a row.
template <class... Rows>
constexpr std::size_t storedSize(std::tuple<Rows...> const&) {
  return (Rows::size + ... + 0);
}

namespace detail {
template <class Fields, class Row>
constexpr std::strong_ordering compareRow(Fields const& a, Fields const& b, Row const& row) {
  if constexpr (requires { row.member; }) {
    return a.*row.member <=> b.*row.member;
  } else {
    return std::strong_ordering::equal;
  }
}
}  // namespace detail

// The stored fields in the order of their rows, each as an unsigned number; the first difference
// decides.
template <class Fields, class... Rows>
constexpr std::strong_ordering compareStored(Fields const& a, Fields const& b,
                                             std::tuple<Rows...> const& rows) {
  return std::apply(
      [&](Rows const&... row) {
        std::strong_ordering result = std::strong_ordering::equal;
        (void)(((result = detail::compareRow(a, b, row)) != 0) || ...);
        return result;
      },
      rows);
}

}  // namespace OrviaL3Unicast::plumbing
