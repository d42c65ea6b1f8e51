#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <latch>
#include <memory>
#include <stdexcept>
#include <thread>

#include "Fendrel/TraceHandle.h"
#include "TraceSupport.h"

namespace Fendrel {
namespace {

using testing::ElementsAre;
using TraceTests::DefaultHandle;
using TraceTests::messagesOf;
using TraceTests::NumberStatement;
using TraceTests::smallConfig;

std::unique_ptr<TraceFile> makeFile(unsigned /*n*/) { return TraceFile::inMemory(smallConfig()); }

TEST(FendrelHandleTest, HasNoFileWithoutADefaultHandle) {
  ASSERT_EQ(defaultTraceHandle(), nullptr);
  EXPECT_EQ(defaultFendrelFile(), nullptr);
}

TEST(FendrelHandleTest, GivesTheSingleFileOfADefaultHandle) {
  DefaultHandle const ring;
  EXPECT_FALSE(ring->isMultiThreaded());
  EXPECT_EQ(defaultFendrelFile(), ring->traceFile());
  EXPECT_EQ(ring->mtTraceFile(), nullptr);
  TraceFile* inThread = nullptr;
  std::thread([&inThread] { inThread = defaultFendrelFile(); }).join();
  EXPECT_EQ(inThread, ring->traceFile());
}

TEST(FendrelHandleTest, GivesTheNewFileAfterAChange) {
  DefaultHandle const ring;
  auto next = TraceFile::inMemory(smallConfig());
  TraceFile* const expected = next.get();
  ring->traceFileIs(std::move(next));
  EXPECT_EQ(defaultFendrelFile(), expected);
  ring->traceFileIs(nullptr);
  EXPECT_EQ(defaultFendrelFile(), nullptr);
}

TEST(FendrelHandleTest, GivesEachThreadItsFileOfAMultiThreadedDefault) {
  DefaultHandle const ring(TraceHandle::multiThreaded(makeFile));
  EXPECT_TRUE(ring->isMultiThreaded());
  EXPECT_EQ(ring->traceFile(), nullptr);
  TraceFile* const mine = defaultFendrelFile();
  ASSERT_NE(mine, nullptr);
  EXPECT_EQ(mine, ring->mtTraceFile());
  TraceFile* other = nullptr;
  TraceFile* otherAgain = nullptr;
  std::thread([&] {
    other = defaultFendrelFile();
    otherAgain = defaultFendrelFile();
  }).join();
  EXPECT_NE(other, nullptr);
  EXPECT_NE(other, mine);
  EXPECT_EQ(otherAgain, other);
}

TEST(FendrelHandleTest, HandsTheFileOfAnEndedThreadToTheNext) {
  unsigned made = 0;
  auto const handle = TraceHandle::multiThreaded([&made](unsigned n) {
    EXPECT_EQ(n, made);
    ++made;
    return makeFile(n);
  });
  NumberStatement statement("thread ");
  TraceFile* first = nullptr;
  TraceFile* second = nullptr;
  std::thread([&] { statement.record(first = handle->mtTraceFile(), 1); }).join();
  std::thread([&] { statement.record(second = handle->mtTraceFile(), 2); }).join();
  EXPECT_EQ(second, first);
  EXPECT_EQ(made, 1U);
  EXPECT_THAT(messagesOf(*first), ElementsAre("thread 1", "thread 2"));
}

TEST(FendrelHandleTest, MakesAsManyFilesAsThereAreThreadsAtOnce) {
  std::atomic<unsigned> made = 0;
  auto const handle = TraceHandle::multiThreaded([&made](unsigned n) {
    ++made;
    return makeFile(n);
  });
  std::latch allTraced(3);
  auto const work = [&] {
    EXPECT_NE(handle->mtTraceFile(), nullptr);
    allTraced.arrive_and_wait();
  };
  {
    std::jthread const one(work);
    std::jthread const two(work);
    std::jthread const three(work);
  }
  EXPECT_EQ(made, 3U);
}

TEST(FendrelHandleTest, KeepsTheFilesOfTwoHandlesApart) {
  auto const one = TraceHandle::multiThreaded(makeFile);
  auto const two = TraceHandle::multiThreaded(makeFile);
  TraceFile* const ofOne = one->mtTraceFile();
  TraceFile* const ofTwo = two->mtTraceFile();
  EXPECT_NE(ofOne, ofTwo);
  EXPECT_EQ(one->mtTraceFile(), ofOne);
  EXPECT_EQ(two->mtTraceFile(), ofTwo);
}

TEST(FendrelHandleTest, DoesNotTakeAnEndedHandleForALaterOne) {
  NumberStatement statement("handle ");
  for (unsigned i = 0; i < 10; ++i) {  // the later ones may well get the address of the earlier
    auto const handle = TraceHandle::multiThreaded(makeFile);
    TraceFile* const file = handle->mtTraceFile();
    ASSERT_NE(file, nullptr);
    statement.record(file, i);
    ASSERT_THAT(messagesOf(*file), ElementsAre("handle " + std::to_string(i)));
  }
}

TEST(FendrelHandleTest, LetsAThreadOutliveTheHandleItTracedFor) {
  auto handle = TraceHandle::multiThreaded(makeFile);
  std::latch traced(1);
  std::latch ended(1);
  std::thread thread([&] {
    EXPECT_NE(handle->mtTraceFile(), nullptr);
    traced.count_down();
    ended.wait();
  });
  traced.wait();
  handle.reset();
  ended.count_down();
  thread.join();  // its file is gone already, there is nothing to give back
  EXPECT_EQ(handle, nullptr);
}

TEST(FendrelHandleTest, HasNoFileForAThreadWhoseFileCannotBeMade) {
  int attempts = 0;
  DefaultHandle const ring(
      TraceHandle::multiThreaded([&attempts](unsigned) -> std::unique_ptr<TraceFile> {
        ++attempts;
        throw FileError("disk full");
      }));
  EXPECT_EQ(defaultFendrelFile(), nullptr);
  EXPECT_EQ(defaultFendrelFile(), nullptr);
  EXPECT_EQ(attempts, 1);  // a statement does not try again and again
}

TEST(FendrelHandleTest, ClearsTheDefaultWhenTheDefaultHandleEnds) {
  auto handle = TraceHandle::singleFile(TraceFile::inMemory(smallConfig()));
  auto const other = TraceHandle::singleFile(TraceFile::inMemory(smallConfig()));
  defaultTraceHandleIs(handle.get());
  handle.reset();
  EXPECT_EQ(defaultTraceHandle(), nullptr);

  handle = TraceHandle::singleFile(nullptr);
  defaultTraceHandleIs(other.get());
  handle.reset();  // was not the default
  EXPECT_EQ(defaultTraceHandle(), other.get());
  defaultTraceHandleIs(nullptr);
}

}  // namespace
}  // namespace Fendrel
