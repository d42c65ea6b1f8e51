#include "Vek/ReflectException.h"

namespace Vek {

// Defined here so that each exception type has one home and is caught across shared objects.
ReflectionException::~ReflectionException() = default;
ReadOnlyException::~ReadOnlyException() = default;
UnhashableTypeException::~UnhashableTypeException() = default;

void throwUnhashableTypeException(VekType type) {
  throw UnhashableTypeException(std::string("values of type ") + type.name() +
                                " have no hash: they are no keys");
}

}  // namespace Vek
