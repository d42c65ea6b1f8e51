// A fixture whose tests must leave no object behind: the live objects of every tracked type are
// counted before and after each test.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>

#include "Vek/Memory.h"

namespace TableTests {

// Live objects by type name; types without any are left out.
inline std::map<std::string, std::uint64_t> liveObjects() {
  std::map<std::string, std::uint64_t> result;
  for (auto const& type : Vek::vekTypeAllocations()) {
    if (type.liveObjects != 0) result.emplace(type.typeName, type.liveObjects);
  }
  return result;
}

class LiveObjectsTest : public testing::Test {
 protected:
  void SetUp() override { baseline_ = liveObjects(); }
  void TearDown() override { EXPECT_EQ(liveObjects(), baseline_) << "objects were left behind"; }

 private:
  std::map<std::string, std::uint64_t> baseline_;
};

}  // namespace TableTests
