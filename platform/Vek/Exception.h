// The framework's exceptions. what() is the text that they were made with.
#pragma once

#include <stdexcept>
#include <string>

#include "Vek/Export.h"

namespace Vek {

class VEK_EXPORT Exception : public std::runtime_error {
 public:
  explicit Exception(std::string const& text) : std::runtime_error(text) {}
  ~Exception() override;
};

// A value outside the range of what it is meant for.
class VEK_EXPORT RangeException : public Exception {
 public:
  explicit RangeException(std::string const& text) : Exception(text) {}
  ~RangeException() override;
};

// A collection member was to be created again under its key with other constructor arguments.
class VEK_EXPORT ReinstantiationException : public Exception {
 public:
  explicit ReinstantiationException(std::string const& text) : Exception(text) {}
  ~ReinstantiationException() override;
};

// An entity was to be made by name with constructor arguments that its type does not take.
class VEK_EXPORT NewEntityArgsException : public Exception {
 public:
  explicit NewEntityArgsException(std::string const& text) : Exception(text) {}
  ~NewEntityArgsException() override;
};

}  // namespace Vek
