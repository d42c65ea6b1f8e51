#include "agent/ByName.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "Vek/Walker.h"
#include "agent/ShortText.h"

namespace OrviaL3Agent {
namespace {

constexpr std::array<std::string_view, 4> kTables = {"ingress", "ecmp", "member", "group"};

struct Place {
  Vek::Ptr<Vek::PtrInterface const> table;
  std::string path;  // from there
};

Place placeOf(Mapping::Tables const& tables, std::string const& path) {
  std::size_t const end = std::min(path.find('.'), path.size());
  std::string_view const name = std::string_view(path).substr(0, end);
  std::string rest = end == path.size() ? std::string() : path.substr(end + 1);
  if (std::find(kTables.begin(), kTables.end(), name) == kTables.end()) {
    throw Vek::Exception(
        fmt::format("there is no table \"{}\": a path begins with ingress, ecmp, member or group",
                    shortened(name)));
  }
  // The walker takes no path as the table itself. After a dot that is a name left out.
  if (end != path.size() && rest.empty()) throw Vek::Exception("a name is missing behind the dot");
  if (name == kTables[0]) return {tables.ingress, std::move(rest)};
  if (name == kTables[1]) return {tables.ecmp, std::move(rest)};
  if (name == kTables[2]) return {tables.members, std::move(rest)};
  return {tables.groups, std::move(rest)};
}

// The last step of a path from a table on.
struct LastStep {
  std::string owner;  // the path before it
  std::string name;
  bool namesElement = false;
};

LastStep lastStepOf(std::string const& path) {
  // A dot in brackets is part of a key.
  std::size_t start = 0;
  std::size_t depth = 0;
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (path[i] == '[') ++depth;
    if (path[i] == ']' && depth > 0) --depth;
    if (path[i] == '.' && depth == 0) start = i + 1;
  }
  std::size_t const bracket = path.find('[', start);
  std::size_t const end = std::min(bracket, path.size());
  return {start == 0 ? std::string() : path.substr(0, start - 1), path.substr(start, end - start),
          bracket != std::string::npos};
}

Vek::VekAttribute const* attributeAt(Vek::Walker const& walker, LastStep const& step) {
  return Vek::findAttribute(walker.read(step.owner).objectType(), step.name);
}

// Numbers, states, texts. A record may have a text too, and still refer to objects.
bool isPlain(Vek::VekType type) {
  if (type.module == nullptr) return false;
  Vek::VekValueOps const* const ops = type.valueOps();
  if (ops == nullptr || !ops->parses()) return false;
  std::vector<Vek::OwnedAttribute> const attributes = Vek::attributesOf(type);
  return std::all_of(attributes.begin(), attributes.end(), [](Vek::OwnedAttribute const& owned) {
    return !owned.attribute->isCollection() && isPlain(owned.attribute->type);
  });
}

// Whether attributes of what stands at the path can change. A value is a copy that has to be
// written back, through whatever it is part of, up to the nearest object.
bool takesChanges(Vek::Walker const& walker, std::string path) {
  while (!path.empty() && !walker.read(path).isObject()) {
    LastStep const step = lastStepOf(path);
    Vek::VekAttribute const* const attribute = attributeAt(walker, step);
    if (attribute == nullptr || !attribute->isWritable()) return false;
    path = step.owner;
  }
  return true;
}

// What the walker says, with the whole path in front and nothing said twice. The walker's places
// begin behind the table's name.
std::string placed(std::string const& path, std::string const& what) {
  constexpr std::string_view kAt = "at '";
  constexpr std::string_view kBehind = "': ";
  std::size_t const dot = path.find('.');
  std::string_view const said = what;
  if (!said.starts_with(kAt) || dot == std::string::npos) {
    return fmt::format("{}: {}", shortened(path), what);
  }
  std::string_view const rest = std::string_view(path).substr(dot + 1);
  std::string_view const where = said.substr(kAt.size());
  auto const differ = std::mismatch(where.begin(), where.end(), rest.begin(), rest.end()).first;
  auto const length = static_cast<std::size_t>(differ - where.begin());
  if (!where.substr(length).starts_with(kBehind)) {
    return fmt::format("{}: {}", shortened(path), what);
  }
  std::string_view const why = where.substr(length + kBehind.size());
  if (length == rest.size()) return fmt::format("{}: {}", shortened(path), why);
  std::string_view const upToThere = std::string_view(path).substr(0, dot + 1 + length);
  return fmt::format("{}: at '{}': {}", shortened(path), shortened(upToThere), why);
}

// Long names, keys and values as they stand in the text are cut there.
std::string withShort(std::string text, std::vector<std::string_view> const& typed) {
  for (std::string_view const one : typed) {
    if (one.size() <= kLongestShown) continue;
    std::string const cut = shortened(one);
    for (std::size_t at = text.find(one); at != std::string::npos;
         at = text.find(one, at + cut.size())) {
      text.replace(at, one.size(), cut);
    }
  }
  return text;
}

// What the path is made of: itself, and the names and keys in it.
std::vector<std::string_view> piecesOf(std::string_view path) {
  std::vector<std::string_view> pieces{path};
  if (std::size_t const dot = path.find('.'); dot != std::string_view::npos) {
    pieces.push_back(path.substr(dot + 1));
  }
  while (!path.empty()) {
    std::size_t const end = std::min(path.find_first_of(".[]"), path.size());
    pieces.push_back(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return pieces;
}

template <class Act>
auto namingThePath(std::string const& path, std::string_view value, Act const& act) {
  try {
    return act();
  } catch (Vek::Exception const& error) {
    if (path.empty()) throw Vek::Exception(std::string("the path is empty: ") + error.what());
    std::vector<std::string_view> typed = piecesOf(path);
    typed.push_back(value);
    throw Vek::Exception(withShort(placed(path, error.what()), typed));
  }
}

}  // namespace

std::string gotByName(Mapping::Tables const& tables, std::string const& path,
                      std::size_t mostCompared) {
  return namingThePath(path, {}, [&] {
    Place const place = placeOf(tables, path);
    return Vek::Walker(place.table, mostCompared).read(place.path).text().str() + "\n";
  });
}

NamedLines linesByName(Mapping::Tables const& tables, std::string const& path, std::size_t first,
                       std::size_t most, std::size_t mostCompared) {
  NamedLines named;
  if (path.empty()) {
    for (std::string_view const name : kTables) named.lines.push_back({std::string(name), {}, {}});
    named.all = named.lines.size();
    return named;
  }
  return namingThePath(path, {}, [&] {
    Place const place = placeOf(tables, path);
    Vek::Walker const walker(place.table, mostCompared);
    auto const lines = walker.list(place.path, most, first);
    LastStep const last = lastStepOf(place.path);
    named.areElements =
        !place.path.empty() && !last.namesElement && attributeAt(walker, last)->isCollection();
    named.all = named.areElements ? walker.count(place.path) : lines.size();
    if (lines.empty()) return named;
    bool const canChange = takesChanges(walker, named.areElements ? last.owner : place.path);
    for (Vek::Walker::Line const& line : lines) {
      bool const canBeSet = canChange && line.isWritable && !line.isCollection &&
                            isPlain(Vek::vekTypeNamed(line.type));
      named.lines.push_back({line.name, line.type, line.text, canBeSet});
    }
    return named;
  });
}

std::string listedByName(Mapping::Tables const& tables, std::string const& path) {
  NamedLines const named = linesByName(tables, path);
  if (named.lines.empty()) {
    if (named.areElements) return "no elements\n";
    return namingThePath(path, {}, [&] {
      Place const place = placeOf(tables, path);
      return fmt::format("nothing below this {} (--get prints it)\n",
                         Vek::Walker(place.table).read(place.path).objectType().name());
    });
  }
  std::string text;
  for (NamedLine const& line : named.lines) {
    text += path.empty() ? fmt::format("{}\n", line.name)
                         : fmt::format("{}: {} = {}{}\n", line.name, line.type, line.value,
                                       line.canBeSet ? "" : " (read only)");
  }
  return text;
}

void setByName(Mapping::Tables const& tables, std::pair<std::string, std::string> const& change,
               std::size_t mostCompared) {
  namingThePath(change.first, change.second, [&] {
    Place const place = placeOf(tables, change.first);
    Vek::Walker const walker(place.table, mostCompared);
    Vek::VekType const type = walker.read(place.path).type();
    if (!isPlain(type)) {
      throw Vek::Exception(fmt::format("only plain values can be set, and this is {}",
                                       type.module == nullptr ? "nothing" : type.name()));
    }
    walker.set(place.path, change.second);
  });
}

}  // namespace OrviaL3Agent
