#include "LifeWorld.h"

#include <dlfcn.h>

#include <ostream>
#include <stdexcept>
#include <utility>

#include "OrviaAsicUtils/UtilFactory.h"

namespace LifeTests {
namespace {

using OrviaAsicUtils::SwTable;

void* libraryOfProcess = nullptr;

// A new table of the class, by the function that the library has for it.
template <class Table>
Vek::Ptr<Table> make(Which which) {
  auto const factory =
      reinterpret_cast<void (*)(Vek::Ptr<SwTable>&)>(dlsym(library(), factoryName(which)));
  if (factory == nullptr) throw std::runtime_error(dlerror());
  Vek::Ptr<SwTable> made;
  factory(made);
  auto* const table = Vek::vekCast<Table>(made.get());
  if (table == nullptr) throw std::runtime_error(std::string(factoryName(which)) + " made another");
  return table;
}

// Of the plug-in that lies in the table's directory.
OrviaAsicUtils::UtilCreate utilOf(Which which) {
  auto const* const factory = OrviaAsicUtils::utilFactory(qualifiedName(which));
  if (factory == nullptr) throw std::runtime_error(qualifiedName(which) + " has no utility");
  return factory->create;
}

template <class Entry>
Entry nextHop(std::uint16_t destination, ConstHandle const& interface, ConstHandle const& mtu) {
  Entry entry;
  entry.destinationIs(destination);
  entry.l3Oif1HandleIs(interface);
  entry.mtuProfilePtrHandleIs(mtu);
  return entry;
}

std::string text(std::uint64_t number) { return std::to_string(number); }

}  // namespace

void libraryIs(void* library) { libraryOfProcess = library; }
void* library() { return libraryOfProcess; }

char const* shortName(Which table) {
  switch (table) {
    case Which::ingress:
      return "Ingress";
    case Which::nextHops:
      return "NextHops";
    case Which::members:
      return "Members";
    case Which::groups:
      break;
  }
  return "Groups";
}

void PrintTo(Which table, std::ostream* out) { *out << shortName(table); }

char const* className(Which table) {
  switch (table) {
    case Which::ingress:
      return "IngL3NextHop1Table";
    case Which::nextHops:
      return "EcmpIngL3NextHop1Table";
    case Which::members:
      return "L3EcmpMemberTable";
    case Which::groups:
      break;
  }
  return "L3EcmpGroupTable";
}

char const* factoryName(Which table) {
  switch (table) {
    case Which::ingress:
      return "orviaIngL3NextHop1TableFactory";
    case Which::nextHops:
      return "orviaEcmpIngL3NextHop1TableFactory";
    case Which::members:
      return "orviaL3EcmpMemberTableFactory";
    case Which::groups:
      break;
  }
  return "orviaL3EcmpGroupTableFactory";
}

std::string qualifiedName(Which table) {
  return std::string("OrviaL3Unicast::") + className(table);
}

Census liveObjects() {
  Census census;
  for (auto const& type : Vek::vekTypeAllocations()) {
    if (type.liveObjects != 0) census.emplace(type.typeName, type.liveObjects);
  }
  return census;
}

Census liveObjectsOfLibrary() {
  Census census = liveObjects();
  std::erase_if(census, [](auto const& type) { return !type.first.starts_with("OrviaL3Unicast"); });
  return census;
}

Handle waitingHandle() {
  Handle const handle = new Asic::SwTable::EntryHandle;
  handle->hasNotificationActiveIs(true);
  return handle;
}

Handle programmedHandle(std::uint32_t row) {
  Handle const handle = waitingHandle();
  program(handle, row);
  return handle;
}

void program(Handle const& handle, std::uint32_t row) {
  handle->hwEntryIndexIs(row);
  handle->entryStateIs(Asic::HwTable::success());
}

L3EcmpNextHopKey via(std::uint8_t last) {
  return L3EcmpNextHopKey::viaGateway(0, Asic::GatewayAddress::ipv4({10, 0, 0, last}), 3);
}

Device::Device()
    : SoftDevice({.nextHops = 48, .ecmpNextHops = 32, .members = 16, .groups = 8},
                 SoftAsic::AnswerQueue::Delivery::whenDrained) {}

void World::create() {
  ingress = make<IngL3NextHop1Table>(Which::ingress);
  nextHops = make<EcmpIngL3NextHop1Table>(Which::nextHops);
  members = make<L3EcmpMemberTable>(Which::members);
  groups = make<L3EcmpGroupTable>(Which::groups);
}

void World::attach() {
  device.attach(*ingress, utilOf(Which::ingress));
  device.attach(*nextHops, utilOf(Which::nextHops));
  device.attach(*members, utilOf(Which::members));
  device.attach(*groups, utilOf(Which::groups));
}

void World::sync() {
  for (Which const which : allTables) table(which)->syncEntries();
}

void World::ready(bool ready) {
  for (Which const which : allTables) table(which)->hwTableReadyIs(ready);
}

void World::init() {
  for (Which const which : allTables) table(which)->doInitComplete();
}

void World::start() {
  create();
  attach();
  sync();
  ready(true);
  init();
}

ConstHandle World::commitNextHop(std::uint8_t last, std::uint16_t destination,
                                 ConstHandle const& needed) {
  using Entry = EcmpIngL3NextHop1Table::Entry;
  return nextHops->entryCommitWithResponseHandler(via(last),
                                                  nextHop<Entry>(destination, needed, mtuProfile),
                                                  handler("next hop " + text(last)));
}

ConstHandle World::refNextHop(std::uint8_t last, std::uint16_t destination,
                              ConstHandle const& needed) {
  using Entry = EcmpIngL3NextHop1Table::Entry;
  return nextHops->entryRefWithResponseHandler(via(last),
                                               nextHop<Entry>(destination, needed, mtuProfile),
                                               handler("next hop " + text(last)));
}

ConstHandle World::commitIngress(Handle const& key, std::uint16_t destination,
                                 ConstHandle const& needed) {
  using Entry = IngL3NextHop1Table::Entry;
  return ingress->entryCommitWithResponseHandler(
      key, nextHop<Entry>(destination, needed, mtuProfile),
      handler("ingress " + text(key->hwEntryIndex().value())));
}

ConstHandle World::commitGroup(std::uint32_t group, ConstHandle const& block, std::uint16_t paths,
                               std::uint32_t mode) {
  return groups->entryCommitWithResponseHandler(
      group, L3EcmpGroupTable::Entry(0, block, mode, paths), handler("group " + text(group)));
}

ConstHandle World::refBlock(std::vector<ConstHandle> const& nextHopHandles) {
  L3EcmpEntryBlock block(Asic::BlockSize(static_cast<std::uint16_t>(nextHopHandles.size())));
  std::uint32_t position = 0;
  for (ConstHandle const& handle : nextHopHandles) block.entryIs(position++, L3EcmpMember(handle));
  return members->entryBlockRef(block);
}

void World::serve() {
  commitGroup(1, refBlock({commitNextHop(1, 11, interface), refNextHop(2, 12, interface)}), 2);
  commitIngress(ingressKey, 13, interface);
  program(interface, 21);
  deliver();
}

void World::leaveUnfinished() {
  commitNextHop(1, 111, interface);
  // A handle of the ingress table mirrors its key when a commit returns. Only a record that
  // resolves later leaves it without an answer.
  commitIngress(ingressKey, 113, lateInterface);
  program(lateInterface, 21);
  ConstHandle const block = groups->entry(1).ecmpBlockPtrHandle();
  commitGroup(1, block, 2, 7);
  // Parked: in the ECMP view, the member table (its block is held by the group's record alone), the
  // group table and the ingress table.
  commitGroup(2, refBlock({commitNextHop(3, 14, neverProgrammed)}), 1);
  commitIngress(waitingKey, 15, neverProgrammed);
}

Lines World::rows() const {
  Lines lines;
  for (std::uint32_t row = 0; row < device.nextHops().rows(); ++row) {
    auto const& contents = device.nextHops().row(row).contents;
    if (!contents) continue;
    lines.push_back("next hop " + text(row) + ": to " + text(contents->fields.destination) +
                    " by interface " + text(contents->l3Oif1) + ", MTU profile " +
                    text(contents->mtuProfilePtr));
  }
  for (std::uint32_t row = 0; row < device.members().rows(); ++row) {
    auto const& contents = device.members().row(row).contents;
    if (contents) {
      lines.push_back("member " + text(row) + ": next hop " + text(contents->nextHopEntry.value()));
    }
  }
  for (std::uint32_t row = 0; row < device.groups().rows(); ++row) {
    auto const& contents = device.groups().row(row).contents;
    if (!contents) continue;
    lines.push_back("group " + text(row) + ": " + text(contents->numPaths) + " paths from member " +
                    text(contents->ecmpBlockPtr) + ", mode " + text(contents->lbMode));
  }
  return lines;
}

std::uint64_t World::calls() const {
  std::uint64_t calls = 0;
  for (SoftAsic::TableId const id : SoftAsic::allTables) {
    SoftAsic::Counts const& counts = device.counts(id);
    calls += counts.writes + counts.deletes + counts.deleteAlls;
  }
  return calls;
}

std::size_t World::deliver() {
  std::size_t delivered = 0;
  while (device.answers()->waiting() != 0) delivered += device.answers()->drain();
  return delivered;
}

Lines World::heardNow() { return std::exchange(heard, {}); }

void World::destroy(Which which) {
  switch (which) {
    case Which::ingress:
      ingress = nullptr;
      return;
    case Which::nextHops:
      nextHops = nullptr;
      return;
    case Which::members:
      members = nullptr;
      return;
    case Which::groups:
      groups = nullptr;
  }
}

void World::destroyAll(std::vector<Which> const& order) {
  for (Which const which : order) destroy(which);
}

WriteResponseHandler World::handler(std::string const& name) {
  return [this, name, token = token_](SwTable::EntryState state) {
    heard.push_back(name + ": " + text(state));
  };
}

OrviaAsicUtils::SwTable* World::table(Which which) const {
  switch (which) {
    case Which::ingress:
      return ingress.get();
    case Which::nextHops:
      return nextHops.get();
    case Which::members:
      return members.get();
    case Which::groups:
      break;
  }
  return groups.get();
}

}  // namespace LifeTests
