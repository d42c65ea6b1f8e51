// The restart toggle is read once for a process, whichever table asks first.
#include <gtest/gtest.h>

#include <stdexcept>

#include "OrviaL3Unicast/engine/RestartToggle.h"
#include "RestartTables.h"

namespace RestartTests {
namespace {

using OrviaL3Unicast::toggleClearHwTableOnRestartEnabled;

template <class A>
Lines syncOf() {
  RestartWorld<A> w;
  w.table->syncEntries();
  return w.journal.take();
}

TEST(RestartToggleTest, AsksForItsNameInItsFileWithTheDefaultTrue) {
  inChild([] {
    std::string asked;
    OrviaAsicUtils::toggleReaderIs([&](char const* name, char const* file, bool otherwise) {
      asked += std::string(name) + " in " + file + (otherwise ? " else true" : " else false");
      return otherwise;
    });
    EXPECT_TRUE(toggleClearHwTableOnRestartEnabled());
    EXPECT_EQ(asked, "ClearHwTableOnRestart in OrviaAsicUtils.json else true");
  });
}

TEST(RestartToggleTest, IsReadOnceForAllTables) {
  inChild([] {
    int reads = 0;
    // Would say something else each time.
    OrviaAsicUtils::toggleReaderIs(
        [&](char const*, char const*, bool) { return ++reads % 2 == 0; });
    for (int round = 0; round < 3; ++round) {
      EXPECT_EQ(syncOf<EcmpNextHops>(), Lines{});
      EXPECT_EQ(syncOf<Members>(), Lines{});
      EXPECT_EQ(syncOf<Groups>(), Lines{});
      EXPECT_FALSE(toggleClearHwTableOnRestartEnabled());
    }
    EXPECT_EQ(reads, 1);
  });
}

TEST(RestartToggleTest, AFileThatChangesLaterChangesNothing) {
  ToggleFolder const folder;
  for (bool const on : {false, true}) {
    Lines const expected = on ? Lines{"delete all"} : Lines{};
    folder.fileIs(on ? R"({"ClearHwTableOnRestart": true})"
                     : R"({"ClearHwTableOnRestart": false})");
    inChild([&] {
      EXPECT_EQ(syncOf<Groups>(), expected);
      folder.fileIs(on ? R"({"ClearHwTableOnRestart": false})"
                       : R"({"ClearHwTableOnRestart": true})");
      EXPECT_EQ(syncOf<Groups>(), expected);
      EXPECT_EQ(syncOf<Members>(), expected);
      EXPECT_EQ(syncOf<EcmpNextHops>(), expected);
    });
  }
}

TEST(RestartToggleTest, AMalformedFileWarnsOnceAndClears) {
  ToggleFolder const folder;
  folder.fileIs("{\n  \"ClearHwTableOnRestart\": 0\n}\n");
  inChild(
      [] {
        EXPECT_EQ(syncOf<Groups>(), (Lines{"delete all"}));
        EXPECT_EQ(syncOf<Members>(), (Lines{"delete all"}));
      },
      "^toggle file " + TableTests::regexOf(folder.path()) +
          ":2:28: expected true or false for \"ClearHwTableOnRestart\"; toggle "
          "\"ClearHwTableOnRestart\" has its default, true\n$");
}

TEST(RestartToggleTest, AReadingThatThrowsIsTriedAgainByTheNextOneWhoAsks) {
  inChild([] {
    int reads = 0;
    OrviaAsicUtils::toggleReaderIs([&](char const*, char const*, bool) -> bool {
      if (++reads < 3) throw std::runtime_error("not now");
      return false;
    });
    RestartWorld<Groups> w;
    EXPECT_THROW(w.table->syncEntries(), std::runtime_error);
    EXPECT_THROW((void)toggleClearHwTableOnRestartEnabled(), std::runtime_error);
    EXPECT_EQ(w.table->references(), 1U);
    w.table->syncEntries();
    EXPECT_EQ(w.journal.take(), Lines{});
    EXPECT_EQ(syncOf<Members>(), Lines{});
    EXPECT_EQ(reads, 3);
  });
}

}  // namespace
}  // namespace RestartTests
