// A network namespace of a test's own, without a name: it ends with the process, however that ends.
//
//   Plane plane;                         // links d0, d1, ... with 10.0.<n>.1/24,
//   2001:db8:<n>::1/64 if (!plane.obstacle().empty()) GTEST_SKIP() << plane.obstacle(); device =
//   new KernelDevice({.netns = plane.path()}); plane.run("ip link set d0 down");
//   plane.json("nexthop") ...
//
// Threading: one thread. Ownership: keeps the namespace open.
#pragma once

#include <fcntl.h>
#include <fmt/format.h>
#include <sched.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

namespace KernelNextHopTests {

class Plane {
 public:
  explicit Plane(unsigned links = 2) {
    // A namespace is a thread's: this one's stays.
    std::thread maker([this] {
      if (unshare(CLONE_NEWNET) != 0) {
        obstacle_ = fmt::format("no network namespace: {}", std::strerror(errno));
        return;
      }
      fd_ = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
    });
    maker.join();
    if (!obstacle_.empty()) return;
    if (run("ip -V").empty()) {
      obstacle_ = "no iproute2";
      return;
    }
    run("ip link set lo up");
    for (unsigned i = 0; i < links; ++i) addLink(i);
    if (links > 0 && index("d0") == 0) obstacle_ = "no virtual links";
  }
  ~Plane() {
    if (fd_ >= 0) close(fd_);
  }
  Plane(Plane const&) = delete;
  Plane& operator=(Plane const&) = delete;

  // Why there is none; empty when there is one.
  [[nodiscard]] std::string const& obstacle() const { return obstacle_; }
  [[nodiscard]] std::string path() const { return fmt::format("/proc/{}/fd/{}", getpid(), fd_); }

  // What the command says in there, complaints included.
  std::string run(std::string const& command) const {
    std::string const line = fmt::format("nsenter --net={} -- {} 2>&1", path(), command);
    FILE* const pipe = popen(line.c_str(), "r");
    if (pipe == nullptr) return {};
    std::string text;
    std::array<char, 4096> piece{};
    while (std::size_t const bytes = fread(piece.data(), 1, piece.size(), pipe)) {
      text.append(piece.data(), bytes);
    }
    pclose(pipe);
    return text;
  }
  // A list of iproute2: "nexthop", "route show proto 200", "-6 route".
  [[nodiscard]] nlohmann::json json(std::string const& what) const {
    std::string const text = run("ip -j -d " + what);
    return text.empty() ? nlohmann::json::array() : nlohmann::json::parse(text);
  }
  // The objects by id.
  [[nodiscard]] std::map<std::uint32_t, nlohmann::json> objects() const {
    std::map<std::uint32_t, nlohmann::json> objects;
    for (auto const& object : json("nexthop")) objects[object.at("id")] = object;
    return objects;
  }
  // The number of an interface, 0 for none.
  [[nodiscard]] std::uint32_t index(std::string const& name) const {
    std::string const text = run("ip -j link show dev " + name);
    if (text.empty() || text.front() != '[') return 0;
    return nlohmann::json::parse(text).at(0).at("ifindex");
  }

  void addLink(unsigned i) const {
    run(fmt::format("ip link add d{0} type veth peer name p{0}", i));
    run(fmt::format("ip addr add 10.0.{0}.1/16 dev d{0}", i));
    run(fmt::format("ip addr add 2001:db8:{0}::1/64 dev d{0} nodad", i));
    linkUp(i);
  }
  void linkUp(unsigned i) const {
    run(fmt::format("ip link set p{} up", i));
    run(fmt::format("ip link set d{} up", i));
    // An interface takes next hops once its carrier is there.
    for (int tries = 0; tries < 200; ++tries) {
      if (run(fmt::format("cat /sys/class/net/d{}/carrier", i)).starts_with("1")) return;
      if (run(fmt::format("ip link show dev d{}", i)).find("LOWER_UP") != std::string::npos) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }

 private:
  int fd_ = -1;
  std::string obstacle_;
};

}  // namespace KernelNextHopTests
