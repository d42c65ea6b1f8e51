// What the text constructor of a type does that has none.
//
// Every value type has a text constructor, so that generic code compiles for all of them. A type
// that holds a collection cannot be read from text, since its text form leaves the collection out:
// its constructor calls this.
//
//   static constexpr bool hasTextConstructor = false;
//   [[noreturn]] Entry(String::IteratorConst&, String::IteratorConst const&) {
//     Vek::refuseText("No String constructor for Entry - has collection", where);
//   }
//
// The process ends as with assert(!"<message>"): standard error shows the C library's line alone,
// with the negated literal as the assertion. Other assertions look different (Vek/SassertHelper.h).
#pragma once

#include "Vek/Export.h"
#include "Vek/SassertHelper.h"

namespace Vek {

// The types that do so, which say it with a member `hasTextConstructor` that is false. Who reads
// texts for others asks before.
template <class T>
concept RefusesText = requires {
  requires !T::hasTextConstructor;
};

[[noreturn]] VEK_EXPORT void refuseText(char const* message, SassertWhere where);

}  // namespace Vek
