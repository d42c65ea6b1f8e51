#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <latch>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Fendrel/Layout.h"
#include "Fendrel/RingReader.h"
#include "TraceSupport.h"

namespace Fendrel {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using TraceTests::Lines;
using TraceTests::NumberStatement;
using TraceTests::readFile;
using TraceTests::readImage;
using TraceTests::RingText;
using TraceTests::smallConfig;
using TraceTests::TemporaryFolder;

using Image = std::vector<std::byte>;

// A ring that has been round more than once, with all that was ever in it.
struct Sample {
  Image image;
  Lines lines;                    // what the undamaged image gives
  std::set<std::string> history;  // every line it ever gave
  Layout::Header header;
};

Sample makeSample() {
  Sample sample;
  auto const file = TraceFile::inMemory({.ringBytes = 640,
                                         .descriptionBytes = 256,
                                         .statements = 512,
                                         .now = TraceTests::countingClock});
  static NumberStatement even("even ");
  static NumberStatement odd("some longer text for the odd ones ");
  for (unsigned i = 0; i < 70; ++i) {
    (i % 2 == 0 ? even : odd).record(file.get(), i);
    for (std::string const& line : readImage(file->image()).lines) {
      sample.history.insert(line);
    }
  }
  sample.image = file->image();
  sample.lines = readImage(sample.image).lines;
  std::memcpy(&sample.header, sample.image.data(), sizeof sample.header);
  return sample;
}

template <class Value>
void put(Image& image, std::size_t offset, Value value) {
  std::memcpy(image.data() + offset, &value, sizeof value);
}

void renewHeaderCheck(Image& image) {
  put(image, offsetof(Layout::Header, check),
      Layout::hash(0, std::span(image).first(offsetof(Layout::Header, check))));
}

bool areSubsequence(Lines const& some, Lines const& all) {
  auto at = all.begin();
  for (std::string const& line : some) {
    at = std::find(at, all.end(), line);
    if (at == all.end()) {
      return false;
    }
    ++at;
  }
  return true;
}

TEST(RingReaderTest, ReadsTheSampleWithoutComplaint) {
  Sample const sample = makeSample();
  RingText const text = readImage(sample.image);
  EXPECT_EQ(text.summary.error, "");
  EXPECT_EQ(text.summary.damagedBytes, 0U);
  EXPECT_EQ(text.summary.lines, text.lines.size());
  EXPECT_THAT(text.lines, SizeIs(testing::Gt(20U)));
  EXPECT_THAT(text.lines.back(), EndsWith(" some longer text for the odd ones 69"));
}

TEST(RingReaderTest, ReadsAnEmptyRing) {
  RingText const text = readImage(TraceFile::inMemory(smallConfig())->image());
  EXPECT_EQ(text.summary.error, "");
  EXPECT_THAT(text.lines, IsEmpty());
}

TEST(RingReaderTest, ReportsEveryPrefixAndKeepsWhatIsWhole) {
  Sample const sample = makeSample();
  for (std::size_t size = 0; size < sample.image.size(); ++size) {
    RingText const text = readImage(std::span(sample.image).first(size));
    ASSERT_NE(text.summary.error, "") << size;
    ASSERT_EQ(text.summary.error.find('\n'), std::string::npos) << size;
    ASSERT_TRUE(areSubsequence(text.lines, sample.lines)) << size;
    if (size < 8) {
      ASSERT_EQ(text.summary.error, "is not a ring file") << size;
    } else if (size < Layout::kStateOffset + sizeof(Layout::State)) {
      ASSERT_EQ(text.summary.error, "is cut off in its header") << size;
    } else {
      ASSERT_THAT(text.summary.error, StartsWith("is cut off: " + std::to_string(size) + " of " +
                                                 std::to_string(sample.image.size()) + " bytes"));
    }
  }
  // The last record but a few is still there when only the end of the ring is missing.
  RingText const almost = readImage(std::span(sample.image).first(sample.image.size() - 8));
  EXPECT_GE(almost.lines.size() + 2, sample.lines.size());
}

TEST(RingReaderTest, NoticesEveryFlippedBitThatChangesTheText) {
  Sample const sample = makeSample();
  Image image = sample.image;
  std::size_t noticed = 0;
  for (std::size_t at = 0; at < image.size(); ++at) {
    bool const isState =
        at >= Layout::kStateOffset && at < Layout::kStateOffset + sizeof(Layout::State);
    for (unsigned bit = 0; bit < 8; ++bit) {
      image[at] ^= std::byte{1} << bit;
      RingText const text = readImage(image);
      image[at] ^= std::byte{1} << bit;
      if (isState) {
        // A position that is wrong shows other records of the ring, but only ones that were
        // written.
        for (std::string const& line : text.lines) {
          ASSERT_TRUE(sample.history.contains(line)) << at << " " << bit << ": " << line;
        }
        continue;
      }
      ASSERT_TRUE(areSubsequence(text.lines, sample.lines)) << at << " " << bit;
      ASSERT_TRUE(text.lines == sample.lines || !text.summary.error.empty()) << at << " " << bit;
      noticed += text.summary.error.empty() ? 0U : 1U;
    }
  }
  EXPECT_GT(noticed, sample.lines.size() * 20 * 8);
}

TEST(RingReaderTest, LosesOneRecordToOneFlippedByte) {
  Sample const sample = makeSample();
  Image image = sample.image;
  std::size_t const at = sample.header.ringOffset + 9;  // in the time of the ring's first record
  image[at] ^= std::byte{0x10};
  RingText const text = readImage(image);
  EXPECT_EQ(text.summary.error, "has a damaged record at offset " +
                                    std::to_string(sample.header.ringOffset) +
                                    "; 24 bytes of records left out");
  EXPECT_EQ(text.summary.damagedBytes, 24U);
  EXPECT_EQ(text.lines.size() + 1, sample.lines.size());
  EXPECT_TRUE(areSubsequence(text.lines, sample.lines));
}

TEST(RingReaderTest, NamesAStatementWhoseDescriptionIsDamaged) {
  Sample const sample = makeSample();
  Image image = sample.image;
  image[sample.header.descriptionOffset + sizeof(Layout::Description) + 1] ^= std::byte{1};
  RingText const text = readImage(image);
  EXPECT_THAT(text.summary.error, StartsWith("has no valid description of statement "));
  EXPECT_THAT(text.lines, SizeIs(sample.lines.size() / 2));
  for (std::string const& line : text.lines) {
    EXPECT_THAT(line, HasSubstr(" some longer text for the odd ones "));
  }
}

TEST(RingReaderTest, EndsOnRandomDamageOfAnyKind) {
  Sample const sample = makeSample();
  std::mt19937 random(20241121);
  std::size_t damagedReads = 0;
  for (int round = 0; round < 5000; ++round) {
    Image image = sample.image;
    for (std::size_t count = random() % 40; count > 0; --count) {
      image[random() % image.size()] = static_cast<std::byte>(random());
    }
    if (random() % 4 == 0) {
      image.resize(random() % image.size());
    } else if (random() % 2 == 0) {
      // Gets the damage past the first gate.
      renewHeaderCheck(image);
    }
    RingText const text = readImage(image);
    damagedReads += text.summary.error.empty() ? 0U : 1U;
    for (std::string const& line : text.lines) {
      ASSERT_TRUE(sample.history.contains(line)) << round << ": " << line;
    }
  }
  EXPECT_GT(damagedReads, 2500U);
}

TEST(RingReaderTest, EndsOnRandomBytes) {
  std::mt19937 random(7);
  for (int round = 0; round < 300; ++round) {
    Image image(random() % 2000);
    for (std::byte& byte : image) {
      byte = static_cast<std::byte>(random());
    }
    RingText const text = readImage(image);
    ASSERT_EQ(text.summary.error, "is not a ring file");
    ASSERT_THAT(text.lines, IsEmpty());
  }
}

TEST(RingReaderTest, AsksForNoMoreMemoryThanTheFileHas) {
  // The largest sizes that a header may claim, over a file of a few bytes.
  Layout::Header header;
  header.idTableOffset = Layout::kHeaderSize;
  header.idTableSize = Layout::kMaxIdTableSize;
  header.descriptionOffset = header.idTableOffset + header.idTableSize * sizeof(std::uint32_t);
  header.descriptionSize = Layout::kMaxDescriptionSize;
  header.ringOffset = header.descriptionOffset + header.descriptionSize;
  header.ringSize = Layout::kMaxRingSize;
  header.fileSize = header.ringOffset + header.ringSize;
  Image image(Layout::kHeaderSize + 64);
  put(image, 0, header);
  renewHeaderCheck(image);
  Layout::State state;
  state.end = 4096;
  put(image, Layout::kStateOffset, state);
  RingText const text = readImage(image);
  EXPECT_EQ(text.summary.error, "is cut off: 256 of " + std::to_string(header.fileSize) +
                                    " bytes; 4096 bytes of records left out");
  EXPECT_THAT(text.lines, IsEmpty());
}

TEST(RingReaderTest, RefusesSizesThatDoNotAddUp) {
  Sample const sample = makeSample();
  for (std::size_t const field :
       {offsetof(Layout::Header, fileSize), offsetof(Layout::Header, idTableOffset),
        offsetof(Layout::Header, idTableSize), offsetof(Layout::Header, descriptionOffset),
        offsetof(Layout::Header, descriptionSize), offsetof(Layout::Header, ringOffset),
        offsetof(Layout::Header, ringSize)}) {
    for (std::uint64_t const value : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{1} << 62,
                                      ~std::uint64_t{0}, ~std::uint64_t{7}}) {
      Image image = sample.image;
      put(image, field, value);
      EXPECT_EQ(readImage(image).summary.error, "has a damaged header");
      renewHeaderCheck(image);
      EXPECT_EQ(readImage(image).summary.error, "has a damaged header") << field << " " << value;
    }
  }
}

TEST(RingReaderTest, RefusesAHeaderThatIsDamagedWhereItDoesNotShow) {
  Image image = makeSample().image;
  image[offsetof(Layout::Header, createdAt)] ^= std::byte{1};
  EXPECT_EQ(readImage(image).summary.error, "has a damaged header");
}

TEST(RingReaderTest, RefusesAnotherVersionAndAnotherByteOrder) {
  Sample const sample = makeSample();
  Image image = sample.image;
  put(image, offsetof(Layout::Header, version), std::uint32_t{2});
  EXPECT_EQ(readImage(image).summary.error, "has version 2, expected 1");

  image = sample.image;
  put(image, 0, __builtin_bswap64(Layout::kMagic));
  EXPECT_EQ(readImage(image).summary.error, "was written on a machine with another byte order");
}

TEST(RingReaderTest, RefusesPositionsThatCannotBe) {
  Sample const sample = makeSample();
  for (Layout::State const state :
       {Layout::State{.begin = 8, .end = 0}, Layout::State{.begin = 0, .end = 648},
        Layout::State{.begin = 1, .end = 8}, Layout::State{.begin = 0, .end = ~std::uint64_t{0}}}) {
    Image image = sample.image;
    put(image, Layout::kStateOffset, state);
    RingText const text = readImage(image);
    EXPECT_EQ(text.summary.error, "has damaged positions of its oldest and newest record");
    EXPECT_THAT(text.lines, IsEmpty());
  }
}

TEST(RingReaderTest, DoesNotLetTheFileDriveTheTerminal) {
  auto const file = TraceFile::inMemory(smallConfig());
  NumberStatement statement("bell \a and escape \x1B[2J ");
  statement.record(file.get(), 1);
  EXPECT_THAT(readImage(file->image()).lines,
              ElementsAre(EndsWith("bell \\x07 and escape \\x1B[2J 1")));
}

TEST(RingReaderTest, NamesTheFileInItsError) {
  TemporaryFolder const folder;
  std::string const path = folder.file("ring");
  EXPECT_EQ(readFile(path).summary.error, path + ": cannot be read: No such file or directory");
  EXPECT_EQ(readFile(folder.file("")).summary.error, folder.file("") + ": is not a regular file");
  std::ofstream(path) << "something else entirely";
  EXPECT_EQ(readFile(path).summary.error, path + ": is not a ring file");
}

TEST(RingReaderTest, SalvagesAFileThatWasCutOff) {
  TemporaryFolder const folder;
  std::string const path = folder.file("ring");
  {
    auto const file = TraceFile::open(path, smallConfig());
    NumberStatement statement("salvaged ");
    for (unsigned i = 1; i <= 10; ++i) {
      statement.record(file.get(), i);
    }
  }
  std::uintmax_t const size = std::filesystem::file_size(path);
  // The ring is the last 1024 bytes; 100 of them hold four whole records of 24.
  std::filesystem::resize_file(path, size - 1024 + 100);
  RingText const text = readFile(path);
  EXPECT_THAT(text.lines, ElementsAre(EndsWith(" salvaged 1"), EndsWith(" salvaged 2"),
                                      EndsWith(" salvaged 3"), EndsWith(" salvaged 4")));
  EXPECT_EQ(text.summary.error, path + ": is cut off: " + std::to_string(size - 924) + " of " +
                                    std::to_string(size) + " bytes; 144 bytes of records left out");
}

TEST(RingReaderTest, ReadsAFileWhileItIsWritten) {
  TemporaryFolder const folder;
  std::string const path = folder.file("ring");
  auto const file = TraceFile::open(path, {.ringBytes = std::size_t{1} << 16,
                                           .descriptionBytes = 4096,
                                           .statements = 512,
                                           .now = nullptr});
  NumberStatement statement("live ");
  statement.describe(file.get());
  std::atomic<bool> done = false;
  std::latch fullOnce(1);
  std::thread writer([&] {
    for (std::uint32_t i = 0; !done; ++i) {
      statement.record(file.get(), i);
      if (i == 10'000) {
        fullOnce.count_down();
      }
    }
  });
  fullOnce.wait();
  std::size_t records = 0;
  std::string failure;
  for (int round = 0; round < 300 && failure.empty(); ++round) {
    RingText const text = readFile(path);
    failure = text.summary.error;
    for (std::size_t i = 1; i < text.lines.size(); ++i) {
      auto const number = [](std::string const& line) {
        return std::stoul(line.substr(line.rfind(' ') + 1));
      };
      if (number(text.lines[i]) != number(text.lines[i - 1]) + 1) {
        failure = text.lines[i - 1] + " is followed by " + text.lines[i];
      }
    }
    records += text.lines.size();
  }
  done = true;
  writer.join();
  EXPECT_EQ(failure, "");
  EXPECT_GT(records, 10'000U);
}

}  // namespace
}  // namespace Fendrel
