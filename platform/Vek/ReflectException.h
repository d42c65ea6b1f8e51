// What goes wrong when something is read, set or called by name. what() names the type and the
// attribute or operation; what the walker raises also names the place in the path.
#pragma once

#include "Vek/Exception.h"
#include "Vek/VekType.h"

namespace Vek {

// No such attribute or operation, a value of the wrong type, an operation that an attribute does
// not offer.
class VEK_EXPORT ReflectionException : public Exception {
 public:
  explicit ReflectionException(std::string const& text) : Exception(text) {}
  ~ReflectionException() override;
};

// A change of an attribute that can only be read.
class VEK_EXPORT ReadOnlyException : public ReflectionException {
 public:
  explicit ReadOnlyException(std::string const& text) : ReflectionException(text) {}
  ~ReadOnlyException() override;
};

// A hash was asked of a value whose type is no key.
class VEK_EXPORT UnhashableTypeException : public Exception {
 public:
  explicit UnhashableTypeException(std::string const& text) : Exception(text) {}
  ~UnhashableTypeException() override;
};

[[noreturn]] VEK_EXPORT void throwUnhashableTypeException(VekType type);

}  // namespace Vek
