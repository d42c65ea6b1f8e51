// The Linux kernel's next-hop objects as the hardware behind the four tables.
//
//   Vek::Ptr<KernelDevice> const device = new KernelDevice({.netns = "plane"});
//   device->identitiesIs([&](Record const& row) -> std::optional<NextHop> { ... });
//   table->utilIs(create(*table));          // a plug-in's factory finds it:
//   KernelDevice::current()
//   ...
//   while (device->busy()) device->runSlice(Clock::now() + 1ms);   // the agent's loop
//
// A next-hop row is an object, a group row is a group over what the member rows of its block name,
// each with as much weight as it has rows; member rows are no objects. Writes and deletes only say
// what is to be in force: runSlice() sends it, in order, many requests at a time, takes the
// kernel's answers, and gives them to the tables. Nothing is sent and nothing answered within a
// write. A row that is written again is replaced in the kernel; so is one that is deleted and
// written before the deletion went out. An object is deleted only when no group and no route of the
// device's has it any more, and a group whose member row changes is replaced by itself. Answers
// that the socket lost are asked for again.
//
// Ids follow from rows (Ids.h), and no object outside of the device's ids is ever touched. The ECMP
// tables have two ranges of ids, of which a process uses one: the other may be in force from
// before. The tables choose their rows anew after a restart, and must not overwrite what routes
// still use. What is left from before goes with release().
//
// One thread. The device is counted: the agent and the utilities hold it. Objects stay in the
// kernel at its end. One device at a time is current(): the one that was made last.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Asic/HwTable.h"
#include "Asic/SwTable.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "Vek/PtrInterface.h"
#include "plugins/kernel-nexthop/Export.h"
#include "plugins/kernel-nexthop/Ids.h"
#include "plugins/kernel-nexthop/KernelOptions.h"
#include "plugins/kernel-nexthop/Kinds.h"

namespace KernelNextHop {

// Whose a row of the ingress table is that the kernel holds from before.
struct RowOwner {
  Vek::Ptr<Asic::SwTable::EntryHandle const> key;  // its row is the row that was asked about
  OrviaL3Unicast::IngL3NextHop1Table::Entry record;
};

class KERNEL_NEXTHOP_EXPORT KernelDevice final : public Vek::PtrInterface {
 public:
  using Clock = std::chrono::steady_clock;
  using IdentityOf = std::function<std::optional<NextHop>(Record const&)>;
  using RowOwnerOf = std::function<std::optional<RowOwner>(Asic::Index, NextHop const&)>;
  using RouteAnswers = std::function<void(Route const&, RouteAnswer const&)>;
  using Tell = std::function<void(Asic::HwTable::EntryState)>;

  // Reads what the kernel holds of the device's from before. Throws std::system_error when the
  // namespace or the socket cannot be had, when the rights to program it are missing, or when
  // another device has the same first id or protocol there, and std::invalid_argument for options
  // that mean nothing.
  explicit KernelDevice(KernelOptions const& options);

  // Throws std::logic_error when there is none.
  [[nodiscard]] static Vek::Ptr<KernelDevice> current();

  // What an object is to be for a row that holds this. It is asked within the write. None: the
  // write is refused. Without this call all are.
  void identitiesIs(IdentityOf identityOf);
  // Whose the ingress rows from before are, for that table's syncEntries. None: the row stays as it
  // is until release(). Without this call nothing is put back.
  void rowOwnersIs(RowOwnerOf ownerOf);
  // Hears the answer to the latest request for each route. It may ask for others.
  void routeAnswersIs(RouteAnswers answers);

  // --- The agent's loop.

  // Readable when answers wait; runSlice() reads what there is without waiting.
  [[nodiscard]] int fileDescriptor() const;
  // Sends, receives and gives answers until there is nothing to do or the time has come. What an
  // answer throws passes out; that answer is gone, the others stay for the next call.
  void runSlice(Clock::time_point until);
  // Whether runSlice() has anything to do. What waits for something that was refused or is not
  // there does not count.
  [[nodiscard]] bool busy() const;

  // --- Routes. A route waits until its target is in force; meanwhile it leads where it led before.

  void routeIs(Route const& route, Target const& target);
  void routeDel(Route const& route);
  // Asks for a refused route once more.
  void routeRetry(Route const& route);
  // What the kernel has, as far as is known: none for no such route.
  [[nodiscard]] std::optional<Target> routeInForce(Route const& route) const;
  [[nodiscard]] std::size_t routesInForce() const;

  // --- Restart and repair.

  // The stream has said all: what is from before and was not asked for by now is deleted, routes
  // first. Objects that a route or group of the device's still has go when it does.
  void release();
  [[nodiscard]] bool isReleased() const;
  // Reads all objects and routes back and asks again for what differs or was refused: after a link
  // came up, say, since the kernel drops the objects of one that goes down and tells nobody.
  // Reading is sliced; the comparison that follows is one turn, of some 200 ms with 300,000 routes.
  void recheck();

  // --- What is there.

  [[nodiscard]] KernelOptions const& options() const;
  [[nodiscard]] Ids const& ids() const;
  [[nodiscard]] Counts const& counts() const;
  // Whether the kernel has an object for the row, as far as is known.
  [[nodiscard]] bool isInForce(Target const& target) const;
  // Why the latest write of the row was refused: the kernel's words; empty when it was not.
  [[nodiscard]] std::string refusal(Target const& target) const;
  // Objects in force in the ids that this process uses.
  [[nodiscard]] std::size_t nextHopsInForce() const;
  [[nodiscard]] std::size_t groupsInForce() const;

  // --- For the utilities.

  // `tell` is called once for this write, unless it is overtaken, and again when the object's state
  // changes without one: see recheck().
  void nextHopIs(std::uint32_t row, Record const& record, Tell tell);
  void nextHopDel(std::uint32_t row);
  // The rows from `first` to `last` exclusive, in both ranges of ids, without regard to who has
  // them.
  void nextHopsDel(std::uint32_t first, std::uint32_t last);
  void memberIs(std::uint32_t row, std::uint32_t nextHopRow);
  void memberDel(std::uint32_t row);
  void membersDel();
  void groupIs(std::uint32_t row, std::uint32_t firstMember, std::uint32_t members, Tell tell);
  void groupDel(std::uint32_t row);
  void groupsDel();
  [[nodiscard]] RowOwnerOf const& rowOwners() const;
  // Calls function(row, next hop) for the ingress rows that the kernel holds from before and nobody
  // asked for yet, in ascending order. The function may ask for rows.
  void ingressFromBefore(
      std::function<void(std::uint32_t row, NextHop const& nextHop)> const& function);
  // The row is what the kernel holds from before: nothing is sent, and release() leaves it.
  void nextHopRestored(std::uint32_t row, Record const& record, Tell tell);

  ~KernelDevice() override;

 private:
  class Core;
  std::unique_ptr<Core> const core_;
};

}  // namespace KernelNextHop
