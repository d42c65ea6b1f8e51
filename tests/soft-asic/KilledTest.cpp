// A process that is killed while it writes rows leaves each of them as it was before or as it was
// to be, never in between.
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <random>
#include <set>
#include <vector>

#include "HardwareFile.h"
#include "SoftTables.h"

namespace SoftAsicTests {
namespace {

using SoftAsic::DeviceFile;
using SoftAsic::GroupContents;
using SoftAsic::MemberContents;
using SoftAsic::NextHopContents;

constexpr SoftAsic::DeviceSizes sizes = Tables::sizes;

// A child that runs work(say) until it is killed; say() tells the parent that it is under way.
class Child {
 public:
  template <class Work>
  explicit Child(Work const& work) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) return;
    process_ = ::fork();
    if (process_ == 0) {
      try {
        work([&] {
          if (::write(ends[1], "!", 1) != 1) ::_exit(2);
        });
      } catch (...) {
        ::_exit(3);
      }
      ::_exit(4);
    }
    ::close(ends[1]);
    char said = 0;
    isUnderWay_ = ::read(ends[0], &said, 1) == 1;
    ::close(ends[0]);
  }
  Child(Child const&) = delete;
  Child& operator=(Child const&) = delete;
  ~Child() {
    if (process_ > 0) kill();
  }

  [[nodiscard]] bool isUnderWay() const { return isUnderWay_; }
  // Returns whether that, and nothing else, was its end.
  bool kill() {
    int status = 0;
    ::kill(process_, SIGKILL);
    bool const ended = ::waitpid(process_, &status, 0) == process_;
    process_ = -1;
    return ended && WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  }

 private:
  pid_t process_ = -1;
  bool isUnderWay_ = false;
};

template <class Window>
void writeRows(Window& window, std::uint16_t number) {
  using Contents = typename Window::Contents;
  for (std::uint32_t i = 0; i < window.rows(); ++i) {
    Asic::Index const row = window.firstRow() + i;
    // Some rows are deleted in between, and some are written twice in a row.
    if ((number + i) % 5 == 0) window.erase(row);
    window.write(row, wholly<Contents>(static_cast<std::uint16_t>(number + i)));
    if ((number + i) % 7 == 0) {
      window.write(row, wholly<Contents>(static_cast<std::uint16_t>(~number)));
    }
  }
}

// What the rows of one table held after each round.
struct Seen {
  std::set<std::uint16_t> numbers;
  std::uint64_t rows = 0;
};

template <class Window>
void checkRows(Window const& window, Seen& seen) {
  using Contents = typename Window::Contents;
  for (std::uint32_t i = 0; i < window.rows(); ++i) {
    std::optional<Contents> const& contents = window.row(window.firstRow() + i).contents;
    if (!contents) continue;
    ++seen.rows;
    seen.numbers.insert(numberOf(*contents));
    EXPECT_EQ(*contents, wholly<Contents>(numberOf(*contents)));
  }
}

TEST(AKilledProcess, LeavesEveryRowWhole) {
  constexpr int rounds = 50;
  HardwareFile const file;
  std::mt19937 random(std::random_device{}());
  std::array<Seen, SoftAsic::kTables> seen;
  for (int round = 0; round < rounds; ++round) {
    Child child([&](auto const& say) {
      SoftDevice const device(sizes, {}, file.path());
      for (auto number = static_cast<std::uint32_t>(random());; ++number) {
        writeRows(device.ecmpNextHops(), static_cast<std::uint16_t>(number));
        writeRows(device.ingressNextHops(), static_cast<std::uint16_t>(number));
        writeRows(device.members(), static_cast<std::uint16_t>(number));
        writeRows(device.groups(), static_cast<std::uint16_t>(number));
        if (number % 16 == 0) say();
      }
    });
    ASSERT_TRUE(child.isUnderWay());
    ::usleep(static_cast<useconds_t>(random() % 3000));
    ASSERT_TRUE(child.kill());
    SoftDevice const device(sizes, {}, file.path());
    checkRows(device.ecmpNextHops(), seen[0]);
    checkRows(device.ingressNextHops(), seen[1]);
    checkRows(device.members(), seen[2]);
    checkRows(device.groups(), seen[3]);
  }
  // At most one row is empty at any moment, and the rounds were at different places.
  EXPECT_GE(seen[0].rows, rounds * (sizes.ecmpNextHops - 1U));
  EXPECT_GE(seen[1].rows, rounds * (sizes.nextHops - sizes.ecmpNextHops - 1U));
  EXPECT_GE(seen[2].rows, rounds * (sizes.members - 1U));
  EXPECT_GE(seen[3].rows, rounds * (sizes.groups - 1U));
  for (Seen const& table : seen) EXPECT_GT(table.numbers.size(), std::size_t{rounds});
}

// The file that has the name is whole whenever there is one.
TEST(AKilledProcess, LeavesNoHalfMadeFile) {
  HardwareFile const file;
  std::mt19937 random(std::random_device{}());
  int whole = 0;
  for (int round = 0; round < 30; ++round) {
    Child child([&](auto const& say) {
      say();
      for (;;) {
        {
          SoftDevice const device(sizes, {}, file.path());
          ::usleep(2000);
        }
        std::filesystem::remove(file.path());
      }
    });
    ASSERT_TRUE(child.isUnderWay());
    ::usleep(static_cast<useconds_t>(random() % 20000));
    ASSERT_TRUE(child.kill());
    if (!file.exists()) continue;
    ++whole;
    EXPECT_NO_THROW(DeviceFile(file.path(), sizes));
    std::filesystem::remove(file.path());
  }
  // There is one for a good part of the time.
  EXPECT_GT(whole, 0);
}

// The same at every instruction: the child, which shares the mapping, is run one by one.
template <class Contents>
void stepThroughWrites(SoftAsic::StoredRow<Contents>& row) {
  using Value = std::optional<Contents>;
  row.contentsIs(wholly<Contents>(0xA5A5));
  pid_t const child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) ::_exit(77);
    ::raise(SIGSTOP);
    row.contentsIs(wholly<Contents>(0x5A5A));
    row.contentsIs(wholly<Contents>(0x1234));
    row.contentsDel();
    row.contentsIs(wholly<Contents>(0xFFFF));
    row.contentsIs(wholly<Contents>(0));
    ::_exit(0);
  }
  std::vector<Value> values{row.contents()};
  int status = 0;
  std::uint64_t steps = 0;
  while (::waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
    Value const now = row.contents();
    if (now != values.back()) values.push_back(now);
    if (++steps > 5'000'000 || ::ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr) != 0) {
      ::kill(child, SIGKILL);
    }
  }
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "no process may be traced here";
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_GT(steps, 20U);
  std::vector<Value> const expected{wholly<Contents>(0xA5A5), wholly<Contents>(0x5A5A),
                                    wholly<Contents>(0x1234), std::nullopt,
                                    wholly<Contents>(0xFFFF), wholly<Contents>(0)};
  EXPECT_EQ(values.size(), expected.size());
  EXPECT_TRUE(values == expected);
}

TEST(AKilledProcess, LeavesANextHopWholeAtEveryInstruction) {
  HardwareFile const file;
  Vek::Ptr<DeviceFile> const rows = new DeviceFile(file.path(), sizes);
  stepThroughWrites(rows->nextHops()[3]);
}

TEST(AKilledProcess, LeavesAMemberWholeAtEveryInstruction) {
  HardwareFile const file;
  Vek::Ptr<DeviceFile> const rows = new DeviceFile(file.path(), sizes);
  stepThroughWrites(rows->members()[3]);
}

TEST(AKilledProcess, LeavesAGroupWholeAtEveryInstruction) {
  HardwareFile const file;
  Vek::Ptr<DeviceFile> const rows = new DeviceFile(file.path(), sizes);
  stepThroughWrites(rows->groups()[3]);
}

}  // namespace
}  // namespace SoftAsicTests
