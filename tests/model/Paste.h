// Steps and sequences as C++ source.
//
//   pasted(sequence)  // a whole test, to be pasted into FoundTest.cpp and given a name
#pragma once

#include <cstddef>
#include <string>

#include "Step.h"

namespace Model {

inline constexpr std::size_t kindCount = static_cast<std::size_t>(Kind::raise) + 1;

// The enumerator's name, without "Kind::".
[[nodiscard]] char const* kindName(Kind kind);
// "{Kind::hopCommit, {0, 14, 1}}"; zeros at the end are left out.
[[nodiscard]] std::string stepText(Step const& step);
// A test that expects no difference.
[[nodiscard]] std::string pasted(Sequence const& sequence);

}  // namespace Model
