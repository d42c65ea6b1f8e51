#include "Vek/TextReference.h"

#include <string>
#include <utility>
#include <vector>

namespace Vek {
namespace {

// In the order in which they came.
std::vector<ObjectFinder const*>& finders() {
  static auto* finders = new std::vector<ObjectFinder const*>;  // lives until exit
  return *finders;
}

}  // namespace

ObjectFinder::ObjectFinder(Find find) : find_(std::move(find)) { finders().push_back(this); }

ObjectFinder::~ObjectFinder() { std::erase(finders(), this); }

Ptr<PtrInterface const> ObjectFinder::object(std::uintptr_t address) {
  // By position, as finders may come and go while one looks.
  std::size_t next = 0;
  while (next < finders().size()) {
    PtrInterface const* const found = finders()[next++]->find_(address);
    if (found != nullptr && !found->isEnding()) return found;
  }
  return nullptr;
}

namespace detail {

Ptr<PtrInterface const> objectFromText(String::IteratorConst& begin,
                                       String::IteratorConst const& end, VekType type) {
  TextParser parser(begin, end);
  if (parser.takeWord("None") || parser.takeWord("0")) return nullptr;
  parser.skipBlanks();
  std::size_t const position = parser.position();
  String::IteratorConst const start = begin;
  std::uint64_t const address = parser.address();
  std::string const text(start, begin);
  Ptr<PtrInterface const> object = ObjectFinder::object(address);
  if (!object) {
    begin = start;
    throw TextException("no known object has address " + text, position);
  }
  if (!object->fwkType().isA(type)) {
    begin = start;
    throw TextException("the object with address " + text + " is a " + object->fwkType().name() +
                            " and no " + type.name(),
                        position);
  }
  return object;
}

}  // namespace detail
}  // namespace Vek
