// Plug-in roots in a temporary directory, and loader classes for one test each.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Loader/Singleton.h"
#include "Plugin/Root.h"
#include "Vek/PlatformModules.h"

namespace LoaderTests {

using Lines = std::vector<std::string>;

inline std::filesystem::path testFile(std::string const& name) {
  return std::filesystem::path(LOADER_TEST_DIR) / name;
}

inline Lines linesOf(std::filesystem::path const& file) {
  std::ifstream in(file);
  Lines lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// A directory of its own for plug-ins, gone with this object (what was loaded stays mapped), and
// the journal that they write.
class PluginTree {
 public:
  PluginTree() {
    std::string name = (std::filesystem::temp_directory_path() / "orvia-plugins-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
    root_ = std::filesystem::canonical(name);
    setenv("LOADER_TEST_JOURNAL", journal().c_str(), 1);
  }
  ~PluginTree() {
    unsetenv("LOADER_TEST_JOURNAL");
    std::filesystem::remove_all(root_);
  }
  PluginTree(PluginTree const&) = delete;
  PluginTree& operator=(PluginTree const&) = delete;

  [[nodiscard]] std::string root() const { return root_.string(); }
  [[nodiscard]] std::string directory(std::string const& path) const {
    return (root_ / path).string();
  }
  // Puts the plug-in whose file name says what it does there (plugins/actor.cpp); its file.
  std::string add(std::string const& path, std::string const& name,
                  std::string const& module = "actor.so") const {
    std::filesystem::create_directories(root_ / path);
    std::filesystem::copy_file(testFile(module), root_ / path / name);
    return directory(path + "/" + name);
  }
  // A file with that text.
  std::string write(std::string const& path, std::string const& name,
                    std::string const& text) const {
    std::filesystem::create_directories(root_ / path);
    std::ofstream(root_ / path / name) << text;
    return directory(path + "/" + name);
  }
  [[nodiscard]] std::string journal() const { return directory("journal"); }
  [[nodiscard]] Lines told() const { return linesOf(journal()); }

 private:
  std::filesystem::path root_;
};

// A tree that is the plug-in root while it lives.
class RootTree : public PluginTree {
 public:
  RootTree() { Plugin::pluginRootIs(root()); }
  ~RootTree() { Plugin::pluginRootIs(""); }
};

// A loader class: About says its qualified name and its subdir(), and about its making.
template <class L>
inline constexpr Vek::VekTypeInfo testTypes[] = {
    {5,
     L::className,
     {&Loader::loaderModule, Loader::LoaderNumbers::singleton},
     nullptr,
     &L::newEntityForDir}};
template <class L>
inline constinit Vek::VekModule const testModule{"LoaderTests", testTypes<L>};

template <class About>
class TestLoader final : public Loader::Singleton {
 public:
  static constexpr char const* className = About::name;

  explicit TestLoader(Vek::String const& name) : Singleton(name) {}
  [[nodiscard]] Vek::String pathPref() const override { return "OrviaFeature"; }
  [[nodiscard]] Vek::String subdir() const override { return About::subdir(); }
  [[nodiscard]] Vek::VekType fwkType() const override { return classType(); }
  static Vek::VekType classType() { return {&testModule<TestLoader>, 5}; }
  static Vek::Ptr<Vek::Entity> newEntityForDir(Vek::String const& name, void*) {
    if constexpr (requires { About::making(); }) About::making();
    return new TestLoader(name);
  }
};

}  // namespace LoaderTests
