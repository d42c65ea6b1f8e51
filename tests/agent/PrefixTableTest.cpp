// Prefixes and longest match.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "agent/PrefixTable.h"

namespace OrviaL3Agent {
namespace {

using Fpm::Address;
using Fpm::Prefix;

Address address(std::string const& text) { return addressOf(text).value(); }

Prefix prefix(std::string const& text, unsigned length) {
  return {static_cast<std::uint8_t>(length), address(text)};
}

using Table = PrefixTable<std::string>;

std::string match(Table const& table, std::string const& text) {
  Table::Entry const* entry = table.longestMatch(address(text));
  return entry == nullptr ? "none" : Fpm::text(entry->first) + " " + entry->second;
}

TEST(AddressOf, ReadsBothFamilies) {
  Address const ipv4 = address("10.1.2.3");
  EXPECT_EQ(ipv4.family, AF_INET);
  EXPECT_EQ(ipv4.bytes, (std::array<std::uint8_t, 16>{10, 1, 2, 3}));
  Address const ipv6 = address("fe80::1");
  EXPECT_EQ(ipv6.family, AF_INET6);
  EXPECT_EQ(ipv6.bytes, (std::array<std::uint8_t, 16>{0xfe, 0x80, 0, 0, 0, 0, 0, 0,  //
                                                      0, 0, 0, 0, 0, 0, 0, 1}));
}

TEST(AddressOf, TakesNothingElse) {
  for (std::string const text : {"", "10.1.2", "10.1.2.256", "10.1.2.3/8", " 10.1.2.3", "10.1.2.3 ",
                                 "fe80:", "fe80::1%eth0", "name"}) {
    EXPECT_FALSE(addressOf(text)) << text;
  }
  EXPECT_FALSE(addressOf(std::string_view("10.1.2.3\0x", 10)));
}

TEST(AddressOf, ReadsNoFurtherThanTheView) {
  std::string_view const longer = "10.1.2.34";
  EXPECT_EQ(addressOf(longer.substr(0, 8)), addressOf("10.1.2.3"));
}

TEST(PrefixTable, IgnoresBitsBeyondTheLength) {
  Table table;
  table.insertOrFind(prefix("10.1.2.3", 8)) = "ten";
  ASSERT_NE(table.find(prefix("10.0.0.0", 8)), nullptr);
  EXPECT_EQ(table.find(prefix("10.200.0.1", 8)), table.find(prefix("10.0.0.0", 8)));
  EXPECT_EQ(Fpm::text(table.begin()->first), "10.0.0.0/8");
  EXPECT_EQ(table.find(prefix("10.0.0.0", 9)), nullptr);
  table.insertOrFind(prefix("2001:db8:ffff::1", 33)) = "v6";
  EXPECT_NE(table.find(prefix("2001:db8:8000::", 33)), nullptr);
  EXPECT_EQ(table.find(prefix("2001:db8::", 33)), nullptr);
  EXPECT_TRUE(table.erase(prefix("10.9.9.9", 8)));
  EXPECT_EQ(table.size(), 1U);
}

TEST(PrefixTable, IgnoresBytesThatAnIpv4AddressDoesNotUse) {
  Address dirty = address("10.0.0.1");
  dirty.bytes[4] = 0xFF;
  dirty.bytes[15] = 1;
  Table table;
  table.insertOrFind({32, dirty}) = "host";
  EXPECT_NE(table.find(prefix("10.0.0.1", 32)), nullptr);
  EXPECT_NE(table.longestMatch(address("10.0.0.1")), nullptr);
  EXPECT_NE(table.longestMatch(dirty), nullptr);
}

TEST(PrefixTable, InsertsOnceAndFindsAfterwards) {
  Table table;
  EXPECT_TRUE(table.empty());
  std::string& value = table.insertOrFind(prefix("10.0.0.0", 8));
  EXPECT_EQ(value, "");
  value = "a";
  EXPECT_EQ(&table.insertOrFind(prefix("10.0.0.0", 8)), &value);
  EXPECT_EQ(table.size(), 1U);
  EXPECT_EQ(*std::as_const(table).find(prefix("10.0.0.0", 8)), "a");
  EXPECT_TRUE(table.erase(prefix("10.0.0.0", 8)));
  EXPECT_FALSE(table.erase(prefix("10.0.0.0", 8)));
  EXPECT_TRUE(table.empty());
  EXPECT_EQ(match(table, "10.0.0.1"), "none");
}

TEST(PrefixTable, MatchesTheLongestPrefix) {
  Table table;
  table.insertOrFind(prefix("0.0.0.0", 0)) = "default";
  table.insertOrFind(prefix("10.0.0.0", 8)) = "a";
  table.insertOrFind(prefix("10.1.0.0", 16)) = "b";
  table.insertOrFind(prefix("10.1.2.3", 32)) = "host";
  EXPECT_EQ(match(table, "10.1.2.3"), "10.1.2.3/32 host");
  EXPECT_EQ(match(table, "10.1.2.4"), "10.1.0.0/16 b");
  EXPECT_EQ(match(table, "10.2.0.0"), "10.0.0.0/8 a");
  EXPECT_EQ(match(table, "11.0.0.0"), "0.0.0.0/0 default");
  table.erase(prefix("10.1.0.0", 16));
  EXPECT_EQ(match(table, "10.1.2.4"), "10.0.0.0/8 a");
  table.erase(prefix("0.0.0.0", 0));
  EXPECT_EQ(match(table, "11.0.0.0"), "none");
}

TEST(PrefixTable, MatchesFromTheDefaultRouteToTheHostRouteOfIpv6) {
  Table table;
  table.insertOrFind(prefix("::", 0)) = "default";
  table.insertOrFind(prefix("2001:db8::1", 128)) = "host";
  table.insertOrFind(prefix("2001:db8::", 127)) = "pair";
  EXPECT_EQ(match(table, "2001:db8::1"), "2001:db8::1/128 host");
  EXPECT_EQ(match(table, "2001:db8::"), "2001:db8::/127 pair");
  EXPECT_EQ(match(table, "2001:db8::2"), "::/0 default");
}

TEST(PrefixTable, KeepsTheFamiliesApart) {
  Table table;
  table.insertOrFind(prefix("0.0.0.0", 0)) = "v4";
  EXPECT_EQ(match(table, "::"), "none");
  table.insertOrFind(prefix("::", 0)) = "v6";
  EXPECT_EQ(match(table, "::"), "::/0 v6");
  EXPECT_EQ(match(table, "0.0.0.0"), "0.0.0.0/0 v4");
  // The same bytes, the same length.
  table.insertOrFind(prefix("10.0.0.0", 8)) = "ten";
  EXPECT_EQ(table.find(prefix("a00::", 8)), nullptr);
  EXPECT_TRUE(table.erase(prefix("::", 0)));
  EXPECT_EQ(match(table, "::"), "none");
  EXPECT_EQ(table.size(), 2U);
}

TEST(PrefixTable, VisitsByFamilyAddressAndLength) {
  Table table;
  for (auto const& [text, length] :
       {std::pair("2001:db8::", 32U), std::pair("10.1.0.0", 16U), std::pair("10.0.0.0", 8U),
        std::pair("::", 0U), std::pair("10.0.0.0", 16U), std::pair("9.0.0.0", 24U),
        std::pair("0.0.0.0", 0U)}) {
    table.insertOrFind(prefix(text, length));
  }
  std::vector<std::string> visited;
  for (auto const& [key, value] : table) visited.push_back(Fpm::text(key));
  EXPECT_EQ(visited,
            (std::vector<std::string>{"0.0.0.0/0", "9.0.0.0/24", "10.0.0.0/8", "10.0.0.0/16",
                                      "10.1.0.0/16", "::/0", "2001:db8::/32"}));
}

TEST(PrefixTable, RefusesWhatIsNoPrefix) {
  Table table;
  EXPECT_THROW(table.insertOrFind(prefix("10.0.0.0", 33)), std::invalid_argument);
  EXPECT_THROW((void)table.find(prefix("::", 129)), std::invalid_argument);
  EXPECT_THROW(table.erase({0, Address{}}), std::invalid_argument);
  EXPECT_TRUE(table.empty());
  EXPECT_EQ(table.longestMatch(Address{}), nullptr);
}

// The definition, word by word.
bool covers(Prefix const& prefix, Address const& address) {
  if (prefix.address.family != address.family) return false;
  for (unsigned bit = 0; bit < prefix.length; ++bit) {
    unsigned const mask = 0x80U >> (bit % 8);
    if (((prefix.address.bytes[bit / 8] ^ address.bytes[bit / 8]) & mask) != 0) return false;
  }
  return true;
}

class RandomPrefixes {
 public:
  Address address() {
    Address out;
    out.family = pick(2) == 0 ? AF_INET : AF_INET6;
    std::size_t const size = out.family == AF_INET ? 4 : 16;
    // Few values, so that prefixes nest and addresses meet them.
    static constexpr std::array<std::uint8_t, 4> kBytes{0, 1, 0x80, 0xFF};
    for (std::size_t i = 0; i < size; ++i) out.bytes[i] = kBytes[pick(kBytes.size())];
    return out;
  }
  Prefix prefix() {
    Prefix out;
    out.address = address();
    out.length = static_cast<std::uint8_t>(pick(out.address.family == AF_INET ? 33 : 129));
    return out;
  }
  std::size_t pick(std::size_t count) { return random_() % count; }

 private:
  std::mt19937 random_{20261121};
};

TEST(PrefixTable, AgreesWithALinearScan) {
  RandomPrefixes random;
  PrefixTable<int> table;
  std::vector<std::pair<Prefix, int>> all;  // host bits as they came
  auto const known = [&all](Prefix const& prefix) {
    return std::find_if(all.begin(), all.end(), [&prefix](auto const& other) {
      return other.first.length == prefix.length && covers(other.first, prefix.address);
    });
  };
  auto const expectSameMatch = [&](Address const& address) {
    std::pair<Prefix, int> const* best = nullptr;
    for (auto const& entry : all) {
      if (covers(entry.first, address) && (!best || entry.first.length > best->first.length)) {
        best = &entry;
      }
    }
    auto const* const found = table.longestMatch(address);
    EXPECT_EQ(found != nullptr, best != nullptr) << Fpm::text(address);
    if (best == nullptr || found == nullptr) return false;
    EXPECT_EQ(found->first.length, best->first.length) << Fpm::text(address);
    EXPECT_EQ(found->second, best->second) << Fpm::text(address);
    return true;
  };
  int matches = 0;
  int erased = 0;
  for (int i = 0; i < 10000; ++i) {
    Prefix const prefix = random.prefix();
    auto const at = known(prefix);
    if (random.pick(8) == 0) {
      ASSERT_EQ(table.erase(prefix), at != all.end()) << Fpm::text(prefix);
      if (at != all.end()) {
        all.erase(at);
        ++erased;
      }
    } else {
      table.insertOrFind(prefix) = i;
      if (at == all.end()) {
        all.emplace_back(prefix, i);
      } else {
        at->second = i;
      }
    }
    ASSERT_EQ(table.size(), all.size());
    if (i % 10 == 0 && expectSameMatch(random.address())) ++matches;
  }
  for (int i = 0; i < 1000; ++i) {
    if (expectSameMatch(random.address())) ++matches;
  }
  // What was compared was worth comparing.
  EXPECT_GT(all.size(), 4000U);
  EXPECT_GT(matches, 1000);
  EXPECT_GT(erased, 10);
}

}  // namespace
}  // namespace OrviaL3Agent
