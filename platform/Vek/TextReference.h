// References to objects in text: the text form of a raw object pointer, read back.
//
// A pointer's text form is the object's address, "0x55d0c8a3f2e0", and "0" for none. An address in
// a text says nothing about what is there: the object may be gone and the memory be another's. So
// an address becomes a reference only when somebody who knows live objects has one at that address;
// memory is never looked at. Who reads texts that name objects makes a finder for the time:
//
//   Vek::ObjectFinder const handles([&](std::uintptr_t address) -> Vek::PtrInterface const* {
//     return ...;  // the handle at that address among those of the table, or none
//   });
//   sequenceToValue(begin, end, &handle);  // a Vek::Ptr
//
// "None" is read as no object too, as that is how texts show what is not there.
//
// Nothing is kept for an object: without finders an object costs nothing, and no address is known.
// A finder holds nothing alive. One thread.
#pragma once

#include <cstdint>
#include <functional>

#include "Vek/Export.h"
#include "Vek/Ptr.h"
#include "Vek/PtrInterface.h"
#include "Vek/String.h"
#include "Vek/TextParser.h"
#include "Vek/VekType.h"

namespace Vek {

// Knows live objects by their address, from its construction to its end.
class VEK_EXPORT ObjectFinder {
 public:
  // The object at the address, or none; must not return one that is gone.
  using Find = std::function<PtrInterface const*(std::uintptr_t address)>;

  explicit ObjectFinder(Find find);
  ObjectFinder(ObjectFinder const&) = delete;
  ObjectFinder& operator=(ObjectFinder const&) = delete;
  ~ObjectFinder();

  // The object at the address that a finder knows, or none. An object whose end has begun counts as
  // none.
  static Ptr<PtrInterface const> object(std::uintptr_t address);

 private:
  Find const find_;
};

namespace detail {
// The object of that type that comes next in the text, or none when the text says so. Raises
// TextException when it names no known object of the type, RangeException for an address that is
// none.
VEK_EXPORT Ptr<PtrInterface const> objectFromText(String::IteratorConst& begin,
                                                  String::IteratorConst const& end, VekType type);
}  // namespace detail

// T is a class of counted objects with a framework type. `reference` changes only when one was
// read.
template <class T>
requires requires { T::classType(); }
void sequenceToValue(String::IteratorConst& begin, String::IteratorConst const& end,
                     Ptr<T const>* reference) {
  Ptr<PtrInterface const> const object = detail::objectFromText(begin, end, T::classType());
  *reference = static_cast<T const*>(object.get());
}

}  // namespace Vek
