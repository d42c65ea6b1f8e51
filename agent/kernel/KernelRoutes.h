// The routes of the stream as routes of the kernel: each leads to the object of what the hardware
// leads its packets over, or drops them.
//
//   KernelRoutes routes(device, mapping);
//   mapping.routeSinkIs(&routes);
//   routes.runSlice(deadline);          // every turn
//   if (!routes.busy()) device->release();
//
// A route is installed when what it points to is in force. One that comes to lead elsewhere is
// moved when the new way is in force, and what it led over is held until the kernel has said that
// it has moved: so no row under its packets is given to another one. One that nothing leads any
// longer is removed; so is one that was withdrawn. What the kernel refuses stays where it was until
// retry(), which has the kernel's lists read as well: what somebody else changed there is put
// right.
//
// Routes are gone through in slices, those of a group that changes too. What waits for its way is
// looked at in turn, when the hardware has answered something; all routes that wait for the same
// are taken at once when it comes, which is one long turn where they are very many.
//
// Threading: the loop's thread. Ownership: refers to the mapping; what it holds of it, it may hold
// longer than that lives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/Deadline.h"
#include "agent/Mapping.h"
#include "agent/RouteSink.h"
#include "plugins/kernel-nexthop/KernelDevice.h"

namespace OrviaL3Agent {

class KernelRoutes final : public RouteSink {
 public:
  using Device = Vek::Ptr<KernelNextHop::KernelDevice>;
  // Told of each refusal.
  using Refused = std::function<void(RouteKey const& key, std::string const& why)>;

  struct Counts {
    std::uint64_t asked = 0;     // to be made or moved
    std::uint64_t removed = 0;   // asked to be removed
    std::uint64_t accepted = 0;  // answers
    std::uint64_t refused = 0;
  };

  KernelRoutes(Device device, Mapping const& mapping);
  ~KernelRoutes() override;
  KernelRoutes(KernelRoutes const&) = delete;
  KernelRoutes& operator=(KernelRoutes const&) = delete;

  void refusedIs(Refused refused) { tellRefused_ = std::move(refused); }

  void routeChanged(RouteKey const& key, IngressNextHops::Use hop, Groups::Use group) override;
  void idChanged(std::uint32_t id, Groups::Use former) override;
  void retry() override;

  // `answers`: how many answers there have been from the hardware of the tables; what waits is
  // looked at when there are more of them.
  void runSlice(Deadline const& deadline, std::uint64_t answers);
  // Whether runSlice() has anything to do.
  [[nodiscard]] bool busy(std::uint64_t answers) const;
  // Routes that have changed and are not looked at yet.
  [[nodiscard]] std::size_t changed() const { return changed_.size(); }

  [[nodiscard]] Counts const& counts() const { return counts_; }
  // Routes that the kernel was asked for, those that wait for their way, and those that it refused.
  [[nodiscard]] std::size_t installed() const { return installed_.size(); }
  [[nodiscard]] std::size_t waiting() const;
  [[nodiscard]] std::set<RouteKey> const& refused() const { return refused_; }
  // Why it refused that one last; empty when it did not.
  [[nodiscard]] std::string refusal(RouteKey const& key) const;

 private:
  // What has to stay as it is under packets.
  using Held = std::shared_ptr<void const>;
  using Target = KernelNextHop::Target;

  struct Installed {
    Target target;
    std::weak_ptr<void const> use;  // of the target's row
    std::vector<Held> held;         // until the kernel has accepted the latest
    std::string refusal;
  };
  struct Changed {
    RouteKey key;
    Held hop;
    Held group;
  };
  // All routes of an id, one after the other.
  struct ChangedId {
    std::uint32_t id = 0;
    std::optional<RouteKey> last;
    std::vector<Held> held;
  };

  [[nodiscard]] static KernelNextHop::Route routeOf(RouteKey const& key);
  [[nodiscard]] static RouteKey keyOf(KernelNextHop::Route const& route);
  // Brings the kernel's route in line.
  void update(RouteKey const& key);
  void install(RouteKey const& key, Target const& target, Held const& use);
  void remove(RouteKey const& key);
  void wait(RouteKey const& key, Routes::Route const& route);
  // Whether what was installed is what the route still points to, in force or not.
  [[nodiscard]] bool pointsThere(Routes::Route const& route, Installed const& installed) const;
  // One route of the id; false when there is no other one.
  bool updateNext(ChangedId& changed);
  void lookAtWaiting(Deadline const& deadline);
  // Whether the routes that wait for that are to be looked at.
  [[nodiscard]] bool isOver(Routes::Target const& target, std::set<RouteKey>& keys) const;
  void answered(KernelNextHop::Route const& route, KernelNextHop::RouteAnswer const& answer);

  Device device_;
  Mapping const& mapping_;
  Refused tellRefused_;
  std::map<RouteKey, Installed> installed_;
  std::map<RouteKey, std::vector<Held>> removing_;
  std::set<RouteKey> refused_;
  std::deque<Changed> changed_;
  std::deque<ChangedId> changedIds_;
  std::deque<RouteKey> retried_;
  std::map<Routes::Target, std::set<RouteKey>> waiting_;
  // Which of these was looked at last, and for which answers the round is.
  std::optional<Routes::Target> lookedAt_;
  std::uint64_t answersSeen_ = 0;
  bool isLooking_ = false;
  bool lookAgain_ = false;
  Counts counts_;
};

}  // namespace OrviaL3Agent
