// What keeps a device from being made: another one that programs the same, and missing rights.
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <string>
#include <system_error>
#include <thread>

#include "DeviceFixture.h"

namespace KernelNextHopTests {
namespace {

class Start : public DeviceFixture {
 protected:
  // Why there is no second device of these options; empty when there is one.
  static std::string refusalOf(KernelOptions const& options, std::errc expected) {
    try {
      Vek::Ptr<KernelDevice> const second = new KernelDevice(options);
      return {};
    } catch (std::system_error const& failure) {
      EXPECT_EQ(failure.code(), expected);
      return failure.what();
    }
  }
  void expectAsBefore() const {
    EXPECT_EQ(inKernel(nextHopRow(1)), gateway(1) + "@d0");
    EXPECT_EQ(routeInKernel("192.0.1.0/24"), "nhid " + std::to_string(id(nextHopRow(1))));
  }
  void SetUp() override {
    DeviceFixture::SetUp();
    if (IsSkipped()) return;
    writeHop(1, 1);
    device->routeIs(route(1), nextHopRow(1));
    settle();
  }
};

TEST_F(Start, OfASecondDeviceWithTheSameIdsIsRefused) {
  KernelOptions second = options;
  second.protocol = 201;
  EXPECT_EQ(refusalOf(second, std::errc::address_in_use),
            "another process programs next-hop objects from id 5000 on in network namespace " +
                plane.path() + ": Address already in use");
  expectAsBefore();
}

TEST_F(Start, OfASecondDeviceWithTheSameProtocolIsRefused) {
  KernelOptions second = options;
  second.firstId = 100000;
  EXPECT_EQ(refusalOf(second, std::errc::address_in_use),
            "another process programs routes of protocol 200 in network namespace " + plane.path() +
                ": Address already in use");
  expectAsBefore();
}

TEST_F(Start, OfASecondDeviceWithOtherNumbersIsFine) {
  KernelOptions second = options;
  second.firstId = 100000;
  second.protocol = 201;
  EXPECT_EQ(refusalOf(second, {}), "");
  expectAsBefore();
}

TEST_F(Start, OfASecondDeviceInAnotherNamespaceIsFine) {
  Plane const other(0);
  KernelOptions second = options;
  second.netns = other.path();
  EXPECT_EQ(refusalOf(second, {}), "");
}

TEST_F(Start, TakesPlaceOnceTheFirstDeviceHasEnded) {
  EXPECT_NE(refusalOf(options, std::errc::address_in_use), "");
  device = nullptr;
  EXPECT_EQ(refusalOf(options, {}), "");
}

TEST_F(Start, WithoutTheRightsToProgramIsRefused) {
  device = nullptr;
  std::string refusal;
  // Capabilities are a thread's.
  std::thread powerless([&] {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> rights{};
    ASSERT_EQ(syscall(SYS_capget, &header, rights.data()), 0);
    rights[0].effective &= ~(1U << static_cast<unsigned>(CAP_NET_ADMIN));
    ASSERT_EQ(syscall(SYS_capset, &header, rights.data()), 0);
    refusal = refusalOf(options, std::errc::operation_not_permitted);
  });
  powerless.join();
  EXPECT_EQ(refusal, "programming the kernel needs CAP_NET_ADMIN in network namespace " +
                         plane.path() + ": Operation not permitted");
  // Nothing of it is in the way of one who may.
  EXPECT_EQ(refusalOf(options, {}), "");
}

}  // namespace
}  // namespace KernelNextHopTests
