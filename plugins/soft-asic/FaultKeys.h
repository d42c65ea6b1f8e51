// The keys of a fault profile and what they take, for whatever profiles are read from.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "plugins/soft-asic/FaultProfile.h"

namespace SoftAsic {

using FaultRows = std::vector<std::uint64_t>;

// What somebody wrote behind a key, wherever it stood.
struct Given {
  // None: anything else.
  std::variant<std::monostate, std::uint64_t, std::string, FaultRows> value;
  std::string shown;
};

// The key whose value is a list.
inline constexpr std::string_view rowsKey = "refuse-rows";
// The key that means nothing by itself.
inline constexpr std::string_view lateByKey = "late-by";
// Stands for all tables.
inline constexpr std::string_view everyTable = "all";

// What may stand for tables, everyTable first.
[[nodiscard]] std::vector<std::string_view> tableNames();

// Sets one key of the named table, or of all. Throws FaultProfileError, naming the place, when
// there is no such key or it does not take that value.
void keyIs(FaultProfiles& profiles, std::string_view table, std::string_view key,
           Given const& given, std::string const& place);
// A delay that no answer has is a mistake in the profile: throws FaultProfileError then.
void checkLateBy(FaultProfiles const& profiles, std::string_view table, std::string const& place);

// Throws FaultProfileError "PLACE: expected EXPECTED, found FOUND".
[[noreturn]] void refuseFault(std::string const& place, std::string const& expected,
                              std::string const& found);
// The place of a key within the place of what holds it.
[[nodiscard]] std::string placeWithin(std::string const& place, char const* separator,
                                      std::string_view key);
// "a, b, c".
[[nodiscard]] std::string listed(std::vector<std::string_view> const& names);
[[nodiscard]] std::string inQuotes(std::string_view value);
// "a whole number from 1 to 10".
[[nodiscard]] std::string rangeText(std::uint64_t least, std::uint64_t most);

}  // namespace SoftAsic
