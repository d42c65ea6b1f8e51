// The file that says over a restart which number stands for what.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>

#include "agent/Numbering.h"
#include "agent/OwnerBook.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using Kind = OwnerBook::Kind;
using Owners = OwnerBook::Owners;

std::string const firstLine = "orvia-l3-agent owners 1\n";

class OwnerBookTest : public ::testing::Test {
 protected:
  OwnerBookTest() { fileDel(); }

  [[nodiscard]] std::string path() const { return file_.path(); }
  [[nodiscard]] std::string content() const { return contentOf(path()); }
  void contentIs(std::string const& text) const { std::ofstream(path(), std::ios::binary) << text; }
  void fileDel() const { std::filesystem::remove(path()); }
  // What opening the file complains of, with the file's name left out.
  [[nodiscard]] std::string complaint() const {
    try {
      OwnerBook const book(path());
    } catch (std::runtime_error const& error) {
      std::string text = error.what();
      if (text.starts_with(path())) text.erase(0, path().size());
      return text;
    }
    return "nothing";
  }

 private:
  TemporaryFile file_;
};

TEST_F(OwnerBookTest, BeginsEmpty) {
  OwnerBook const book(path());
  EXPECT_EQ(book.owners(Kind::row), Owners());
  EXPECT_EQ(content(), firstLine);
}

TEST_F(OwnerBookTest, HasEachChangeInTheFileAtOnce) {
  OwnerBook book(path());
  book.note(Kind::row, 5, "vrf 0 inet dev 3 via 10.0.1.2");
  EXPECT_EQ(content(), firstLine + "row 5 vrf 0 inet dev 3 via 10.0.1.2\n");
  book.note(Kind::mtuProfile, 1, "1500");
  book.strike(Kind::row, 5);
  EXPECT_EQ(content(),
            firstLine + "row 5 vrf 0 inet dev 3 via 10.0.1.2\nmtu-profile 1 1500\nrow 5\n");
}

TEST_F(OwnerBookTest, KnowsAfterARestartWhatWasNotStruck) {
  {
    OwnerBook book(path());
    book.note(Kind::row, 5, "vrf 0 inet dev 3");
    book.note(Kind::row, 6, "vrf 0 inet dev 4");
    book.note(Kind::interface, 5, "3");
    book.strike(Kind::row, 5);
  }
  OwnerBook const again(path());
  EXPECT_EQ(again.owners(Kind::row), (Owners{{6, "vrf 0 inet dev 4"}}));
  EXPECT_EQ(again.owners(Kind::interface), (Owners{{5, "3"}}));
  EXPECT_EQ(again.owners(Kind::neighbour), Owners());
  // Written anew: what is history is gone.
  EXPECT_EQ(content(), firstLine + "row 6 vrf 0 inet dev 4\ninterface 5 3\n");
}

TEST_F(OwnerBookTest, TakesTheLaterLine) {
  contentIs(firstLine + "row 5 vrf 0 inet dev 3\nrow 5 vrf 0 inet dev 4\nrow 6 vrf 0 inet dev 4\n");
  OwnerBook const book(path());
  EXPECT_EQ(book.owners(Kind::row), (Owners{{6, "vrf 0 inet dev 4"}}));
}

TEST_F(OwnerBookTest, DropsALineThatWasCutOff) {
  contentIs(firstLine + "row 5 vrf 0 inet dev 3\nrow 6 vrf 0 inet de");
  OwnerBook const book(path());
  EXPECT_EQ(book.owners(Kind::row), (Owners{{5, "vrf 0 inet dev 3"}}));
  EXPECT_EQ(content(), firstLine + "row 5 vrf 0 inet dev 3\n");
}

TEST_F(OwnerBookTest, RefusesWhatIsNoBookAndLeavesItAlone) {
  for (std::string const text :
       {"orvia-l3-agent owners 1", "orvia-l3-agent owners 2\n", "hello\n", "\n"}) {
    contentIs(text);
    EXPECT_EQ(complaint(),
              ": this is no file of owners: its first line is not \"orvia-l3-agent owners 1\"");
    EXPECT_EQ(content(), text);
  }
}

TEST_F(OwnerBookTest, TakesAnEmptyFileForANewOne) {
  contentIs("");
  EXPECT_EQ(complaint(), "nothing");
  EXPECT_EQ(content(), firstLine);
}

TEST_F(OwnerBookTest, NamesTheLineThatIsNone) {
  for (std::string const line :
       {"row", "row x vrf 0 inet dev 3", "rows 5 vrf 0 inet dev 3", "row 5 vrf 0 inet dev",
        "row 5 vrf 0 inet dev 3 via", "row 5 vrf 0 inet dev 3 via 10.0.0", "row 5 vrf 0 ip dev 3",
        "row 5 vrf 0 inet dev 3 online", "row 5 vrf 0 inet dev 3 onlink now", "interface 5 x",
        "interface 5 3 4", "row -5 vrf 0 inet dev 3", "row 4294967296 vrf 0 inet dev 3", ""}) {
    std::string const text = firstLine + "row 9 vrf 0 inet dev 9\n" + line + "\n";
    contentIs(text);
    EXPECT_EQ(complaint(), ":3: this is no line of a file of owners: " + line);
    EXPECT_EQ(content(), text);
  }
}

TEST_F(OwnerBookTest, CannotBeWhereItsDirectoryIsNot) {
  EXPECT_THROW(OwnerBook("/nowhere/at/all"), std::system_error);
}

TEST_F(OwnerBookTest, WritesNothingAfterItsClose) {
  OwnerBook book(path());
  book.note(Kind::row, 5, "vrf 0 inet dev 3");
  book.close();
  std::string const before = content();
  book.strike(Kind::row, 5);
  book.note(Kind::row, 6, "vrf 0 inet dev 4");
  EXPECT_EQ(content(), before);
  EXPECT_FALSE(book.error());
}

TEST_F(OwnerBookTest, IsWrittenAnewWhenMostOfItIsHistory) {
  OwnerBook book(path());
  book.note(Kind::interface, 7, "7");
  for (int i = 0; i < 40000; ++i) {
    book.note(Kind::row, 5, "vrf 0 inet dev 3");
    book.strike(Kind::row, 5);
  }
  EXPECT_LT(std::filesystem::file_size(path()), 65540U * 32U);
  OwnerBook const again(path());
  EXPECT_EQ(again.owners(Kind::interface), (Owners{{7, "7"}}));
  EXPECT_EQ(again.owners(Kind::row), Owners());
}

TEST_F(OwnerBookTest, KeepsTheFirstFailureToWrite) {
  // In a child: the limit of a file's size holds for the process.
  EXPECT_EXIT(
      {
        OwnerBook book(path());
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit{};
        limit.rlim_cur = limit.rlim_max = firstLine.size() + 10;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        book.note(Kind::row, 5, "vrf 0 inet dev 3");
        book.note(Kind::row, 6, "vrf 0 inet dev 4");
        bool const isTold = book.error() && book.error()->code() == std::errc::file_too_large;
        std::_Exit(isTold ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
  // What was cut off is dropped.
  OwnerBook const again(path());
  EXPECT_EQ(again.owners(Kind::row), Owners());
}

TEST_F(OwnerBookTest, ReadsEveryIdentityBack) {
  for (Identity const& identity :
       {via(3, "10.0.1.2"), via(3, "10.0.1.2", true), via(4294967295, "fe80::1"),
        Identity(7, Asic::AddressFamily::ipv4, 3), Identity(0, Asic::AddressFamily::ipv6, 3),
        Identity(0, Asic::AddressFamily::none, 0)}) {
    std::optional<Identity> read;
    ownerOf(ownerText(identity), read);
    EXPECT_EQ(read, identity) << ownerText(identity);
  }
}

// --- Numbers by such a book.

class NumberingTest : public OwnerBookTest {
 protected:
  using Numbers = Numbering<std::uint64_t>;

  [[nodiscard]] OwnerPage page() const {
    return {std::make_shared<OwnerBook>(path()), Kind::interface};
  }
};

TEST_F(NumberingTest, GivesTheLowestFreeNumberWithoutABook) {
  Numbers numbers(1, 3);
  EXPECT_EQ(numbers.take(70), 1U);
  EXPECT_EQ(numbers.take(80), 2U);
  numbers.giveBack(1);
  EXPECT_EQ(numbers.take(90), 1U);
  EXPECT_EQ(numbers.take(100), 3U);
  EXPECT_EQ(numbers.take(110), std::nullopt);
}

TEST_F(NumberingTest, GivesEverybodyHisNumberOfBefore) {
  {
    Numbers numbers(1, 10, page());
    EXPECT_EQ(numbers.take(70), 1U);
    EXPECT_EQ(numbers.take(80), 2U);
    EXPECT_EQ(numbers.take(90), 3U);
    numbers.giveBack(2);
  }
  Numbers numbers(1, 10, page());
  EXPECT_EQ(numbers.kept(), 2U);
  EXPECT_EQ(numbers.remembered(3), 90U);
  EXPECT_EQ(numbers.remembered(2), std::nullopt);
  EXPECT_EQ(numbers.take(90), 3U);
  EXPECT_EQ(numbers.take(100), 2U);  // 1 is kept for 70
  EXPECT_EQ(numbers.take(110), 4U);
  EXPECT_EQ(numbers.take(70), 1U);
  EXPECT_EQ(numbers.kept(), 0U);
}

TEST_F(NumberingTest, ForgetsWhoDidNotComeBack) {
  {
    Numbers numbers(1, 3, page());
    for (std::uint64_t const key : {70, 80, 90}) EXPECT_TRUE(numbers.take(key));
  }
  Numbers numbers(1, 3, page());
  EXPECT_EQ(numbers.take(100), std::nullopt);
  EXPECT_EQ(numbers.take(70), 1U);
  numbers.forget();
  EXPECT_EQ(numbers.kept(), 0U);
  EXPECT_EQ(numbers.take(100), 2U);
  EXPECT_EQ(numbers.take(80), 3U);
  EXPECT_EQ(numbers.take(90), std::nullopt);
  EXPECT_EQ(content(), firstLine +
                           "interface 1 70\ninterface 2 80\ninterface 3 90\ninterface 2\n"
                           "interface 3\ninterface 2 100\ninterface 3 80\n");
}

TEST_F(NumberingTest, GivesNoNumberThatCannotBeNoted) {
  auto const book = std::make_shared<OwnerBook>(path());
  EXPECT_EXIT(
      {
        Numbers numbers(1, 3, OwnerPage(book, Kind::interface));
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit{};
        limit.rlim_cur = limit.rlim_max = firstLine.size() + 4;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        bool const isNone = !numbers.take(70) && !numbers.take(80) && book->error();
        std::_Exit(isNone ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

// --- Numbers that the hardware names.

TEST_F(NumberingTest, KeepsANumberThatTheHardwareStillNames) {
  std::set<std::uint32_t> named;
  Numbers numbers(1, 3, page(), [&](std::uint32_t number) { return named.contains(number); });
  numbers.forget();
  EXPECT_EQ(numbers.take(70), 1U);
  EXPECT_EQ(numbers.take(80), 2U);
  named = {1};
  numbers.giveBack(1, 70);
  numbers.giveBack(2, 80);
  EXPECT_EQ(numbers.take(90), 2U);
  EXPECT_EQ(numbers.take(100), 3U);
  EXPECT_EQ(numbers.take(110), std::nullopt);
  EXPECT_EQ(numbers.take(70), 1U);  // its own
  numbers.giveBack(1, 70);
  EXPECT_EQ(OwnerBook(path()).owners(Kind::interface).at(1), "70");
  named = {};
  numbers.unnamed(1);
  EXPECT_EQ(numbers.take(110), 1U);
}

TEST_F(NumberingTest, KeepsANumberOfBeforeForItsOwnerThoughNoRowNamesItYet) {
  contentIs(firstLine + "interface 1 70\n");
  Numbers numbers(1, 3, page(), [](std::uint32_t) { return false; });
  numbers.unnamed(1);
  EXPECT_EQ(numbers.take(80), 2U);
  EXPECT_EQ(numbers.take(70), 1U);
}

TEST_F(NumberingTest, TakesNoNumberThatANobodysRowNames) {
  std::set<std::uint32_t> named{1, 3, 9};
  Numbers numbers(1, 4, page(), [&](std::uint32_t number) { return named.contains(number); });
  EXPECT_EQ(numbers.take(70), 2U);
  EXPECT_EQ(numbers.take(80), 4U);
  EXPECT_EQ(numbers.take(90), std::nullopt);
  named = {1};
  numbers.unnamed(3);
  EXPECT_EQ(numbers.take(90), 3U);
}

TEST_F(NumberingTest, DropsWhatIsOutsideItsRange) {
  contentIs(firstLine + "interface 1 70\ninterface 9 80\ninterface 0 90\n");
  Numbers numbers(1, 3, page());
  EXPECT_EQ(numbers.kept(), 1U);
  EXPECT_EQ(numbers.take(80), 2U);
  OwnerBook const again(path());
  EXPECT_EQ(again.owners(Kind::interface), (Owners{{1, "70"}, {2, "80"}}));
}

TEST_F(NumberingTest, ReservesForWhatHasNoName) {
  contentIs(firstLine + "interface 1 70\n");
  Numbers numbers(1, 4, page());
  EXPECT_TRUE(numbers.reserve(1));  // kept for 70, who loses it
  EXPECT_TRUE(numbers.reserve(3));
  EXPECT_FALSE(numbers.reserve(3));
  EXPECT_FALSE(numbers.reserve(5));
  EXPECT_EQ(numbers.take(70), 2U);
  EXPECT_EQ(numbers.take(80), 4U);
  numbers.giveBack(3);
  EXPECT_EQ(numbers.take(90), 3U);
}

}  // namespace
}  // namespace OrviaL3Agent
