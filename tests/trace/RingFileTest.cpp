#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "TraceSupport.h"

namespace Fendrel {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using TraceTests::Lines;
using TraceTests::messagesOf;
using TraceTests::NumberStatement;
using TraceTests::readFile;
using TraceTests::readImage;
using TraceTests::RingText;
using TraceTests::smallConfig;
using TraceTests::TemporaryFolder;

Lines numbered(char const* text, unsigned first, unsigned last) {
  Lines result;
  for (unsigned i = first; i <= last; ++i) {
    result.push_back(text + std::to_string(i));
  }
  return result;
}

std::uint64_t someTime() { return 1'732'152'345'000'000'678U; }

TEST(RingFileTest, ReadsBackWhatWasRecorded) {
  auto const file = TraceFile::inMemory(
      {.ringBytes = 1024, .descriptionBytes = 1024, .statements = 512, .now = someTime});
  NumberStatement statement("count ");
  statement.record(file.get(), 4294967295U);
  RingText const text = readImage(file->image());
  EXPECT_EQ(text.summary.error, "");
  EXPECT_EQ(text.summary.lines, 1U);
  EXPECT_THAT(text.lines, ElementsAre("2024-11-21T01:25:45.000000678Z Unit:7 count 4294967295"));
}

TEST(RingFileTest, StampsEachRecordWithItsTime) {
  auto const file = TraceFile::inMemory();
  timespec before{};
  clock_gettime(CLOCK_REALTIME, &before);
  NumberStatement statement("now ");
  statement.record(file.get(), 1);
  timespec after{};
  clock_gettime(CLOCK_REALTIME, &after);
  std::vector<std::byte> const image = file->image();
  Layout::Header header;
  std::memcpy(&header, image.data(), sizeof header);
  Layout::Record record;
  std::memcpy(&record, image.data() + header.ringOffset, sizeof record);
  auto const nanoseconds = [](timespec const& time) {
    return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000U +
           static_cast<std::uint64_t>(time.tv_nsec);
  };
  EXPECT_GE(record.time, nanoseconds(before));
  EXPECT_LE(record.time, nanoseconds(after));
}

TEST(RingFileTest, KnowsAnIdOnlyAfterItsDescription) {
  auto const file = TraceFile::inMemory(smallConfig());
  EXPECT_FALSE(file->knows(0));
  EXPECT_FALSE(file->knows(-1));
  EXPECT_FALSE(file->knows(511));
  EXPECT_FALSE(file->knows(512));
  EXPECT_FALSE(file->knows(1'000'000'000));
  NumberStatement statement("known ");
  statement.describe(file.get());
  EXPECT_GT(statement.msgId, 0);
  EXPECT_TRUE(file->knows(statement.msgId));
  EXPECT_FALSE(file->knows(statement.msgId + 1));
}

TEST(RingFileTest, DescribingTwiceWritesOnce) {
  auto const file = TraceFile::inMemory(smallConfig());
  NumberStatement statement("twice ");
  statement.describe(file.get());
  std::uint64_t const used = file->descriptionUsed();
  int const msgId = statement.msgId;
  statement.describe(file.get());
  EXPECT_EQ(file->descriptionUsed(), used);
  EXPECT_EQ(statement.msgId, msgId);
}

TEST(RingFileTest, DropsARecordOfAnUnknownStatement) {
  auto const file = TraceFile::inMemory(smallConfig());
  RingBuf buffer;
  buffer.startMsg(file.get(), 500);
  EXPECT_FALSE(buffer.active());
  buffer.endMsg();
  EXPECT_EQ(file->dropped(), 1U);
  EXPECT_THAT(messagesOf(*file), IsEmpty());
}

TEST(RingFileTest, IsInactiveWithoutAFile) {
  RingBuf buffer;
  EXPECT_FALSE(buffer.active());
  buffer.startMsg(nullptr, 1);
  EXPECT_FALSE(buffer.active());
  buffer.endMsg();
  EXPECT_FALSE(buffer.active());
}

TEST(RingFileTest, ReadsBackEveryWidth) {
  auto const file = TraceFile::inMemory(smallConfig());
  int msgId = 0;
  MsgDesc description(file.get(), &msgId, "Unit", 1);
  description << "%s %s %s %s." << ArgWidth::one << ArgWidth::two << ArgWidth::four
              << ArgWidth::eight;
  description.finish();
  RingBuf buffer;
  buffer.startMsg(file.get(), msgId);
  buffer.append(std::uint8_t{255});
  buffer.append(std::uint16_t{65535});
  buffer.append(std::uint32_t{4294967295});
  buffer.append(std::uint64_t{18446744073709551615U});
  buffer.endMsg();
  EXPECT_THAT(messagesOf(*file), ElementsAre("255 65535 4294967295 18446744073709551615."));
}

TEST(RingFileTest, DropsARecordWhoseValuesDoNotFit) {
  auto const file = TraceFile::inMemory(smallConfig());
  NumberStatement statement("overflow ");
  statement.describe(file.get());
  RingBuf buffer;
  buffer.startMsg(file.get(), statement.msgId);
  for (std::size_t i = 0; i <= Layout::kMaxArgSize / sizeof(std::uint64_t); ++i) {
    buffer.append(std::uint64_t{i});
  }
  buffer.endMsg();
  EXPECT_EQ(file->dropped(), 1U);
  statement.record(file.get(), 2);
  EXPECT_THAT(messagesOf(*file), ElementsAre("overflow 2"));
}

TEST(RingFileTest, OverwritesTheOldestWholeRecords) {
  auto const file = TraceFile::inMemory(smallConfig());
  NumberStatement statement("record ");
  // 24 bytes a record: 42 fill the ring of 1024 bytes up to a gap of 16.
  for (unsigned i = 1; i <= 42; ++i) {
    statement.record(file.get(), i);
  }
  EXPECT_EQ(messagesOf(*file), numbered("record ", 1, 42));
  statement.record(file.get(), 43);
  EXPECT_EQ(messagesOf(*file), numbered("record ", 2, 43));
  EXPECT_EQ(file->dropped(), 0U);
}

TEST(RingFileTest, KeepsTheNewestRecordsOverManyLaps) {
  auto const file = TraceFile::inMemory(smallConfig());
  NumberStatement small("small ");
  int largeId = 0;
  MsgDesc description(file.get(), &largeId, "Unit", 2);
  description << "large %s %s %s %s";
  for (int i = 0; i < 4; ++i) {
    description << ArgWidth::eight;
  }
  description.finish();

  Lines all;
  for (unsigned i = 0; i < 3000; ++i) {
    if (i % 3 == 0) {
      RingBuf buffer;
      buffer.startMsg(file.get(), largeId);
      for (unsigned value = i; value < i + 4; ++value) {
        buffer.append(std::uint64_t{value});
      }
      buffer.endMsg();
      all.push_back("large " + std::to_string(i) + " " + std::to_string(i + 1) + " " +
                    std::to_string(i + 2) + " " + std::to_string(i + 3));
    } else {
      small.record(file.get(), i);
      all.push_back("small " + std::to_string(i));
    }
    RingText const text = readImage(file->image());
    ASSERT_EQ(text.summary.error, "") << i;
    std::size_t const count = text.lines.size();
    ASSERT_LE(count, all.size());
    // Two laps may waste a filler each, and the room for one large record.
    if (i > 60) {
      ASSERT_GE(count * 36, 1024U - 3 * Layout::kMaxRecordSize) << i;
    }
    for (std::size_t k = 0; k < count; ++k) {
      ASSERT_EQ(TraceTests::messageOf(text.lines[k]), all[all.size() - count + k]);
    }
  }
}

TEST(RingFileTest, NeverOverwritesADescription) {
  auto const file = TraceFile::inMemory(smallConfig());
  NumberStatement first("first ");
  first.record(file.get(), 1);
  NumberStatement second("second ");
  for (unsigned i = 0; i < 10'000; ++i) {
    second.record(file.get(), i);
  }
  first.record(file.get(), 2);
  Lines const messages = messagesOf(*file);
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages.back(), "first 2");
  EXPECT_EQ(messages.front().substr(0, 7), "second ");
}

TEST(RingFileTest, KeepsTheBytesOfAFileAndOfMemoryAlike) {
  TemporaryFolder const folder;
  std::string const path = folder.file("ring");
  NumberStatement statement("file ");
  {
    auto const file = TraceFile::open(path, smallConfig());
    EXPECT_EQ(file->path(), path);
    statement.record(file.get(), 5);
    RingText const fromFile = readFile(path);
    RingText const fromMemory = readImage(file->image());
    EXPECT_EQ(fromFile.lines, fromMemory.lines);
    EXPECT_EQ(std::filesystem::file_size(path), file->image().size());
  }
  RingText const afterwards = readFile(path);
  EXPECT_EQ(afterwards.summary.error, "");
  EXPECT_THAT(afterwards.lines, ElementsAre(EndsWith("Z Unit:7 file 5")));
}

TEST(RingFileTest, SurvivesTheDeathOfTheProcess) {
  TemporaryFolder const folder;
  std::string const path = folder.file("ring");
  pid_t const child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    auto const file = TraceFile::open(path, smallConfig());
    NumberStatement statement("last ");
    for (unsigned i = 1; i <= 100; ++i) {
      statement.record(file.get(), i);
    }
    kill(getpid(), SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  RingText const text = readFile(path);
  EXPECT_EQ(text.summary.error, "");
  ASSERT_FALSE(text.lines.empty());
  EXPECT_THAT(text.lines.back(), EndsWith(" last 100"));
}

TEST(RingFileTest, KeepsTheEarlierRingFileAside) {
  TemporaryFolder const folder;
  std::string const path = folder.file("ring");
  NumberStatement statement("run ");
  statement.record(TraceFile::open(path, smallConfig()).get(), 1);
  auto const file = TraceFile::open(path, smallConfig());
  statement.record(file.get(), 2);
  EXPECT_THAT(readFile(path + ".old").lines, ElementsAre(EndsWith(" run 1")));
  EXPECT_THAT(readFile(path).lines, ElementsAre(EndsWith(" run 2")));
}

TEST(RingFileTest, RefusesToReplaceAFileThatIsNoRing) {
  TemporaryFolder const folder;
  std::string const path = folder.file("precious");
  std::ofstream(path) << "precious data";
  try {
    (void)TraceFile::open(path, smallConfig());
    FAIL() << "opened";
  } catch (FileError const& error) {
    EXPECT_EQ(error.what(), path + ": is there already and is not a ring file");
  }
  std::string content;
  std::getline(std::ifstream(path), content);
  EXPECT_EQ(content, "precious data");
  EXPECT_THROW((void)TraceFile::open(folder.file(""), smallConfig()), FileError);
}

TEST(RingFileTest, TakesThePlaceOfAnEmptyFile) {
  TemporaryFolder const folder;
  std::string const path = folder.file("empty");
  std::ofstream(path).close();
  NumberStatement statement("empty ");
  statement.record(TraceFile::open(path, smallConfig()).get(), 1);
  EXPECT_THAT(readFile(path).lines, SizeIs(1));
  EXPECT_FALSE(std::filesystem::exists(path + ".old"));
}

TEST(RingFileTest, NamesThePathAndTheReasonWhenItCannotMakeAFile) {
  TemporaryFolder const folder;
  std::string const path = folder.file("missing/ring");
  try {
    (void)TraceFile::open(path, smallConfig());
    FAIL() << "opened";
  } catch (FileError const& error) {
    EXPECT_EQ(error.what(), path + ": cannot create the ring file: No such file or directory");
  }
}

TEST(RingFileTest, LeavesNoFileBehindWhenThereIsNoRoomForIt) {
  TemporaryFolder const folder;
  std::string const path = folder.file("ring");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  rlimit const small{1024, before.rlim_max};
  auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_THROW((void)TraceFile::open(path, smallConfig()), FileError);
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(RingFileTest, RefusesSizesThatCannotBe) {
  EXPECT_THROW((void)TraceFile::inMemory({.ringBytes = 64}), FileError);
  EXPECT_THROW((void)TraceFile::inMemory({.ringBytes = (std::size_t{1} << 30) + 1}), FileError);
  EXPECT_THROW((void)TraceFile::inMemory({.statements = 0}), FileError);
  EXPECT_THROW((void)TraceFile::inMemory({.descriptionBytes = std::size_t{1} << 40}), FileError);
}

TEST(RingFileTest, StaysInsideItsRingWhenSomebodyElseWritesIntoTheFile) {
  TemporaryFolder const folder;
  for (char const damage : {'\xFF', '\0', '\x20'}) {
    std::string const path = folder.file("ring");
    auto const file = TraceFile::open(path, smallConfig());
    NumberStatement statement("robust ");
    for (unsigned i = 0; i < 50; ++i) {
      statement.record(file.get(), i);
    }
    Layout::Header header;
    std::ifstream(path, std::ios::binary).read(reinterpret_cast<char*>(&header), sizeof header);
    {
      std::fstream writer(path, std::ios::binary | std::ios::in | std::ios::out);
      writer.seekp(static_cast<std::streamoff>(Layout::kStateOffset));
      writer << std::string(sizeof(Layout::State), damage);
      writer.seekp(static_cast<std::streamoff>(header.ringOffset));
      writer << std::string(header.ringSize, damage);
    }
    for (unsigned i = 100; i < 200; ++i) {
      statement.record(file.get(), i);
    }
    RingText const text = readFile(path);
    EXPECT_EQ(text.summary.error, "");
    ASSERT_FALSE(text.lines.empty());
    EXPECT_THAT(text.lines.back(), EndsWith(" robust 199"));
  }
}

TEST(RingFileTest, ReservesItsDiskSpaceAtOnce) {
  TemporaryFolder const folder;
  std::string const path = folder.file("ring");
  auto const file = TraceFile::open(path);
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_GT(status.st_size, 1 << 20);
  EXPECT_GE(status.st_blocks * 512, status.st_size);
}

}  // namespace
}  // namespace Fendrel
