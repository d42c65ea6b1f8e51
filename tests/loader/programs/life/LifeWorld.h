// The four tables of a library that was loaded, on one simulated device: their factories are found
// by name, and their utilities are those of the plug-ins that came with the library.
//
//   Device device;
//   World world(device);
//   world.create(); world.attach(); world.sync(); world.ready(true); world.init();
//   world.serve();                       // next hops, a block, groups, an ingress next hop
//   EXPECT_EQ(world.rows(), (Lines{...}));
//   world.destroy(Which::groups);
//
// The device outlives the tables, and may serve several worlds one after the other. What the
// handlers of all writes hear is in `heard`.
//
// One thread.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "plugins/soft-asic/SoftDevice.h"

namespace LifeTests {

using namespace OrviaL3Unicast;

using Lines = std::vector<std::string>;
using Handle = Vek::Ptr<Asic::SwTable::EntryHandle>;
using ConstHandle = Vek::Ptr<Asic::SwTable::EntryHandle const>;

// What the tests are about; set once, before they run.
void libraryIs(void* library);
[[nodiscard]] void* library();

enum class Which { ingress, nextHops, members, groups };
inline constexpr Which allTables[] = {Which::ingress, Which::nextHops, Which::members,
                                      Which::groups};
[[nodiscard]] char const* shortName(Which table);  // "Ingress"
void PrintTo(Which table, std::ostream* out);
[[nodiscard]] char const* className(Which table);    // "IngL3NextHop1Table"
[[nodiscard]] char const* factoryName(Which table);  // "orviaIngL3NextHop1TableFactory"
[[nodiscard]] std::string qualifiedName(Which table);

// Live objects by type name, those of the library alone or all; types without any are left out.
using Census = std::map<std::string, std::uint64_t>;
[[nodiscard]] Census liveObjects();
[[nodiscard]] Census liveObjectsOfLibrary();

// An entry of some other table: without a row, and programmed in one.
[[nodiscard]] Handle waitingHandle();
[[nodiscard]] Handle programmedHandle(std::uint32_t row);
void program(Handle const& handle, std::uint32_t row);

[[nodiscard]] L3EcmpNextHopKey via(std::uint8_t last);

// Answers wait until they are delivered. Next-hop rows from 32 up are the ingress table's.
struct Device : SoftAsic::SoftDevice {
  Device();
};

class World {
 public:
  explicit World(SoftAsic::SoftDevice& deviceOfWorld) : device(deviceOfWorld) {}

  // --- The stages of a life, for all four tables each.

  void create();
  void attach();
  void sync();
  void ready(bool ready);
  void init();
  void start();

  // --- Writes, each with a handler that puts the name and the state into `heard`.

  // What is committed stays until it is removed.
  ConstHandle commitNextHop(std::uint8_t via, std::uint16_t destination, ConstHandle const& needed);
  ConstHandle commitIngress(Handle const& key, std::uint16_t destination,
                            ConstHandle const& needed);
  ConstHandle commitGroup(std::uint32_t group, ConstHandle const& block, std::uint16_t paths,
                          std::uint32_t mode = 0);
  // What is referenced stays while its handle is held.
  ConstHandle refNextHop(std::uint8_t via, std::uint16_t destination, ConstHandle const& needed);
  ConstHandle refBlock(std::vector<ConstHandle> const& nextHops);

  // The whole chain, in hardware and answered: next hop 1, committed, in row 1; next hop 2, which
  // only the block holds, in row 2; their block in member rows 0 and 1, which only the group holds;
  // group 1 in row 1; an ingress next hop in row 40.
  void serve();
  // What a process may die with: changes of next hop 1, of the ingress next hop and of the group,
  // in hardware and not answered yet; and one parked record in each of the four tables.
  void leaveUnfinished();

  // --- What there is.

  // What the device's rows hold, one line for each that holds something.
  [[nodiscard]] Lines rows() const;
  // How many calls every table made of its hardware.
  [[nodiscard]] std::uint64_t calls() const;
  // Delivers answers, those that come of them included. How many.
  std::size_t deliver();
  // What was heard since the last time.
  Lines heardNow();
  // Handlers that exist, wherever they are kept.
  [[nodiscard]] long handlers() const { return token_.use_count() - 1; }

  // Drops the last reference.
  void destroy(Which table);
  // In the order of the arguments.
  void destroyAll(std::vector<Which> const& order);

  SoftAsic::SoftDevice& device;
  Vek::Ptr<IngL3NextHop1Table> ingress;
  Vek::Ptr<EcmpIngL3NextHop1Table> nextHops;
  Vek::Ptr<L3EcmpMemberTable> members;
  Vek::Ptr<L3EcmpGroupTable> groups;

  // Entries of tables that are not here.
  Handle const interface = waitingHandle();      // serve() programs it
  Handle const lateInterface = waitingHandle();  // leaveUnfinished() programs it
  Handle const neverProgrammed = waitingHandle();
  Handle const mtuProfile = programmedHandle(4);
  Handle const ingressKey = programmedHandle(40);
  Handle const waitingKey = programmedHandle(41);

  Lines heard;

 private:
  WriteResponseHandler handler(std::string const& name);
  [[nodiscard]] OrviaAsicUtils::SwTable* table(Which which) const;

  // Every handler has a copy.
  std::shared_ptr<int> const token_ = std::make_shared<int>();
};

}  // namespace LifeTests
