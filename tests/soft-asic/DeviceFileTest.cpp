// The file that a device's rows are in: what it holds, who may open it, and what it is not mistaken
// for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "HardwareFile.h"
#include "TemporaryFile.h"
#include "plugins/soft-asic/DeviceFile.h"

namespace SoftAsicTests {
namespace {

using SoftAsic::DeviceFile;
using SoftAsic::DeviceSizes;
using SoftAsic::GroupContents;
using SoftAsic::MemberContents;
using SoftAsic::NextHopContents;
using File = Vek::Ptr<DeviceFile>;

constexpr DeviceSizes sizes{.nextHops = 16, .ecmpNextHops = 6, .members = 12, .groups = 8};

// Where the header's fields are: a magic text of 8 bytes, the version, the four sizes, and how many
// bytes the contents of each table's rows have.
constexpr std::size_t versionAt = 8;
constexpr std::size_t contentsBytesAt = 28;
constexpr std::size_t headerBytes = 40;

struct DeviceFiles : testing::Test {
  File opened(DeviceSizes const& with = sizes) const { return new DeviceFile(file.path(), with); }
  // What opening it throws, without the path that it begins with. The file must be as it was.
  std::string refused(DeviceSizes const& with = sizes) const {
    std::string const before = file.bytes();
    std::string const text = thrown<std::runtime_error>([&] { (void)opened(with); });
    EXPECT_EQ(file.bytes(), before);
    std::string const start = file.path() + ": ";
    EXPECT_EQ(text.substr(0, start.size()), start);
    return text.size() < start.size() ? text : text.substr(start.size());
  }
  // A file with one byte of it changed.
  void byteIs(std::size_t offset, char byte) const {
    std::string bytes = file.bytes();
    bytes.at(offset) = byte;
    file.bytesAre(bytes);
  }

  HardwareFile file;
};

template <class Contents>
void fill(SoftAsic::StoredRow<Contents>* stored, std::uint32_t rows) {
  // The last row stays empty.
  for (std::uint32_t row = 0; row + 1 < rows; ++row) {
    stored[row].contentsIs(wholly<Contents>(static_cast<std::uint16_t>(1000 + row)));
  }
}

template <class Contents>
void expectFilled(SoftAsic::StoredRow<Contents> const* stored, std::uint32_t rows) {
  for (std::uint32_t row = 0; row + 1 < rows; ++row) {
    EXPECT_EQ(stored[row].contents(), wholly<Contents>(static_cast<std::uint16_t>(1000 + row)));
  }
  EXPECT_FALSE(stored[rows - 1].contents());
}

TEST_F(DeviceFiles, BeginWithAllRowsEmpty) {
  File const made = opened();
  for (std::uint32_t row = 0; row < sizes.nextHops; ++row) {
    EXPECT_FALSE(made->nextHops()[row].contents());
  }
  for (std::uint32_t row = 0; row < sizes.members; ++row) {
    EXPECT_FALSE(made->members()[row].contents());
  }
  for (std::uint32_t row = 0; row < sizes.groups; ++row) {
    EXPECT_FALSE(made->groups()[row].contents());
  }
}

TEST_F(DeviceFiles, HoldTheRowsOfAllThreeTables) {
  {
    File const first = opened();
    fill(first->nextHops(), sizes.nextHops);
    fill(first->members(), sizes.members);
    fill(first->groups(), sizes.groups);
  }
  File const second = opened();
  expectFilled(second->nextHops(), sizes.nextHops);
  expectFilled(second->members(), sizes.members);
  expectFilled(second->groups(), sizes.groups);
}

TEST_F(DeviceFiles, HoldTheLastOfManyWritesAndNothingAfterADelete) {
  {
    File const first = opened();
    for (std::uint16_t number = 1; number <= 5; ++number) {
      first->groups()[2].contentsIs(wholly<GroupContents>(number));
      EXPECT_EQ(first->groups()[2].contents(), wholly<GroupContents>(number));
      first->groups()[3].contentsIs(wholly<GroupContents>(number));
      first->groups()[4].contentsIs(wholly<GroupContents>(number));
      first->groups()[4].contentsDel();
    }
    first->groups()[3].contentsDel();
    first->groups()[4].contentsIs(wholly<GroupContents>(6));
  }
  File const second = opened();
  EXPECT_EQ(second->groups()[2].contents(), wholly<GroupContents>(5));
  EXPECT_FALSE(second->groups()[3].contents());
  EXPECT_EQ(second->groups()[4].contents(), wholly<GroupContents>(6));
}

TEST_F(DeviceFiles, MayHaveTablesWithoutRows) {
  constexpr DeviceSizes none{.nextHops = 0, .ecmpNextHops = 0, .members = 0, .groups = 0};
  (void)opened(none);
  EXPECT_EQ(opened(none)->sizes(), none);
}

TEST_F(DeviceFiles, LeaveNothingElseInTheirDirectory) {
  File const made = opened();
  EXPECT_EQ(file.names(), std::vector<std::string>{"asic"});
  EXPECT_THAT(thrown<std::runtime_error>([&] { (void)opened(); }), testing::HasSubstr("in use"));
  EXPECT_EQ(file.names(), std::vector<std::string>{"asic"});
}

TEST_F(DeviceFiles, AreInUseForAsLongAsTheyAreOpen) {
  File made = opened();
  made->groups()[1].contentsIs(wholly<GroupContents>(7));
  EXPECT_EQ(refused(), "in use by another process");
  EXPECT_EQ(made->groups()[1].contents(), wholly<GroupContents>(7));
  made = nullptr;
  made = opened();
  EXPECT_EQ(refused(), "in use by another process");
}

// Each opens, says how that went, and waits until all have said so.
TEST_F(DeviceFiles, GoToOneOfManyProcessesThatComeAtOnce) {
  constexpr int children = 8;
  std::array<int, 2> outcome{};
  std::array<int, 2> hold{};
  ASSERT_EQ(::pipe(outcome.data()), 0);
  ASSERT_EQ(::pipe(hold.data()), 0);
  std::vector<pid_t> processes;
  for (int i = 0; i < children; ++i) {
    pid_t const child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      ::close(hold[1]);
      File mine;
      char said = 'o';
      try {
        mine = opened();
      } catch (std::runtime_error const& exception) {
        said = exception.what() == file.path() + ": in use by another process" ? 'u' : '?';
      }
      bool const told = ::write(outcome[1], &said, 1) == 1;
      char end = 0;
      bool const ended = ::read(hold[0], &end, 1) == 0;
      ::_exit(told && ended ? 0 : 1);
    }
    processes.push_back(child);
  }
  ::close(hold[0]);
  std::string said;
  char one = 0;
  while (said.size() < children && ::read(outcome[0], &one, 1) == 1) said += one;
  ::close(hold[1]);
  for (pid_t const child : processes) {
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  ::close(outcome[0]);
  ::close(outcome[1]);
  std::sort(said.begin(), said.end());
  EXPECT_EQ(said, "o" + std::string(children - 1, 'u'));
  EXPECT_EQ(file.names(), std::vector<std::string>{"asic"});
}

TEST_F(DeviceFiles, AreNotMadeOfOtherFiles) {
  file.bytesAre("route add 10.0.0.0/8 via 192.0.2.1 dev eth0, and so on for many more bytes\n");
  EXPECT_EQ(refused(), "not a file of simulated hardware");
  file.bytesAre("short");
  EXPECT_EQ(refused(), "not a file of simulated hardware");
  file.bytesAre("");
  EXPECT_EQ(refused(), "not a file of simulated hardware");
}

TEST_F(DeviceFiles, AreNotMadeOfWhatIsNoFile) {
  ASSERT_EQ(::mkfifo(file.path().c_str(), 0600), 0);
  EXPECT_EQ(thrown<std::runtime_error>([&] { (void)opened(); }),
            file.path() + ": not a file of simulated hardware");
  std::filesystem::remove(file.path());
  std::filesystem::create_directory(file.path());
  EXPECT_EQ(thrown<std::system_error>([&] { (void)opened(); }),
            file.path() + ": cannot open: Is a directory");
}

TEST_F(DeviceFiles, AreNotMadeWhereTheyCannotBe) {
  std::string const path = file.directory() + "/no/such/asic";
  EXPECT_EQ(thrown<std::system_error>([&] { DeviceFile(path, sizes); }),
            path + ": cannot create: No such file or directory");
  std::filesystem::create_symlink(file.directory() + "/nowhere", file.path());
  EXPECT_EQ(thrown<std::system_error>([&] { (void)opened(); }),
            file.path() + ": cannot create: File exists");
  EXPECT_EQ(file.names(), std::vector<std::string>{"asic"});
}

TEST_F(DeviceFiles, DoNotHaveTheirNameWhenThereIsNoRoomForAllRows) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  rlimit const small{100, before.rlim_max};
  auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  std::string const text = thrown<std::system_error>([&] { (void)opened(); });
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(text, file.path() + ": cannot create: File too large");
  EXPECT_EQ(file.names(), std::vector<std::string>{});
}

TEST_F(DeviceFiles, OfAnotherVersionAreRefused) {
  (void)opened();
  byteIs(versionAt, 2);
  EXPECT_EQ(refused(), "of format version 2, where 1 is expected");
  byteIs(versionAt, 1);
  EXPECT_NO_THROW((void)opened());
}

TEST_F(DeviceFiles, OfOtherSizesAreRefusedWhicheverItIs) {
  (void)opened();
  std::string const made = "made for 16 next hops (6 for ECMP), 12 members and 8 groups, where ";
  DeviceSizes other = sizes;
  other.nextHops = 17;
  EXPECT_EQ(refused(other),
            made + "17 next hops (6 for ECMP), 12 members and 8 groups are expected");
  other = sizes;
  other.ecmpNextHops = 5;
  EXPECT_EQ(refused(other),
            made + "16 next hops (5 for ECMP), 12 members and 8 groups are expected");
  other = sizes;
  other.members = 11;
  EXPECT_EQ(refused(other),
            made + "16 next hops (6 for ECMP), 11 members and 8 groups are expected");
  other = sizes;
  other.groups = 9;
  EXPECT_EQ(refused(other),
            made + "16 next hops (6 for ECMP), 12 members and 9 groups are expected");
}

TEST_F(DeviceFiles, OfAnotherLayoutOfRowsAreRefused) {
  (void)opened();
  for (std::size_t table = 0; table < 3; ++table) {
    std::string const good = file.bytes();
    byteIs(contentsBytesAt + 4 * table, 99);
    EXPECT_EQ(refused(), "of another layout of rows");
    file.bytesAre(good);
  }
}

TEST_F(DeviceFiles, ThatAreCutShortAreRefused) {
  (void)opened();
  std::string const whole = file.bytes();
  std::string const full = " bytes instead of " + std::to_string(whole.size());
  for (std::size_t const left : {whole.size() - 1, headerBytes, headerBytes - 1, std::size_t{8}}) {
    file.bytesAre(whole.substr(0, left));
    EXPECT_EQ(refused(), "truncated: " + std::to_string(left) + full);
  }
  file.bytesAre(whole + "x");
  EXPECT_EQ(refused(), "too long: " + std::to_string(whole.size() + 1) + full);
}

TEST_F(DeviceFiles, WithARowThatNoWriteLeavesBehindAreRefused) {
  opened()->groups()[5].contentsIs(wholly<GroupContents>(1));
  std::string const one = file.bytes();
  opened()->groups()[5].contentsDel();
  std::string const none = file.bytes();
  // What says which copy is in force is where the two differ.
  auto const at = static_cast<std::size_t>(
      std::mismatch(one.begin(), one.end(), none.begin()).first - one.begin());
  ASSERT_LT(at, one.size());
  byteIs(at, 3);
  EXPECT_EQ(refused(), "damaged: group row 5");
}

}  // namespace
}  // namespace SoftAsicTests
