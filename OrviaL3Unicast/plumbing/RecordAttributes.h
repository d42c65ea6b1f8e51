// A record says its attributes once, as a constexpr table; equality, ordering and text follow from
// it.
//
// The table is a tuple of rows in declaration order: stored(id, name, &Fields::member) for a scalar
// that the record stores, other(id, name, kind) for the rest. The stored rows, in that order, are
// the order of comparison and of the text form.
#pragma once

#include <compare>
#include <cstddef>
#include <string>
#include <tuple>
#include <vector>

#include "Vek/AttributeId.h"
#include "Vek/Format.h"

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

namespace detail {
template <class Fields, class Row>
void appendRow(std::string& format, std::vector<std::string>& values, Fields const& fields,
               Row const& row) {
  if constexpr (requires { row.member; }) {
    values.push_back(Vek::detail::streamed(fields.*row.member));
  } else if (row.kind == AttributeKind::collection) {
    values.emplace_back("None");  // collections are never printed
  } else {
    return;  // neither is what follows from them
  }
  if (values.size() > 1) format += ", ";
  format += "'" + std::string(row.name) + "': %s";
}
}  // namespace detail

// The one-line text form of a record: "Value('<type>', ** {'<attribute>': <value>, ...})".
template <class Fields, class... Rows>
Vek::String recordText(char const* type, Fields const& fields, std::tuple<Rows...> const& rows) {
  std::string format = "Value('" + std::string(type) + "', ** {";
  std::vector<std::string> values;
  std::apply([&](Rows const&... row) { (detail::appendRow(format, values, fields, row), ...); },
             rows);
  return Vek::detail::formatTexts(format + "})", values);
}

}  // namespace OrviaL3Unicast::plumbing
