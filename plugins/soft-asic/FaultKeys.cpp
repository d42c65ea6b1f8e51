#include "FaultKeys.h"

#include <algorithm>
#include <array>
#include <limits>

namespace SoftAsic {
namespace {

// What was given is not what a key takes.
struct Unexpected {
  std::string expected;
};

constexpr std::uint64_t mostTurns = 1'000'000;  // far beyond any replay, and safe to add up

std::uint32_t number(Given const& given, std::uint64_t least, std::uint64_t most,
                     std::string const& expected) {
  auto const* const value = std::get_if<std::uint64_t>(&given.value);
  if (value == nullptr || *value < least || *value > most) throw Unexpected{expected};
  return static_cast<std::uint32_t>(*value);
}

std::uint32_t every(Given const& given) {
  constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
  return number(given, 1, most, rangeText(1, most));
}

bool says(Given const& given, char const* word) {
  auto const* const value = std::get_if<std::string>(&given.value);
  return value != nullptr && *value == word;
}

void answerIs(FaultProfile& profile, Given const& given) {
  if (says(given, "at-once")) {
    profile.answerAfter.reset();
  } else {
    profile.answerAfter =
        number(given, 0, mostTurns, R"("at-once" or a number of turns up to 1000000)");
  }
}

void orderIs(FaultProfile& profile, Given const& given) {
  if (says(given, "in-order")) {
    profile.order = FaultProfile::Order::inOrder;
  } else if (says(given, "random")) {
    profile.order = FaultProfile::Order::random;
  } else {
    throw Unexpected{R"("in-order" or "random")"};
  }
}

void refusedRowsAre(FaultProfile& profile, Given const& given) {
  // The number after the last row means "no row".
  constexpr std::uint64_t noRow = Asic::Index::invalidIndex().value();
  auto const* const rows = std::get_if<FaultRows>(&given.value);
  if (rows == nullptr ||
      std::any_of(rows->begin(), rows->end(), [](std::uint64_t row) { return row >= noRow; })) {
    throw Unexpected{"a list of row numbers"};
  }
  profile.refusedRows.clear();
  for (std::uint64_t const row : *rows) {
    profile.refusedRows.insert(static_cast<std::uint32_t>(row));
  }
}

struct Key {
  std::string_view name;
  void (*set)(FaultProfile&, Given const&);
};

constexpr std::array keys = {
    Key{"answer", answerIs},
    Key{"order", orderIs},
    Key{rowsKey, refusedRowsAre},
    Key{"refuse-every", [](FaultProfile& to, Given const& by) { to.refuseEvery = every(by); }},
    Key{"lose-answer-every",
        [](FaultProfile& to, Given const& by) { to.loseAnswerEvery = every(by); }},
    Key{"lose-write-every",
        [](FaultProfile& to, Given const& by) { to.loseWriteEvery = every(by); }},
    Key{"answer-twice-every",
        [](FaultProfile& to, Given const& by) { to.answerTwiceEvery = every(by); }},
    Key{"late-every", [](FaultProfile& to, Given const& by) { to.lateEvery = every(by); }},
    Key{lateByKey,
        [](FaultProfile& to, Given const& by) {
          to.lateBy = number(by, 1, mostTurns, rangeText(1, mostTurns));
        }},
};

bool means(std::string_view text, TableId table) {
  return text == everyTable || text == name(table);
}

std::string keyNames() {
  std::vector<std::string_view> names;
  names.reserve(keys.size());
  for (Key const& key : keys) names.push_back(key.name);
  return listed(names);
}

}  // namespace

std::string rangeText(std::uint64_t least, std::uint64_t most) {
  return "a whole number from " + std::to_string(least) + " to " + std::to_string(most);
}

std::string listed(std::vector<std::string_view> const& names) {
  std::string all;
  for (std::string_view const each : names) {
    if (!all.empty()) all += ", ";
    all += each;
  }
  return all;
}

std::vector<std::string_view> tableNames() {
  std::vector<std::string_view> names{everyTable};
  for (TableId const table : allTables) names.emplace_back(name(table));
  return names;
}

std::string inQuotes(std::string_view value) { return "\"" + std::string(value) + "\""; }

std::string placeWithin(std::string const& place, char const* separator, std::string_view key) {
  std::string all = place;
  all += separator;
  all += key;
  return all;
}

void refuseFault(std::string const& place, std::string const& expected, std::string const& found) {
  throw FaultProfileError(place + ": expected " + expected + ", found " + found);
}

void keyIs(FaultProfiles& profiles, std::string_view table, std::string_view key,
           Given const& given, std::string const& place) {
  auto const* const found =
      std::find_if(keys.begin(), keys.end(), [key](Key const& each) { return each.name == key; });
  if (found == keys.end()) refuseFault(place, "one of the keys " + keyNames(), inQuotes(key));
  try {
    for (TableId const each : allTables) {
      if (means(table, each)) found->set(profiles.of(each), given);
    }
  } catch (Unexpected const& unexpected) {
    refuseFault(place, unexpected.expected, given.shown);
  }
}

void checkLateBy(FaultProfiles const& profiles, std::string_view table, std::string const& place) {
  for (TableId const each : allTables) {
    if (means(table, each) && profiles.of(each).lateEvery != 0) return;
  }
  refuseFault(place, "a late-every beside it", "none");
}

}  // namespace SoftAsic
