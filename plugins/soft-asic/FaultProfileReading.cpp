// Profiles from a file and from an option.
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

#include "FaultKeys.h"
#include "FaultProfile.h"

namespace SoftAsic {
namespace {

using Json = nlohmann::json;

std::string textOf(std::filesystem::path const& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file.is_open() || file.bad() || std::filesystem::is_directory(path)) {
    int const reason = errno != 0 ? errno : EISDIR;
    throw std::system_error(reason, std::generic_category(), path.string());
  }
  return text;
}

// The document, in which no object says a key twice: the parser by itself takes the last of them.
Json parsed(std::string const& text, std::string const& file) {
  struct Object {
    std::set<std::string> keys;
    std::string place;  // the last of them, and where it stands
  };
  std::vector<Object> open;
  auto const notice = [&](int, Json::parse_event_t event, Json& value) {
    if (event == Json::parse_event_t::object_start) {
      open.emplace_back();
    } else if (event == Json::parse_event_t::object_end) {
      open.pop_back();
    } else if (event == Json::parse_event_t::key) {
      Object& object = open.back();
      auto const key = value.get<std::string>();
      object.place = (open.size() > 1 ? open[open.size() - 2].place + "." : "") + key;
      if (!object.keys.insert(key).second)
        refuseFault(file + ": " + object.place, "it once", "it twice");
    }
    return true;
  };
  try {
    return Json::parse(text, notice);
  } catch (Json::parse_error const& error) {
    // The byte counts from 1, and is one more than there are at an end that comes too early.
    std::size_t const before = std::min(error.byte == 0 ? 0 : error.byte - 1, text.size());
    auto const start = text.begin();
    auto const at = start + static_cast<std::ptrdiff_t>(before);
    auto const line = std::count(start, at, '\n') + 1;
    std::size_t const lastBreak = before == 0 ? std::string::npos : text.rfind('\n', before - 1);
    std::size_t const column = lastBreak == std::string::npos ? before + 1 : before - lastBreak;
    throw FaultProfileError(file + ":" + std::to_string(line) + ":" + std::to_string(column) +
                            ": expected JSON, found " +
                            (before == text.size() ? "the end of the file" : "something else"));
  }
}

Given givenBy(Json const& json) {
  Given given{{}, json.dump(-1, ' ', true, Json::error_handler_t::replace)};
  if (json.is_number_unsigned()) given.value = json.get<std::uint64_t>();
  if (json.is_string()) given.value = json.get<std::string>();
  if (json.is_array() && std::all_of(json.begin(), json.end(),
                                     [](Json const& row) { return row.is_number_unsigned(); })) {
    given.value = json.get<FaultRows>();
  }
  return given;
}

void tableIs(FaultProfiles& profiles, std::string_view table, Json const& json,
             std::string const& place) {
  if (!json.is_object()) refuseFault(place, "an object", givenBy(json).shown);
  for (auto const& [key, value] : json.items()) {
    keyIs(profiles, table, key, givenBy(value), placeWithin(place, ".", key));
  }
}

// A number of an option; none when it is anything else, digits that are too many included.
std::optional<std::uint64_t> numberIn(std::string_view text) {
  std::uint64_t value = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  bool const isNumber = !text.empty() && error == std::errc() && end == text.data() + text.size();
  return isNumber ? std::optional(value) : std::nullopt;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    std::size_t const end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

Given givenBy(std::string_view key, std::string_view text) {
  Given given{{}, inQuotes(text)};
  if (key == rowsKey) {
    FaultRows rows;
    for (std::string_view const part : split(text, '+')) {
      auto const row = numberIn(part);
      if (!row) return given;
      rows.push_back(*row);
    }
    given.value = std::move(rows);
  } else if (auto const value = numberIn(text)) {
    given.value = *value;
  } else {
    given.value = std::string(text);
  }
  return given;
}

}  // namespace

FaultProfiles faultProfilesOfFile(std::filesystem::path const& path) {
  std::string const file = path.string();
  Json const document = parsed(textOf(path), file);
  if (!document.is_object()) refuseFault(file, "an object", givenBy(document).shown);
  FaultProfiles profiles;
  for (auto const& [key, value] : document.items()) {
    std::string const place = placeWithin(file, ": ", key);
    if (key == "seed") {
      if (!value.is_number_unsigned()) {
        refuseFault(place, rangeText(0, std::numeric_limits<std::uint64_t>::max()),
                    givenBy(value).shown);
      }
      profiles.seed = value.get<std::uint64_t>();
    } else if (key == "tables") {
      if (!value.is_object()) refuseFault(place, "an object", givenBy(value).shown);
    } else {
      refuseFault(place, "one of the keys seed, tables", inQuotes(key));
    }
  }
  if (!document.contains("tables")) return profiles;

  Json const& tables = document["tables"];
  auto const names = tableNames();
  // What is said of all tables comes first, wherever it stands, so that each can differ from it.
  for (std::string_view const table : names) {
    auto const found = tables.find(std::string(table));
    if (found != tables.end()) {
      tableIs(profiles, table, *found, placeWithin(file, ": tables.", table));
    }
  }
  for (auto const& [table, value] : tables.items()) {
    std::string const place = placeWithin(file, ": tables.", table);
    if (std::find(names.begin(), names.end(), table) == names.end()) {
      refuseFault(place, "one of the tables " + listed(names), inQuotes(table));
    }
    if (value.contains(lateByKey)) {
      checkLateBy(profiles, table, placeWithin(place, ".", lateByKey));
    }
  }
  return profiles;
}

void faultIs(FaultProfiles& profiles, std::string_view text) {
  std::string const place = inQuotes(text);
  auto const names = tableNames();
  std::size_t const colon = text.find(':');
  std::string_view const table = text.substr(0, colon);
  if (colon == std::string_view::npos) {
    refuseFault(place, "TABLE:KEY=VALUE[,KEY=VALUE...]", "no ':'");
  }
  if (std::find(names.begin(), names.end(), table) == names.end()) {
    refuseFault(place, "one of the tables " + listed(names), inQuotes(table));
  }
  FaultProfiles changed = profiles;
  std::set<std::string_view> said;
  for (std::string_view const part : split(text.substr(colon + 1), ',')) {
    std::size_t const equals = part.find('=');
    std::string_view const key = part.substr(0, equals);
    if (equals == std::string_view::npos) refuseFault(place, "KEY=VALUE", inQuotes(part));
    std::string const where = placeWithin(place, ": ", key);
    if (!said.insert(key).second) refuseFault(where, "it once", "it twice");
    keyIs(changed, table, key, givenBy(key, part.substr(equals + 1)), where);
  }
  if (said.contains(lateByKey)) {
    checkLateBy(changed, table, placeWithin(place, ": ", lateByKey));
  }
  profiles = std::move(changed);
}

}  // namespace SoftAsic
