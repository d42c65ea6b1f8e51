// Who asks for plug-ins: a name, and which file of the directory is wanted.
//
// Each loader class of Loader/Singleton.h has one, made when it is first used. One thread.
#pragma once

#include "Vek/String.h"

namespace Plugin {

class Loader {
 public:
  explicit Loader(Vek::String const& name) : name_(name) {}
  Loader(Loader const&) = delete;
  Loader& operator=(Loader const&) = delete;

  [[nodiscard]] Vek::String const& name() const { return name_; }
  // The one file to load next; empty for all of the directory.
  [[nodiscard]] Vek::String const& file() const { return file_; }
  void fileIs(Vek::String const& file) { file_ = file; }

 private:
  Vek::String const name_;
  Vek::String file_;
};

}  // namespace Plugin
