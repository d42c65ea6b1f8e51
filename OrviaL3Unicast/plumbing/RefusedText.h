// The text constructors that refuse: those of the records and blocks, which hold collections.
//
//   static constexpr bool hasTextConstructor = false;
//   [[noreturn]] Entry(Vek::String::IteratorConst&, Vek::String::IteratorConst const&) {
//     plumbing::refuseTextConstructor<Traits, "Entry">(189);
//   }
//
// They end the process with a negated literal instead of the form that the other assertions of the
// tables have, and name a fixed line of the table's unit: that is what such an abort is known by,
// so the line does not follow the code.
#pragma once

#include "OrviaL3Unicast/plumbing/Assert.h"
#include "OrviaL3Unicast/plumbing/FixedString.h"
#include "Vek/String.h"
#include "Vek/TextRefusal.h"

namespace OrviaL3Unicast::plumbing {

template <FixedString Nested>
inline constexpr auto refusedTextMessage =
    "No String constructor for " + Nested + " - has collection";

template <class T, FixedString Nested>
inline constexpr auto textConstructorSignature =
    concat(T::qualifiedName, FixedString("::"), Nested, FixedString("::"), Nested,
           FixedString("(Vek::String::IteratorConst&, const Vek::String::IteratorConst&)"));

// `Nested` is the name of the type within the table `T`.
template <class T, FixedString Nested>
[[noreturn]] void refuseTextConstructor(int line) {
  Vek::refuseText(refusedTextMessage<Nested>.c_str(),
                  assertWhere<T>(textConstructorSignature<T, Nested>, line));
}

}  // namespace OrviaL3Unicast::plumbing
