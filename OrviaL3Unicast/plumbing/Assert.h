// Where the tables' assertions stand.
//
// The table engine is shared code, but an aborted agent must name the table that it was: an
// assertion shows the table's source unit and the operation's signature as the concrete class would
// print it. Signatures are put together at compile time from the names that a table's traits
// declare, so both compilers give the same text. One constant per asserting operation, next to that
// operation:
//
//   template <class T>
//   inline constexpr auto entryRemoveSignature =
//       signature<T>("void", "entryRemove", "const " + T::keyText + "&");
//
//   if (!known) [[unlikely]] SassertHelper("entryHandleExists( key )",
//   assertWhere<T>(entryRemoveSignature<T>)) << ...
#pragma once

#include "OrviaL3Unicast/plumbing/FixedString.h"
#include "Vek/SassertHelper.h"

namespace OrviaL3Unicast::plumbing {

// "<result> <table>::<operation>(<arguments>)"; a result in front of virtual operations says so.
template <class T, class Result, class Operation, class Arguments>
constexpr auto signature(Result const& result, Operation const& operation,
                         Arguments const& arguments) {
  return concat(FixedString(result), FixedString(" "), T::qualifiedName, FixedString("::"),
                FixedString(operation), FixedString("("), FixedString(arguments), FixedString(")"));
}

// "Vek::Ptr<const <table>::EntryHandle>" and its like.
template <class T>
inline constexpr auto handleText = "Vek::Ptr<" + T::qualifiedName + "::EntryHandle>";
template <class T>
inline constexpr auto constHandleText = "Vek::Ptr<const " + T::qualifiedName + "::EntryHandle>";
template <class T>
inline constexpr auto keyAndEntryText =
    "const " + T::keyText + "&, const " + T::qualifiedName + "::Entry&";

template <class T, class Signature>
constexpr Vek::SassertWhere assertWhere(Signature const& signature, int line = __builtin_LINE()) {
  return {T::sourceUnit(), static_cast<unsigned>(line), signature.c_str()};
}

}  // namespace OrviaL3Unicast::plumbing
