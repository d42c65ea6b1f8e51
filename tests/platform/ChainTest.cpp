// The intrusive list that may change while it is walked.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <deque>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "Vek/Chain.h"

namespace {

struct Link {
  char name = '?';
  Vek::ChainHook<Link> hook;
};
struct LinkHook {
  static Vek::ChainHook<Link>& of(Link& link) { return link.hook; }
};
using LinkChain = Vek::Chain<Link, LinkHook>;

class ChainTest : public testing::Test {
 protected:
  ChainTest() {
    for (std::size_t i = 0; i < links.size(); ++i) links[i].name = static_cast<char>('a' + i);
  }
  void join(std::string const& names) {
    for (char const name : names) chain.append(link(name));
  }
  Link& link(char name) { return links[static_cast<std::size_t>(name - 'a')]; }
  // Walks by hand, from first() over next().
  std::string members() const {
    std::string names;
    for (Link* at = chain.first(); at != nullptr; at = LinkChain::next(*at)) names += at->name;
    return names;
  }
  std::string walked(std::function<void(char)> const& step = {}) {
    std::string names;
    chain.walk([&](Link& at) {
      names += at.name;
      if (step) step(at.name);
    });
    return names;
  }

  LinkChain chain;
  std::array<Link, 8> links;
};

TEST_F(ChainTest, StartsEmpty) {
  EXPECT_TRUE(chain.empty());
  EXPECT_EQ(chain.first(), nullptr);
  EXPECT_EQ(walked(), "");
}

TEST_F(ChainTest, KeepsTheOrderOfJoining) {
  join("cab");
  EXPECT_FALSE(chain.empty());
  EXPECT_EQ(members(), "cab");
  EXPECT_EQ(walked(), "cab");
}

TEST_F(ChainTest, RemovesFirstMiddleLastAndOnlyMembers) {
  join("abcde");
  chain.remove(link('a'));
  EXPECT_EQ(members(), "bcde");
  chain.remove(link('c'));
  EXPECT_EQ(members(), "bde");
  chain.remove(link('e'));
  EXPECT_EQ(members(), "bd");
  join("a");
  EXPECT_EQ(members(), "bda");
  for (char const name : std::string("bad")) chain.remove(link(name));
  EXPECT_TRUE(chain.empty());
  join("c");
  EXPECT_EQ(members(), "c");
}

TEST_F(ChainTest, AnExceptionEndsTheWalkAndLeavesTheChainUsable) {
  join("abc");
  EXPECT_THROW(walked([](char name) {
                 if (name == 'b') throw std::runtime_error("stop");
               }),
               std::runtime_error);
  chain.remove(link('b'));  // would reach into a walk that is still noted
  EXPECT_EQ(walked(), "ac");
}

// What a walk must show, told without a chain: the members of its start, as long as each is in
// without having left since.
TEST_F(ChainTest, WalksVisitTheMembersOfTheirStartThatNeverLeftWhateverChanges) {
  std::mt19937 random(20);  // NOLINT(cert-msc51-cpp): reproducible
  auto const upTo = [&](int n) { return std::uniform_int_distribution<int>(0, n)(random); };
  std::size_t changesInside = 0;
  for (int round = 0; round < 3000; ++round) {
    LinkChain subject;
    std::deque<Link> storage(8);
    std::vector<int> model;                // members in order
    std::array<unsigned, 8> departures{};  // how often each one left
    auto const change = [&] {
      int const which = upTo(7);
      auto& member = storage[static_cast<std::size_t>(which)];
      auto const found = std::find(model.begin(), model.end(), which);
      if (found == model.end()) {
        subject.append(member);
        model.push_back(which);
      } else {
        subject.remove(member);
        model.erase(found);
        ++departures[static_cast<std::size_t>(which)];
      }
    };
    for (int i = upTo(12); i > 0; --i) change();

    std::function<void(int)> const walk = [&](int depth) {
      std::vector<int> const expected = model;
      std::array<unsigned, 8> const departuresAtStart = departures;
      std::size_t next = 0;
      auto const skipDeparted = [&] {
        while (next < expected.size()) {
          auto const index = static_cast<std::size_t>(expected[next]);
          if (departures[index] == departuresAtStart[index]) return;
          ++next;
        }
      };
      subject.walk([&](Link& at) {
        skipDeparted();
        ASSERT_LT(next, expected.size()) << "visited one too many";
        ASSERT_EQ(&at, &storage[static_cast<std::size_t>(expected[next])]);
        ++next;
        for (int i = upTo(3); i > 0; --i) {
          change();
          ++changesInside;
        }
        if (depth < 2 && upTo(4) == 0) walk(depth + 1);
        for (int i = upTo(1); i > 0; --i) change();
      });
      skipDeparted();
      ASSERT_EQ(next, expected.size()) << "a member of the start was not visited";
    };
    walk(0);
    std::vector<int> left;
    for (Link* at = subject.first(); at != nullptr; at = LinkChain::next(*at)) {
      for (int i = 0; i < 8; ++i) {
        if (&storage[static_cast<std::size_t>(i)] == at) left.push_back(i);
      }
    }
    ASSERT_EQ(left, model);
  }
  EXPECT_GT(changesInside, 1000U);
}

}  // namespace
