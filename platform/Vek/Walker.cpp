#include "Vek/Walker.h"

#include <charconv>
#include <map>
#include <optional>

#include "Vek/TextReference.h"

namespace Vek {
namespace {

// One step of a path: a name, and which element of the collection if it says so.
struct Step {
  std::string_view name;
  std::optional<std::string_view> element;
  std::string_view upToHere;  // the path with this step, for errors
};

// The type and the name of one of its attributes, as errors say them.
std::string named(Value const& owner, VekAttribute const& row) {
  return std::string(owner.objectType().name()) + "." + row.name;
}

[[noreturn]] void refuseAt(std::string_view place, std::string const& why) {
  throw ReflectionException("at '" + std::string(place) + "': " + why);
}

// What happens at a step, with the place put in front of what reflection has to say. Exceptions of
// setters, parsers and operations pass as they are.
template <class Act>
auto at(std::string_view place, Act const& act) {
  std::string const start = "at '" + std::string(place) + "': ";
  try {
    return act();
  } catch (ReadOnlyException const& refused) {
    throw ReadOnlyException(start + refused.what());
  } catch (ReflectionException const& failed) {
    throw ReflectionException(start + failed.what());
  }
}

// Where the bracket that opens at `open` is closed.
std::size_t closing(std::string_view path, std::size_t open) {
  std::size_t depth = 0;
  for (std::size_t i = open; i < path.size(); ++i) {
    if (path[i] == '[') ++depth;
    if (path[i] == ']' && --depth == 0) return i;
  }
  refuseAt(path, "a bracket is not closed");
}

std::vector<Step> stepsOf(std::string_view path) {
  std::vector<Step> steps;
  std::size_t position = 0;
  while (position < path.size() || !steps.empty()) {
    if (steps.size() == Walker::maximumSteps) refuseAt(path, "the path has too many steps");
    Step step;
    std::size_t const end = std::min(path.find_first_of(".[", position), path.size());
    step.name = path.substr(position, end - position);
    position = end;
    if (step.name.empty()) refuseAt(path.substr(0, position), "a name is missing");
    if (position < path.size() && path[position] == '[') {
      std::size_t const close = closing(path, position);
      step.element = path.substr(position + 1, close - position - 1);
      position = close + 1;
    }
    step.upToHere = path.substr(0, position);
    steps.push_back(step);
    if (position == path.size()) break;
    if (path[position] != '.') refuseAt(step.upToHere, "expected a dot or the end behind it");
    ++position;
  }
  return steps;
}

// The position in `#3`, counted from 1; none when the text is no such thing.
std::optional<std::size_t> ordinalOf(std::string_view element) {
  if (element.size() < 2 || element.front() != '#') return {};
  std::size_t ordinal = 0;
  auto const [end, error] =
      std::from_chars(element.data() + 1, element.data() + element.size(), ordinal);
  if (error != std::errc() || end != element.data() + element.size() || ordinal == 0) return {};
  return ordinal;
}

// The key that the text says in its type's own form; nothing when it says none.
Value parsedKey(VekType type, std::string_view text) {
  VekValueOps const* const ops = type.valueOps();
  if (ops == nullptr || !ops->parses()) return {};
  try {
    return Value::parsed(type, text);
  } catch (Exception const&) {
    return {};  // may be what a key prints
  }
}

// Refuses to compare that many keys.
void requireFew(Value& object, VekAttribute const& row, std::string_view element,
                std::size_t mostCompared) {
  if (mostCompared == AttributeIterator::all) return;
  Value const count = attributeOperation(object, row.id, AttributeOperation::count);
  if (*count.as<std::uint32_t>() <= mostCompared) return;
  throw ReflectionException(named(object, row) + " has " + std::string(count.text().str()) +
                            " elements, and none has '" + std::string(element) +
                            "' as its key as it is read: name one by its position, [#1]");
}

// The key of the element that a step names. Its element was there a moment ago.
Value keyOf(Value& object, VekAttribute const& row, std::string_view element,
            std::size_t mostCompared) {
  if (std::optional<std::size_t> const ordinal = ordinalOf(element)) {
    AttributeIterator const i(object, row, *ordinal - 1, 1);
    if (i) return i.key();
    throw ReflectionException(named(object, row) + " has fewer elements than " +
                              std::to_string(*ordinal));
  }
  Value const key = parsedKey(row.keyType, element);
  if (!key.isNone() &&
      !attributeOperation(object, row.id, AttributeOperation::elementRead, {}, key).isNone()) {
    return key;
  }
  requireFew(object, row, element, mostCompared);
  Value found;
  for (AttributeIterator i(object, row); i; ++i) {
    if (i.key().text().str() != element) continue;
    if (!found.isNone()) {
      throw ReflectionException("several keys of " + named(object, row) + " print '" +
                                std::string(element) + "': name an element by its position, [#1]");
    }
    found = i.key();
  }
  if (!found.isNone()) return found;
  // A key that is not there yet can be set, if it can be read.
  if (!key.isNone()) return key;
  throw ReflectionException(named(object, row) + " has no element '" + std::string(element) + "'");
}

// An attribute, or an element of it, of something that is held here.
struct Place {
  Value owner;
  VekAttribute const* row = nullptr;
  Value key;  // nothing for what is no collection, or for the collection as a whole
  std::string_view path;

  [[nodiscard]] bool isWholeCollection() const { return row->isCollection() && key.isNone(); }

  Value read() {
    return at(path, [this] {
      return row->isCollection() && !key.isNone()
                 ? attributeOperation(owner, row->id, AttributeOperation::elementRead, {}, key)
                 : attributeOperation(owner, row->id, AttributeOperation::read);
    });
  }
  void write(Value const& value) {
    at(path, [&] {
      if (isWholeCollection()) {
        throw ReadOnlyException(named(owner, *row) + " is a collection: name an element");
      }
      attributeOperation(
          owner, row->id,
          key.isNone() ? AttributeOperation::write : AttributeOperation::elementWrite, value, key);
    });
  }
};

Place placeOf(Value const& owner, Step const& step, std::size_t mostCompared) {
  return at(step.upToHere, [&] {
    Place place{owner, nullptr, {}, step.upToHere};
    place.row = &attributeNamed(place.owner, step.name);
    if (!step.element) return place;
    if (!place.row->isCollection()) {
      throw ReflectionException(named(place.owner, *place.row) + " is no collection");
    }
    place.key = keyOf(place.owner, *place.row, *step.element, mostCompared);
    return place;
  });
}

// Whether there is something whose attributes can be named.
bool isEmpty(Value const& value) { return value.isNone() || (value.isObject() && !value.object()); }

// The places from the root to the last step, each owned by what the one before it gave.
std::vector<Place> placesOf(Value const& root, std::vector<Step> const& steps,
                            std::size_t mostCompared) {
  std::vector<Place> places;
  Value here = root;
  for (Step const& step : steps) {
    if (!places.empty()) {
      here = places.back().read();
      if (isEmpty(here)) refuseAt(places.back().path, "there is nothing here");
    }
    places.push_back(placeOf(here, step, mostCompared));
  }
  return places;
}

// What stands at the path, to be looked into.
Value standingAt(Value const& root, std::vector<Step> const& steps, std::size_t mostCompared) {
  if (steps.empty()) return root;
  std::vector<Place> places = placesOf(root, steps, mostCompared);
  Value found = places.back().read();
  if (isEmpty(found)) refuseAt(places.back().path, "there is nothing here");
  return found;
}

// A changed value goes back to where it was read, outwards up to the nearest object. Only there
// does anything change but copies, so a place on the way that refuses leaves all as it was.
void writeOutwards(std::vector<Place>& places) {
  for (std::size_t i = places.size() - 1; i > 0 && !places[i].owner.isObject(); --i) {
    places[i - 1].write(places[i].owner);
  }
}

Value valueFromText(VekType type, std::string_view text) {
  if (type.valueOps() != nullptr) return Value::parsed(type, text);
  String const whole(text);
  String::IteratorConst begin = whole.begin();
  Ptr<PtrInterface const> const object = detail::objectFromText(begin, whole.end(), type);
  expectEndOfText(whole, begin);
  return Value::object(type, object.get());
}

// What the text says for the place. A text that is no value of its type, or too large a number, is
// refused like any value of another type: by type and attribute, with what the parser says.
Value valueFor(Place const& place, std::string_view text) {
  return at(place.path, [&] {
    try {
      return valueFromText(place.row->writtenType(), text);
    } catch (Exception const& failed) {
      throw ReflectionException(named(place.owner, *place.row) + ": " + failed.what());
    }
  });
}

std::string shown(Place& place) {
  try {
    if (place.isWholeCollection()) {
      Value const count = attributeOperation(place.owner, place.row->id, AttributeOperation::count);
      return count.text().str() + (count == Value::of(std::uint32_t{1}) ? " element" : " elements");
    }
    return place.read().text();
  } catch (Exception const& failed) {
    return std::string("(") + failed.what() + ")";
  }
}

// The elements by their keys. Keys that print alike are named by position, as a path has to.
std::vector<Walker::Line> elementsOf(Place& place, std::size_t maximum, std::size_t first) {
  std::vector<Walker::Line> lines;
  std::map<std::string, std::size_t> seen;
  for (AttributeIterator i(place.owner, *place.row, first, maximum); i; ++i) {
    lines.push_back({i.key().text(), place.row->type.name(), i.object().text(), false,
                     place.row->isWritable()});
    ++seen[lines.back().name];
  }
  std::size_t position = first;
  for (Walker::Line& line : lines) {
    ++position;
    line.name = "[" + (seen[line.name] == 1 ? line.name : "#" + std::to_string(position)) + "]";
  }
  return lines;
}

Value rootOf(Ptr<PtrInterface const> const& root) {
  return Value::object(root ? root->fwkType() : PtrInterface::classType(), root.get());
}

}  // namespace

Walker::Walker(Ptr<PtrInterface const> const& root, std::size_t mostCompared)
    : root_(root), mostCompared_(mostCompared) {
  if (!root_) throw ReflectionException("there is no object to walk from");
}

Value Walker::read(std::string_view path) const {
  std::vector<Step> const steps = stepsOf(path);
  if (steps.empty()) return rootOf(root_);
  std::vector<Place> places = placesOf(rootOf(root_), steps, mostCompared_);
  Value found = places.back().read();
  if (found.isNone()) refuseAt(places.back().path, "there is nothing here");
  return found;
}

std::vector<OwnedAttribute> Walker::attributes(std::string_view path) const {
  return attributesOf(standingAt(rootOf(root_), stepsOf(path), mostCompared_).objectType());
}

std::vector<OwnedOperation> Walker::operations(std::string_view path) const {
  return operationsOf(standingAt(rootOf(root_), stepsOf(path), mostCompared_).objectType());
}

void Walker::set(std::string_view path, Value const& value) const {
  std::vector<Step> const steps = stepsOf(path);
  if (steps.empty()) refuseAt(path, "name an attribute to set");
  std::vector<Place> places = placesOf(rootOf(root_), steps, mostCompared_);
  places.back().write(value);
  writeOutwards(places);
}

void Walker::set(std::string_view path, std::string_view text) const {
  std::vector<Step> const steps = stepsOf(path);
  if (steps.empty()) refuseAt(path, "name an attribute to set");
  std::vector<Place> places = placesOf(rootOf(root_), steps, mostCompared_);
  Place& last = places.back();
  // A text for what cannot be set is not even read.
  bool const settable = last.row->isWritable() && !last.isWholeCollection();
  last.write(settable ? valueFor(last, text) : Value());
  writeOutwards(places);
}

std::vector<Walker::Line> Walker::list(std::string_view path, std::size_t maximum,
                                       std::size_t first) const {
  std::vector<Step> const steps = stepsOf(path);
  std::vector<Line> lines;
  Value here = rootOf(root_);
  if (!steps.empty()) {
    std::vector<Place> places = placesOf(here, steps, mostCompared_);
    Place& last = places.back();
    if (last.isWholeCollection()) return elementsOf(last, maximum, first);
    here = last.read();
    if (isEmpty(here)) refuseAt(last.path, "there is nothing here");
  }
  for (OwnedAttribute const& owned : attributesOf(here.objectType())) {
    VekAttribute const& row = *owned.attribute;
    Place place{here, &row, {}, row.name};
    lines.push_back(
        {row.name, row.type.name(), shown(place), row.isCollection(), row.isWritable()});
  }
  return lines;
}

void Walker::walk(std::string_view path, Visit const& visit) const {
  std::vector<Step> const steps = stepsOf(path);
  if (steps.empty()) refuseAt(path, "name a collection");
  std::vector<Place> places = placesOf(rootOf(root_), steps, mostCompared_);
  Place& last = places.back();
  if (!last.isWholeCollection()) {
    refuseAt(last.path, named(last.owner, *last.row) + ": there is no collection here");
  }
  for (AttributeIterator i(last.owner, *last.row); i; ++i) {
    Value const element = i.object();
    if (!element.isNone() && !visit(i.key(), element)) return;
  }
}

std::size_t Walker::count(std::string_view path) const {
  std::vector<Step> const steps = stepsOf(path);
  if (steps.empty()) refuseAt(path, "name a collection");
  std::vector<Place> places = placesOf(rootOf(root_), steps, mostCompared_);
  Place& last = places.back();
  return at(last.path, [&] {
    Value const count = attributeOperation(last.owner, last.row->id, AttributeOperation::count);
    return std::size_t{*count.as<std::uint32_t>()};
  });
}

void Walker::del(std::string_view path) const {
  std::vector<Step> const steps = stepsOf(path);
  if (steps.empty()) refuseAt(path, "name an element");
  std::vector<Place> places = placesOf(rootOf(root_), steps, mostCompared_);
  Place& last = places.back();
  if (last.key.isNone()) refuseAt(last.path, named(last.owner, *last.row) + ": name an element");
  at(last.path, [&] {
    attributeOperation(last.owner, last.row->id, AttributeOperation::elementDelete, {}, last.key);
  });
  writeOutwards(places);
}

Value Walker::call(std::string_view path, bool mayEnd) const {
  std::vector<Step> steps = stepsOf(path);
  if (steps.empty()) refuseAt(path, "name an operation");
  Step const last = steps.back();
  if (last.element) refuseAt(path, "an operation has no elements");
  steps.pop_back();
  Value object = standingAt(rootOf(root_), steps, mostCompared_);
  VekOperation const& row =
      at(path, [&]() -> VekOperation const& { return operationNamed(object, last.name); });
  if (row.endsObject && !mayEnd) {
    refuseAt(path, std::string(object.objectType().name()) + "." + row.name +
                       " ends its object and is not offered here");
  }
  return at(path, [&] { return callOperation(object, last.name); });
}

}  // namespace Vek
