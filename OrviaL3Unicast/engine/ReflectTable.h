// The attributes and operations of the classes that every table has under names of its own: handle,
// reactors, parked record, utility, and the table itself. Written once over the traits; each unit
// puts them into its module (engine/ModuleTypes.h) and so registers them under its own types.
//
// Rows stand in the order in which the class declares its attributes, and their numbers ascend in
// that order, behind those of the bases.
//
// Rows that all tables share with the platform's bases (hwTable, util, name, hwEntryIndex, ...)
// stand in the platform's own modules.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <type_traits>

#include "OrviaL3Unicast/engine/AllocatedRowTable.h"
#include "OrviaL3Unicast/engine/ReflectStore.h"
#include "OrviaL3Unicast/engine/ReflectTypes.h"
#include "Vek/ReflectBuild.h"

namespace OrviaL3Unicast::engine {

// --- Handles.

// cleanup() ends a handle's entry. Where the table registers handles, the handle's own end comes
// then without a registration, and aborts: that is how it is.
template <class T>
struct HandleRows {
  using Handle = EntryHandle<T>;
  static constexpr Vek::VekAttribute attributes[] = {
      Vek::attribute<Handle, &Handle::key>(Handle::keyAttribute, "key"),
      Vek::attribute<Handle, &Handle::swTable>(Handle::swTableAttribute, "swTable"),
      Vek::attribute<Handle, &Handle::mode, &Handle::modeIs>(Handle::modeAttribute, "mode"),
  };
  static constexpr Vek::VekOperation operations[] = {
      Vek::operation<Handle, &Handle::cleanup>("cleanup", true),
  };
  static constexpr Vek::VekReflection rows{attributes, operations};
};

// --- Reactors and parked records.

template <class T>
struct PendingEntryRows {
  using Reactor = PendingEntrySm<T>;
  static constexpr Vek::VekAttribute attributes[] = {
      Vek::attribute<Reactor, &Reactor::notifier, &Reactor::notifierIs>(1, "notifier"),
      Vek::attribute<Reactor, &Reactor::key>(2, "key"),
  };
  static constexpr Vek::VekOperation operations[] = {
      Vek::operation<Reactor, &Reactor::processEntryHandleCompletion>(
          "processEntryHandleCompletion"),
  };
  static constexpr Vek::VekReflection rows{attributes, operations};
};

template <class T>
struct WatcherRows {
  using Watcher = NeededEntryHandleSm<T>;
  static constexpr Vek::VekAttribute attributes[] = {
      Vek::attribute<Watcher, &Watcher::notifier, &Watcher::notifierIs>(1, "notifier"),
      Vek::attribute<Watcher, &Watcher::attributeId>(2, "attributeId"),
  };
  static constexpr Vek::VekOperation operations[] = {
      // What the framework runs once a watcher has its place; the watcher's own step does the work.
      Vek::operation<Watcher, &Watcher::doEnclosingInit>("enclosingInit"),
      Vek::operation<Watcher, &Watcher::doEnclosingInit>("doEnclosingInit"),
      Vek::operation<Watcher, &Watcher::handleEntryProgramming>("handleEntryProgramming"),
  };
  static constexpr Vek::VekReflection rows{attributes, operations};
};

// The watchers of a parked record or a waiting block, by the attribute that each serves. They are
// made by whoever parks it, so an element cannot be set.
template <class T>
struct WatcherElements {
  using Key = Vek::AttributeId;
  using Element = typename NeededEntryHandleSm<T>::Ptr;
  using Tally = NeededHandleTally<T>;

  static std::optional<Element> read(Tally const& tally, Key attribute) {
    return tally.neededEntryHandleSm(attribute);
  }
  static void del(Tally& tally, Key attribute) { tally.neededEntryHandleSmDel(attribute); }
  static std::size_t count(Tally const& tally) {
    std::size_t present = 0;
    keys(tally, [&](Key) { ++present; });
    return present;
  }
  static void keys(Tally const& tally, auto const& visit) {
    for (auto const& member : tally.neededEntryHandleSm()) {
      if (member.value) visit(member.key);
    }
  }
};

// What a parked record and a waiting block (Parked) have in common, numbered from `first` on, in
// the order in which both declare it.
template <class T, class Parked>
constexpr auto tallyAttributes(std::uint32_t first) {
  return std::array{
      Vek::attribute<Parked, &Parked::neededEntryHandleCount>(first, "neededEntryHandleCount"),
      Vek::attribute<Parked, &Parked::entryHandleProgramSuccessCount,
                     &Parked::entryHandleProgramSuccessCountIs>(first + 1,
                                                                "entryHandleProgramSuccessCount"),
      Vek::collection<Parked, WatcherElements<T>>(first + 2, "neededEntryHandleSm"),
  };
}
template <class Parked>
constexpr Vek::VekOperation resolveOperation() {
  return Vek::operation<Parked, &Parked::handleEntryHandleProgramSuccessCount>(
      "handleEntryHandleProgramSuccessCount");
}

template <class T>
struct UnresolvedEntryRows {
  using Parked = UnresolvedEntry<T>;
  static constexpr auto attributes = joined(
      std::array{
          Vek::attribute<Parked, &Parked::key>(1, "key"),
          Vek::attribute<Parked, &Parked::entry>(2, "entry"),
      },
      tallyAttributes<T, Parked>(3));
  static constexpr Vek::VekOperation operations[] = {
      Vek::operation("initializeUnresolvedEntry", {},
                     {{"entry", Vek::reflectedType<typename T::Entry>}}),
      resolveOperation<Parked>(),
  };
  static constexpr Vek::VekReflection rows{attributes, operations};
};

// --- Utilities.

template <class T>
struct UtilRows {
  using Util = TableUtil<T>;
  using HwKey = std::remove_cvref_t<typename T::HwKey>;
  static constexpr Vek::VekArgument hwTable{"hwTable", Vek::VekTypeOf<Asic::HwTable>::type};
  static constexpr Vek::VekArgument where{"where", Vek::reflectedType<HwKey>};
  static constexpr Vek::VekArgument key{"key", Vek::reflectedType<typename T::Key>};

  static constexpr Vek::VekAttribute attributes[] = {
      Vek::attribute<Util, &Util::minIndex>(1, "minIndex"),
      Vek::attribute<Util, &Util::maxIndex>(2, "maxIndex"),
  };
  static constexpr Vek::VekOperation operations[] = {
      Vek::operation("hwTableEntryIndex", Vek::reflectedType<Asic::Index>, {hwTable, key}),
      Vek::operation("hwTableEntryIs", {},
                     {hwTable, where, {"entry", Vek::reflectedType<typename T::Entry>}}),
      Vek::operation("hwTableEntryDel", {}, {hwTable, where}),
      Vek::operation("hwTableEntryDelAll", {}, {hwTable}),
      Vek::operation("syncEntries", {},
                     {hwTable, {"swTable", Vek::VekTypeOf<OrviaAsicUtils::SwTable>::type}}),
  };
  static constexpr Vek::VekReflection rows{attributes, operations};
};

// --- Tables of entries.

template <class T>
constexpr auto entryTableAttributes() {
  using Table = typename T::Table;
  using Attribute = typename Table::Attribute;
  constexpr auto pending =
      Vek::collection<Table, PendingElements<T>>(Attribute::pendingEntrySm, "pendingEntrySm");
  constexpr auto parked =
      Vek::collection<Table, ParkedElements<T>>(Attribute::unresolvedEntry, "unresolvedEntry");
  constexpr auto handles =
      Vek::collection<Table, HandleElements<T>>(Attribute::entryHandle, "entryHandle");
  constexpr auto entries = Vek::collection<Table, EntryElements<T>>(Attribute::entry, "entry");
  if constexpr (T::ownsRows) {
    return std::array{
        Vek::attribute<Table, &Table::firstFreeIndexAllocator>(Attribute::firstFreeIndexAllocator,
                                                               "firstFreeIndexAllocator"),
        Vek::attribute<Table, &Table::writeResponseSm>(Attribute::writeResponseSm,
                                                       "writeResponseSm"),
        pending,
        parked,
        Vek::collection<Table, RawHandleElements<T>>(Attribute::rawEntryHandle, "rawEntryHandle"),
        handles,
        entries,
    };
  } else {
    return std::array{handles, pending, parked, entries};
  }
}

template <class T>
constexpr auto entryTableOperations() {
  using Table = typename T::Table;
  constexpr Vek::VekArgument key{"key", Vek::reflectedType<typename T::Key>};
  constexpr Vek::VekArgument entry{"entry", Vek::reflectedType<typename T::Entry>};
  constexpr Vek::VekArgument autoRemove{"autoRemove", Vek::reflectedType<Asic::AutoRemoveType>};
  constexpr Vek::VekType handle = Vek::VekTypeOf<EntryHandle<T>>::type;
  return std::array{
      Vek::operation("entryWrite", handle, {key, entry, autoRemove}),
      Vek::operation("entryCommit", handle, {key, entry}),
      Vek::operation("entryRemove", {}, {key}),
      Vek::operation("entryDummyWrite", {}, {autoRemove}),
      Vek::operation("entryHandleAccess", handle, {key}),
      Vek::operation("entryHandleExists", Vek::reflectedType<bool>, {key}),
      Vek::operation("entryHandleMutate", handle, {key}),
      Vek::operation("getEntry", entry.type, {key}),
      Vek::operation("lookupExistingEntry", handle, {key, entry}),
      Vek::operation("handleEntry", {}, {key}),
      Vek::operation<Table, &Table::syncEntries>("syncEntries"),
  };
}

}  // namespace OrviaL3Unicast::engine
