// A file of one test's own, which goes with it.
//
// Ownership: removes the file at its end.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace SoftAsicTests {

class TemporaryFile {
 public:
  explicit TemporaryFile(std::string const& text = {}) { textIs(text); }
  ~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  TemporaryFile(TemporaryFile const&) = delete;
  TemporaryFile& operator=(TemporaryFile const&) = delete;

  [[nodiscard]] std::filesystem::path const& path() const { return path_; }
  void textIs(std::string const& text) const { std::ofstream(path_, std::ios::binary) << text; }
  [[nodiscard]] std::string text() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

 private:
  // Tests run side by side, and several files may be there at once.
  static std::string name() {
    static int made = 0;
    return "soft-asic-" + std::to_string(getpid()) + "-" + std::to_string(++made);
  }

  std::filesystem::path path_ = std::filesystem::temp_directory_path() / name();
};

// The text of what the call throws, or "" when it throws nothing of that kind.
template <class Exception, class Function>
std::string thrown(Function const& function) {
  try {
    function();
  } catch (Exception const& exception) {
    return exception.what();
  }
  return "";
}

}  // namespace SoftAsicTests
