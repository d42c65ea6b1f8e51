// Reads, sets and calls by paths of names, from one object on.
//
//   Vek::Walker walker(table.get());
//   walker.read("entry[{'value': 7}].numPaths").text();
//   walker.set("entry[#1].numPaths", "4");
//   walker.list("entryHandle[#1]");
//   walker.walk("entry", [](Vek::Value const& key, Vek::Value const& element) { return true; });
//
// A path is names with dots between them. Behind the name of a collection stands which element:
// `[#3]` is the third in the order of the collection, anything else is a key. A key is read with
// its type's text form; where that is not possible, or gives no element, it is compared with the
// texts that the keys print. Brackets inside a key come in pairs. An empty path is the object
// itself.
//
// A path goes through references to objects and through values. Setting an attribute of a value
// that itself is an attribute writes the changed value back, outwards up to the nearest object:
// what cannot be written on the way refuses.
//
// Every error is a ReflectionException (ReadOnlyException for refused changes) that names the place
// in the path, and type and attribute as soon as they are known; so is a text that is no value of
// the attribute's type. What setters and operations raise passes as it is: a position outside of a
// block, say, is the block's own RangeException.
//
// The walker holds its object, and every object on a path while it works. One thread.
#pragma once

#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "Vek/Reflect.h"

namespace Vek {

class VEK_EXPORT Walker {
 public:
  // More steps than this are refused.
  static constexpr std::size_t maximumSteps = 32;

  // In a collection of more than `mostCompared` elements no key is compared with what others print:
  // a path names an element by a key that can be read, or by its position.
  explicit Walker(Ptr<PtrInterface const> const& root, std::size_t mostCompared = kAll);

  // What stands at the path: an attribute, an element, or the object itself. A collection as a
  // whole is refused: see walk and count.
  [[nodiscard]] Value read(std::string_view path) const;
  // The attributes of what stands at the path, which is an object, or a value that has some.
  [[nodiscard]] std::vector<OwnedAttribute> attributes(std::string_view path) const;
  [[nodiscard]] std::vector<OwnedOperation> operations(std::string_view path) const;

  // Sets the attribute or element. An element that its object makes itself is set to what it is
  // made from (VekAttribute::madeFrom).
  void set(std::string_view path, Value const& value) const;
  // The same from text: "None" empties a reference to an object, anything else is read as the
  // attribute's type. Raises ReflectionException for a text that is no such value, and, before it
  // tries, for types that have no text.
  void set(std::string_view path, std::string_view text) const;

  // One line of a listing.
  struct Line {
    std::string name;  // an attribute, or an element's key in brackets, as in a path
    std::string type;  // of the value or of the elements
    std::string text;  // the value, the number of a collection's elements, or why there is none
    bool isCollection = false;
    bool isWritable = false;
  };
  // The attributes of what stands at the path; the elements, when the path names a collection.
  // At most `maximum` elements, behind the first `first`.
  [[nodiscard]] std::vector<Line> list(std::string_view path, std::size_t maximum = 1000,
                                       std::size_t first = 0) const;

  // Visits the elements of the collection that the path names, until `visit` returns false.
  using Visit = std::function<bool(Value const& key, Value const& element)>;
  void walk(std::string_view path, Visit const& visit) const;
  [[nodiscard]] std::size_t count(std::string_view path) const;
  // Deletes the element that the path names.
  void del(std::string_view path) const;
  // Calls an operation without arguments; the path ends with its name. `mayEnd` lets operations
  // through that end their object; without it they are refused.
  Value call(std::string_view path, bool mayEnd = false) const;  // NOLINT(modernize-use-nodiscard)

 private:
  static constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();

  Ptr<PtrInterface const> root_;
  std::size_t mostCompared_;
};

}  // namespace Vek
