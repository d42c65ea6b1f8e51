// What a two-sided statement leaves in the ring buffer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstring>
#include <latch>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Fendrel/Layout.h"
#include "OrviaL3Unicast/plumbing/Trace.h"
#include "TraceSupport.h"

namespace OrviaL3Unicast::plumbing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using TraceTests::DefaultHandle;
using TraceTests::Lines;
using TraceTests::messagesOf;
using TraceTests::readImage;
using TraceTests::smallConfig;
using TraceTests::TestTable;
using TraceTests::TextCapture;

constexpr auto level3 = Vek::TraceFacility::level3;
constexpr auto level8 = Vek::TraceFacility::level8;

TEST(TracedRecordTest, DescribesAStatementOncePerFile) {
  DefaultHandle const ring;
  std::uint64_t used = 0;
  for (unsigned i = 0; i < 3; ++i) {
    trace<TestTable, "once", ": described: ">(i);
    if (i == 0) {
      used = ring.file().descriptionUsed();
      EXPECT_GT(used, 0U);
    }
    EXPECT_EQ(ring.file().descriptionUsed(), used);
  }
  EXPECT_THAT(messagesOf(ring.file()),
              ElementsAre("once: described: 0", "once: described: 1", "once: described: 2"));
}

TEST(TracedRecordTest, DescribesAStatementAgainWhenTheFileChanges) {
  DefaultHandle const ring;
  auto const statement = [](unsigned value) { trace<TestTable, "again", ": value ">(value); };
  statement(1);
  int const& msgId =
      detail::StatementOf<TestTable, level3, "again", ": value ", "", unsigned>::msgId;
  int const before = msgId;

  ring->traceFileIs(Fendrel::TraceFile::inMemory(smallConfig()));
  EXPECT_FALSE(ring.file().knows(before));
  statement(2);
  EXPECT_TRUE(ring.file().knows(msgId));
  EXPECT_EQ(msgId, before);  // the number is the statement's, whatever the file
  EXPECT_THAT(messagesOf(ring.file()), ElementsAre("again: value 2"));
}

TEST(TracedRecordTest, NeverSharesANumberBetweenDifferentStatements) {
  DefaultHandle const ring;
  trace<TestTable, "numbers", " : a: ">();
  trace<TestTable, "numbers", " : b: ">();
  trace<TestTable, "numberz", " : a: ">();
  traceLevel8<TestTable, "numbers", " : a: ">();
  struct OtherTable : TestTable {
    static constexpr char const* sourceUnit() { return "OtherUnit"; }
  };
  trace<OtherTable, "numbers", " : a: ">();
  EXPECT_THAT(messagesOf(ring.file()),
              ElementsAre("numbers : a: ", "numbers : b: ", "numberz : a: ", "numbers : a: ",
                          "numbers : a: "));
  std::vector<int> const ids = {
      detail::StatementOf<TestTable, level3, "numbers", " : a: ", "">::msgId,
      detail::StatementOf<TestTable, level3, "numbers", " : b: ", "">::msgId,
      detail::StatementOf<TestTable, level3, "numberz", " : a: ", "">::msgId,
      detail::StatementOf<TestTable, level8, "numbers", " : a: ", "">::msgId,
      detail::StatementOf<OtherTable, level3, "numbers", " : a: ", "">::msgId};
  EXPECT_THAT(std::set<int>(ids.begin(), ids.end()), SizeIs(ids.size()));
}

// The arguments of the only record of a file, as they stand in it.
std::vector<unsigned> onlyArguments(Fendrel::TraceFile const& file) {
  std::vector<std::byte> const image = file.image();
  Fendrel::Layout::Header header;
  std::memcpy(&header, image.data(), sizeof header);
  Fendrel::Layout::Record record;
  std::memcpy(&record, image.data() + header.ringOffset, sizeof record);
  std::vector<unsigned> result;
  for (std::size_t i = 0; i < record.argSize; ++i) {
    result.push_back(std::to_integer<unsigned>(
        image[header.ringOffset + Fendrel::Layout::kRecordHeaderSize + i]));
  }
  return result;
}

TEST(TracedRecordTest, WritesABlockSizeAs16BitsAndACountAs32) {
  DefaultHandle const ring;
  trace<TestTable, "widths", ": size ", " count ">(Asic::BlockSize(0x0102), 0x03040506U);
  std::vector<unsigned> const little = {0x02, 0x01, 0x06, 0x05, 0x04, 0x03};
  std::vector<unsigned> const big = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06};
  EXPECT_EQ(onlyArguments(ring.file()), std::endian::native == std::endian::little ? little : big);
  EXPECT_THAT(messagesOf(ring.file()), ElementsAre("widths: size 258 count 50595078"));
}

TEST(TracedRecordTest, WritesAnAttributeIdAs32Bits) {
  DefaultHandle const ring;
  trace<TestTable, "widths", ": id ">(Vek::AttributeId(0xFFFFFFFF));
  EXPECT_THAT(onlyArguments(ring.file()), ElementsAre(0xFF, 0xFF, 0xFF, 0xFF));
  EXPECT_THAT(messagesOf(ring.file()), ElementsAre("widths: id 4294967295"));
}

TEST(TracedRecordTest, WritesNoArgumentWithoutValue) {
  DefaultHandle const ring;
  trace<TestTable, "widths">();
  EXPECT_THAT(onlyArguments(ring.file()), IsEmpty());
}

TEST(TracedRecordTest, RecordsNothingWhileTheFileIsPaused) {
  DefaultHandle const ring;
  trace<TestTable, "paused", ": ">(1U);
  ring.file().activeIs(false);
  trace<TestTable, "paused", ": ">(2U);
  ring.file().activeIs(true);
  trace<TestTable, "paused", ": ">(3U);
  EXPECT_THAT(messagesOf(ring.file()), ElementsAre("paused: 1", "paused: 3"));
  EXPECT_EQ(ring.file().dropped(), 0U);
}

TEST(TracedRecordTest, CountsRecordsOfAStatementThatFindsNoRoomForItsDescription) {
  TextCapture const text;
  Vek::traceLevelIs("OrviaL3UnicastTestTable", level3, true);
  DefaultHandle const ring({.ringBytes = 1024,
                            .descriptionBytes = 64,
                            .statements = 512,
                            .now = TraceTests::countingClock});
  trace<TestTable, "fits", ": ">(1U);
  trace<TestTable, "does not fit", ": ">(2U);
  trace<TestTable, "does not fit", ": ">(3U);
  trace<TestTable, "fits", ": ">(4U);
  EXPECT_THAT(messagesOf(ring.file()), ElementsAre("fits: 1", "fits: 4"));
  EXPECT_EQ(ring.file().dropped(), 2U);
  EXPECT_EQ(readImage(ring.file().image()).summary.dropped, 2U);
  EXPECT_THAT(text.texts, SizeIs(4));
}

TEST(TracedRecordTest, CountsRecordsOfAStatementBeyondTheTableOfIds) {
  DefaultHandle const numberGiver;
  trace<TestTable, "some number", ": ">(1U);  // one is gone, so a table of two slots is too small
  DefaultHandle const ring({.ringBytes = 1024,
                            .descriptionBytes = 1024,
                            .statements = 2,
                            .now = TraceTests::countingClock});
  trace<TestTable, "beyond", ": ">(1U);
  EXPECT_THAT(messagesOf(ring.file()), IsEmpty());
  EXPECT_EQ(ring.file().dropped(), 1U);
  EXPECT_EQ(ring.file().descriptionUsed(), 0U);
}

TEST(TracedRecordTest, RecordsEachThreadIntoItsOwnFile) {
  std::vector<Fendrel::TraceFile*> files(2);
  DefaultHandle const ring(Fendrel::TraceHandle::multiThreaded([&files](unsigned n) {
    auto file = Fendrel::TraceFile::inMemory(smallConfig());
    files.at(n) = file.get();
    return file;
  }));
  auto const left = [](unsigned value) { trace<TestTable, "left", ": ">(value); };
  auto const right = [](unsigned value) { trace<TestTable, "right", ": ">(value); };
  left(1);
  // Meets both statements in another order, so the numbers cannot agree by chance.
  std::thread([&] {
    right(2);
    left(3);
  }).join();
  right(4);
  ASSERT_NE(files[1], nullptr);
  EXPECT_THAT(messagesOf(*files[0]), ElementsAre("left: 1", "right: 4"));
  EXPECT_THAT(messagesOf(*files[1]), ElementsAre("right: 2", "left: 3"));
}

TEST(TracedRecordTest, LetsThreadsShareAStatement) {
  std::array<Fendrel::TraceFile*, 2> files{};
  DefaultHandle const ring(Fendrel::TraceHandle::multiThreaded([&files](unsigned n) {
    auto file = Fendrel::TraceFile::inMemory(
        {.ringBytes = 65536, .descriptionBytes = 1024, .statements = 512, .now = nullptr});
    files.at(n) = file.get();
    return file;
  }));
  TextCapture const text;
  Vek::traceLevelDelAll();
  std::latch bothHaveAFile(2);
  auto const work = [&] {
    EXPECT_NE(Fendrel::defaultFendrelFile(), nullptr);
    bothHaveAFile.arrive_and_wait();  // so that both describe the statement at the same time
    for (unsigned i = 0; i < 1000; ++i) {
      trace<TestTable, "shared statement", ": ">(i);
    }
  };
  {
    std::jthread const one(work);
    work();
  }
  ASSERT_NE(files[1], nullptr);
  for (Fendrel::TraceFile const* file : files) {
    Lines const messages = messagesOf(*file);
    ASSERT_THAT(messages, SizeIs(1000));
    EXPECT_EQ(messages.front(), "shared statement: 0");
    EXPECT_EQ(messages.back(), "shared statement: 999");
  }
}

}  // namespace
}  // namespace OrviaL3Unicast::plumbing
