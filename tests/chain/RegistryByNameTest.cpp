// The group table's registry that does not own, and its limits, as they are read and set by name;
// and next-hop fields all at once.
#include <unistd.h>

#include <cstdlib>
#include <type_traits>

#include "ChainTables.h"
#include "Vek/ReflectException.h"
#include "Vek/Walker.h"

namespace ChainTests {
namespace {

using Vek::Walker;

class ChainRegistryByNameTest : public ChainTest {
 protected:
  Journal journal;
  Vek::Ptr<TestHandle> const ready = programmedHandle(5);
  TableWorld<Groups> world{journal};
  L3EcmpGroupTable& table = *world.table;
};

TEST_F(ChainRegistryByNameTest, NoneTakesARegistrationOut) {
  auto const handle = table.entryHandleMutate(Groups::key(7));
  Walker const groups(world.table);
  ASSERT_TRUE(table.rawEntryHandleHas(Groups::key(7)));
  groups.set("rawEntryHandle[7]", "None");
  EXPECT_FALSE(table.rawEntryHandleHas(Groups::key(7)));
  table.rawEntryHandleIs(Groups::key(7), handle.get());  // a handle ends with its registration only
}

TEST_F(ChainRegistryByNameTest, AHandleOfAnotherTableIsRefused) {
  TableWorld<Groups> other(journal);
  auto const handle = other.table->entryHandleMutate(Groups::key(7));
  auto const mine = table.entryHandleMutate(Groups::key(7));
  EXPECT_THROW(
      Walker(world.table).set("rawEntryHandle[7]", Walker(other.table).read("entryHandle[7]")),
      Vek::ReflectionException);
  EXPECT_EQ(table.rawEntryHandle(Groups::key(7)), mine);
}

TEST_F(ChainRegistryByNameTest, AHandleWhoseEndHasBegunIsNotCounted) {
  auto handle = table.entryRef(Groups::key(7), Groups::entry(ready, 1));
  Walker const groups(world.table);
  EXPECT_EQ(groups.count("rawEntryHandle"), 1U);
  std::vector<std::size_t> counts;
  world.observe();
  world.watch->onAnnouncement = [&](std::string const& announced) {
    if (announced == "entry") counts.push_back(groups.count("rawEntryHandle"));
  };
  handle = nullptr;
  EXPECT_EQ(counts, std::vector<std::size_t>{0});
}

TEST_F(ChainRegistryByNameTest, LimitsWithoutAHardwareTableAreThoseOfNone) {
  world.table->hwTableIs(nullptr);
  EXPECT_EQ(Walker(world.table).read("minIndex").text(), "0");
  EXPECT_EQ(Walker(world.table).read("maxIndex").text(), "4294967295");
}

TEST(ChainNextHopFieldsTest, FieldsAreEqualWhenEachOfThemIs) {
  NextHopFields const none;
  EXPECT_EQ(none == NextHopFields{}, true);
  auto const differsIn = [&](auto NextHopFields::*field) {
    NextHopFields fields;
    fields.*field = std::remove_reference_t<decltype(fields.*field)>(1);
    EXPECT_FALSE(fields == none);
  };
  differsIn(&NextHopFields::destination);
  differsIn(&NextHopFields::dvp);
  differsIn(&NextHopFields::dvpL3Oif1);
  differsIn(&NextHopFields::dvpMtuProfilePtr);
  differsIn(&NextHopFields::forwardingType);
  differsIn(&NextHopFields::l2McL3McL2OifSysDstValid);
  differsIn(&NextHopFields::l3OifType);
  differsIn(&NextHopFields::strengthProfileIdx);
  differsIn(&NextHopFields::systemOpcode);
  differsIn(&NextHopFields::viewType);
}

// A table that publishes itself, in a process of its own since a process reads the switch once.
template <class A>
bool writesARecordThatHasNoHandle() {
  Journal journal;
  TableWorld<A> world(journal);
  world.table->entryIs(A::key(1), A::entry(programmedHandle(5), 1));
  bool const written = world.util->rows.size() == 1 && !world.table->rawEntryHandleHas(A::key(1));
  return written && world.table->entrys() == 1;
}

TEST(ChainPublishWithoutHandleTest, ARecordThatHasNoHandleIsWrittenAndPublishedForNobody) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(
      {
        setenv("PUBLISH_ENTRY_HANDLE_PROGRAMMED_STATE", "1", 1);
        _exit(writesARecordThatHasNoHandle<NextHops>() && writesARecordThatHasNoHandle<Groups>()
                  ? 42
                  : 1);
      },
      testing::ExitedWithCode(42), "");
  testing::GTEST_FLAG(death_test_style) = "fast";
}

}  // namespace
}  // namespace ChainTests
