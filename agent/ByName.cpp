#include "agent/ByName.h"

#include <fmt/format.h>

#include <array>
#include <limits>
#include <string_view>

#include "Vek/TextParser.h"
#include "Vek/Walker.h"

namespace OrviaL3Agent {
namespace {

constexpr std::array<std::string_view, 4> kTables = {"ingress", "ecmp", "member", "group"};

constexpr std::size_t kAllElements = std::numeric_limits<std::size_t>::max();

struct Place {
  Vek::Ptr<Vek::PtrInterface const> table;
  std::string path;  // from there
};

Place placeOf(Mapping::Tables const& tables, std::string const& path) {
  std::size_t const end = std::min(path.find('.'), path.size());
  std::string_view const name = std::string_view(path).substr(0, end);
  std::string rest = end == path.size() ? std::string() : path.substr(end + 1);
  if (name == kTables[0]) return {tables.ingress, std::move(rest)};
  if (name == kTables[1]) return {tables.ecmp, std::move(rest)};
  if (name == kTables[2]) return {tables.members, std::move(rest)};
  if (name == kTables[3]) return {tables.groups, std::move(rest)};
  throw Vek::Exception(
      fmt::format("{}: there is no table \"{}\": a path begins with ingress, ecmp, member or group",
                  path, name));
}

}  // namespace

std::string gotByName(Mapping::Tables const& tables, std::string const& path) {
  Place const place = placeOf(tables, path);
  return Vek::Walker(place.table).read(place.path).text().str() + "\n";
}

std::string listedByName(Mapping::Tables const& tables, std::string const& path) {
  std::string text;
  if (path.empty()) {
    for (std::string_view const name : kTables) text += fmt::format("{}\n", name);
    return text;
  }
  Place const place = placeOf(tables, path);
  auto const lines = Vek::Walker(place.table).list(place.path, kAllElements);
  for (Vek::Walker::Line const& line : lines) {
    text += fmt::format("{}: {} = {}{}\n", line.name, line.type, line.text,
                        line.isWritable ? "" : " (read only)");
  }
  // A plain value has nothing below it, and an empty collection nothing yet.
  return text.empty() ? "nothing\n" : text;
}

void setByName(Mapping::Tables const& tables, std::pair<std::string, std::string> const& change) {
  Place const place = placeOf(tables, change.first);
  Vek::Walker const walker(place.table);
  Vek::VekType const type = walker.read(place.path).type();
  Vek::VekValueOps const* const ops = type.valueOps();
  if (ops == nullptr || !ops->parses()) {
    throw Vek::Exception(fmt::format("{}: only plain values can be set, and this is {}",
                                     change.first,
                                     type.module == nullptr ? "nothing" : type.name()));
  }
  try {
    walker.set(place.path, change.second);
  } catch (Vek::TextException const& error) {
    throw Vek::Exception(fmt::format("{}: {}", change.first, error.what()));
  } catch (Vek::RangeException const& error) {
    throw Vek::Exception(fmt::format("{}: {}", change.first, error.what()));
  }
}

}  // namespace OrviaL3Agent
