// A hardware file of one test's own, in a directory of its own, and the rows that tests write to
// it.
//
// Ownership: removes the directory at its end.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "plugins/soft-asic/DeviceFile.h"

namespace SoftAsicTests {

class HardwareFile {
 public:
  HardwareFile() {
    std::string name = std::filesystem::temp_directory_path() / "soft-asic-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) ADD_FAILURE() << "no directory for the test";
    directory_ = name;
  }
  ~HardwareFile() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  HardwareFile(HardwareFile const&) = delete;
  HardwareFile& operator=(HardwareFile const&) = delete;

  // There is no such file at first.
  [[nodiscard]] std::string path() const { return directory_ / "asic"; }
  [[nodiscard]] std::string directory() const { return directory_; }
  [[nodiscard]] bool exists() const { return std::filesystem::exists(path()); }
  void bytesAre(std::string const& bytes) const {
    std::ofstream(path(), std::ios::binary) << bytes;
  }
  [[nodiscard]] std::string bytes() const {
    std::ifstream file(path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  // The names in the directory.
  [[nodiscard]] std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (auto const& file : std::filesystem::directory_iterator(directory_)) {
      names.push_back(file.path().filename());
    }
    return names;
  }

 private:
  std::filesystem::path directory_;
};

// Contents of which every part follows from one number, so that parts of two are told apart.
template <class Contents>
Contents wholly(std::uint16_t number);
template <>
inline SoftAsic::NextHopContents wholly(std::uint16_t number) {
  SoftAsic::NextHopContents contents;
  contents.fields = {number,          number,         number & 0x3FFFU,
                     number & 0x3FFU, number & 0xFU,  (number >> 4U) & 0xFU,
                     number & 1U,     number & 0x1FU, (number >> 8U) & 0xFU,
                     number & 3U};
  contents.l3Oif1 = number;
  contents.mtuProfilePtr = number;
  return contents;
}
template <>
inline SoftAsic::MemberContents wholly(std::uint16_t number) {
  return {number * 0x00010001U};
}
template <>
inline SoftAsic::GroupContents wholly(std::uint16_t number) {
  return {number * 0x00010001U, number, number};
}

inline std::uint16_t numberOf(SoftAsic::NextHopContents const& contents) {
  return contents.fields.destination;
}
inline std::uint16_t numberOf(SoftAsic::MemberContents const& contents) {
  return static_cast<std::uint16_t>(contents.nextHopEntry.value());
}
inline std::uint16_t numberOf(SoftAsic::GroupContents const& contents) { return contents.numPaths; }

}  // namespace SoftAsicTests
