// A fixture whose tests must leave no object behind, those of the fixtures that derive from it
// included: it counts before they begin and after they are gone.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>

#include "LiveObjects.h"

namespace RestartTests {

class NothingLeftTest : public testing::Test {
 protected:
  NothingLeftTest() = default;
  ~NothingLeftTest() override {
    EXPECT_EQ(TableTests::liveObjects(), baseline_) << "objects were left behind";
  }

 private:
  std::map<std::string, std::uint64_t> const baseline_ = TableTests::liveObjects();
};

}  // namespace RestartTests
