#include "Vek/Exception.h"

namespace Vek {

// Defined here so that each exception type has one home and is caught across shared objects.
Exception::~Exception() = default;
RangeException::~RangeException() = default;
ReinstantiationException::~ReinstantiationException() = default;

NewEntityArgsException::~NewEntityArgsException() = default;

}  // namespace Vek
