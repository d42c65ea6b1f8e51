// Next-hop rows are objects of the kernel's.
#include <gmock/gmock.h>

#include "DeviceFixture.h"

namespace KernelNextHopTests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class NextHopObjects : public DeviceFixture {};

TEST_F(NextHopObjects, AWriteMakesAnObjectAndIsAnsweredLater) {
  writeHop(7, 3);
  EXPECT_THAT(answers, IsEmpty());
  EXPECT_EQ(inKernel(nextHopRow(7)), "none");
  settle();
  EXPECT_THAT(answers, ElementsAre("next hop 7: 1"));
  EXPECT_EQ(inKernel(nextHopRow(7)), gateway(3) + "@d0");
  EXPECT_EQ(id(nextHopRow(7)), kFirst + 7);
  EXPECT_TRUE(device->isInForce(nextHopRow(7)));
  EXPECT_EQ(device->nextHopsInForce(), 1U);
  EXPECT_EQ(plane.objects().at(kFirst + 7).at("protocol"), "200");
}

TEST_F(NextHopObjects, AnotherWriteReplacesIt) {
  writeHop(7, 3);
  settle();
  writeHop(7, 203);
  settle();
  EXPECT_THAT(answers, ElementsAre("next hop 7: 1", "next hop 7: 1"));
  EXPECT_EQ(inKernel(nextHopRow(7)), gateway(203) + "@d1");
}

TEST_F(NextHopObjects, ADeleteRemovesItAndHasNoAnswer) {
  writeHop(7, 3);
  settle();
  answers.clear();
  device->nextHopDel(7);
  settle();
  EXPECT_EQ(inKernel(nextHopRow(7)), "none");
  EXPECT_THAT(answers, IsEmpty());
  EXPECT_EQ(device->nextHopsInForce(), 0U);
}

TEST_F(NextHopObjects, WhatTheKernelRefusesIsRefusedInItsWords) {
  plane.run("ip addr flush dev d0");
  writeHop(7, 3);
  settle();
  EXPECT_THAT(answers, ElementsAre("next hop 7: 2"));
  EXPECT_EQ(device->refusal(nextHopRow(7)), "Nexthop has invalid gateway");
  EXPECT_FALSE(device->isInForce(nextHopRow(7)));
}

TEST_F(NextHopObjects, ARefusedReplacementLeavesWhatIsThere) {
  writeHop(7, 3);
  settle();
  plane.run("ip addr flush dev d1");
  writeHop(7, 203);
  settle();
  EXPECT_THAT(answers, ElementsAre("next hop 7: 1", "next hop 7: 2"));
  EXPECT_EQ(inKernel(nextHopRow(7)), gateway(3) + "@d0");
  EXPECT_TRUE(device->isInForce(nextHopRow(7)));
}

TEST_F(NextHopObjects, ANextHopWithoutAnInterfaceIsRefused) {
  writeHop(7, 400);
  settle();
  EXPECT_THAT(answers, ElementsAre("next hop 7: 2"));
  EXPECT_THAT(device->refusal(nextHopRow(7)), HasSubstr("no interface"));
  EXPECT_EQ(device->counts().requests, 0U);
}

TEST_F(NextHopObjects, ARowThatThereIsNotIsRefusedAndItsDeletionIgnored) {
  device->nextHopIs(1000, hop(1), tell("next hop", 1000));
  device->nextHopDel(1000);
  device->nextHopDel(Asic::Index::invalidIndex().value());
  settle();
  EXPECT_THAT(answers, ElementsAre("next hop 1000: 2"));
  EXPECT_EQ(device->counts().requests, 0U);
}

TEST_F(NextHopObjects, ObjectsOfOtherIdsAreLeftAlone) {
  plane.run(fmt::format("ip nexthop add id {} via 10.0.0.9 dev d0", kFirst - 1));
  plane.run(
      fmt::format("ip nexthop add id {} via 10.0.0.9 dev d0", kFirst + device->ids().count()));
  plane.run("ip nexthop add id 1 group 4999");
  start();
  device->release();
  device->nextHopsDel(0, 1000);
  device->groupsDel();
  settle();
  EXPECT_EQ(plane.objects().size(), 3U);
}

// Onlink, IPv6, and without a gateway.
class Kinds : public DeviceFixture {
 protected:
  std::optional<NextHop> identity(Record const& record) override {
    NextHop nextHop;
    nextHop.interface = d0;
    switch (unsigned{record.fields.destination}) {
      case 0:
        return NextHop{AF_INET, d0, true, {192, 0, 2, 1}, true};
      case 1:
        return NextHop{
            AF_INET6, d0, true, {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9}, false};
      case 2:
        return NextHop{AF_INET6, d0, false, {}, false};
      default:
        return NextHop{AF_INET, d0, false, {}, false};
    }
  }
};

TEST_F(Kinds, OfNextHopsAreToldApartByTheKernel) {
  for (unsigned row = 0; row < 4; ++row) writeHop(row, row);
  settle();
  auto const objects = plane.objects();
  ASSERT_EQ(objects.size(), 4U);
  EXPECT_EQ(text(objects, kFirst), "192.0.2.1@d0");
  EXPECT_THAT(objects.at(kFirst).at("flags").dump(), HasSubstr("onlink"));
  EXPECT_EQ(text(objects, kFirst + 1), "fe80::9@d0");
  EXPECT_EQ(text(objects, kFirst + 2), "d0");
  device->routeIs(route6(1), nextHopRow(2));
  device->routeIs(route6(2), nextHopRow(3));
  settle();
  ASSERT_EQ(routeAnswers.size(), 2U);
  EXPECT_TRUE(routeAnswers[0].second.accepted);
  EXPECT_FALSE(routeAnswers[1].second.accepted);
  EXPECT_EQ(routeAnswers[1].second.text, "IPv6 routes can not use an IPv4 nexthop");
}

TEST_F(NextHopObjects, ANamespaceCanBeNamedByItsName) {
  // One that has the name for as long as this lasts.
  std::string const name = fmt::format("ovk1-{}", getpid());
  if (!plane.run("ip netns add " + name).empty()) GTEST_SKIP() << "no named namespaces";
  options.netns = name;
  start();
  settle();
  plane.run("ip netns del " + name);
  try {
    start();
    ADD_FAILURE() << "a namespace that is gone";
  } catch (std::system_error const& error) {
    EXPECT_THAT(error.what(), HasSubstr("/run/netns/" + name));
  }
}

TEST_F(NextHopObjects, TheProcessStaysWhereItIs) {
  auto const here = [] {
    std::array<char, 64> text{};
    EXPECT_GT(readlink("/proc/self/ns/net", text.data(), text.size() - 1), 0);
    return std::string(text.data());
  };
  std::string const before = here();
  start();
  EXPECT_EQ(here(), before);
}

TEST_F(NextHopObjects, OptionsThatMeanNothingAreRefused) {
  auto const refused = [this](auto change) {
    KernelOptions wrong = options;
    change(wrong);
    EXPECT_THROW(Vek::Ptr<KernelDevice>(new KernelDevice(wrong)), std::invalid_argument);
  };
  refused([](KernelOptions& wrong) { wrong.firstId = 0; });
  refused([](KernelOptions& wrong) { wrong.firstId = 0xFFFFFF00; });
  refused([](KernelOptions& wrong) { wrong.sizes.ecmpNextHops = 1001; });
  refused([](KernelOptions& wrong) { wrong.window = 0; });
  refused([](KernelOptions& wrong) { wrong.maxWeight = 65536; });
  refused([](KernelOptions& wrong) { wrong.protocol = 0; });
}

}  // namespace
}  // namespace KernelNextHopTests
