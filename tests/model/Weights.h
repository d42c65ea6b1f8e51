// How often each kind of step is drawn.
#pragma once

#include <array>

#include "Generate.h"
#include "Paste.h"

namespace Model {

struct Weight {
  Kind kind;
  std::uint32_t callers;
  std::uint32_t everything;

  [[nodiscard]] std::uint32_t of(Profile profile) const {
    return profile == Profile::callers ? callers : everything;
  }
};

// Operations that make chains and answer them are frequent; those that empty a table, or end it,
// are rare, or sequences would not get far.
inline constexpr std::array<Weight, kindCount - 1> weights{{
    {Kind::externRow, 60, 50},
    {Kind::externState, 60, 50},
    {Kind::drop, 60, 50},
    {Kind::copySlot, 15, 15},
    {Kind::handleRow, 0, 8},
    {Kind::handleState, 0, 12},
    {Kind::handleMode, 0, 5},
    {Kind::answer, 220, 160},
    {Kind::answerMode, 25, 20},
    {Kind::hwReady, 15, 12},
    {Kind::hwTable, 8, 6},
    {Kind::tableReacts, 0, 5},
    {Kind::ingressCommit, 70, 50},
    {Kind::ingressWrite, 20, 12},
    {Kind::hopCommit, 90, 65},
    {Kind::hopRef, 90, 65},
    {Kind::hopWrite, 30, 20},
    {Kind::hopWriteAtIndex, 9, 7},
    {Kind::groupCommit, 55, 40},
    {Kind::groupRef, 55, 40},
    {Kind::groupWrite, 20, 15},
    {Kind::groupWriteAtIndex, 7, 5},
    {Kind::memberRef, 120, 90},
    {Kind::memberWrite, 25, 15},
    {Kind::remove, 70, 50},
    {Kind::getEntry, 15, 10},
    {Kind::lookupExisting, 15, 12},
    {Kind::entryLookup, 12, 8},
    {Kind::destroy, 4, 3},
    {Kind::entryIs, 0, 15},
    {Kind::entryDel, 0, 15},
    {Kind::entryDelAll, 0, 4},
    {Kind::handleEntry, 0, 15},
    {Kind::entryHandleMutate, 0, 6},
    {Kind::entryHandleDel, 0, 8},
    {Kind::entryHandleDelAll, 0, 3},
    {Kind::entryHandleOwn, 0, 8},
    {Kind::rawEntryHandleDel, 0, 2},
    {Kind::pendingEntrySmIs, 0, 10},
    {Kind::pendingEntrySmDel, 0, 8},
    {Kind::pendingEntrySmDelAll, 0, 3},
    {Kind::pendingZombie, 0, 10},
    {Kind::unresolvedEntryDel, 0, 8},
    {Kind::unresolvedEntryDelAll, 0, 3},
    {Kind::successCountIs, 0, 16},
    {Kind::successCountInc, 0, 16},
    {Kind::entryBlockDel, 0, 8},
    {Kind::entryBlockDelAll, 0, 3},
    {Kind::unresolvedBlockDel, 0, 6},
    {Kind::syncEntries, 0, 3},
    {Kind::doInitComplete, 0, 5},
    {Kind::writeResponseSmDel, 0, 3},
    {Kind::allocatorDel, 0, 2},
    {Kind::allocatorIs, 0, 2},
    {Kind::handleMake, 0, 3},
    {Kind::handleCleanup, 0, 4},
    {Kind::rawEntryHandleIs, 0, 8},
    {Kind::entryBlockIs, 0, 10},
    {Kind::handleEntryBlock, 0, 8},
    {Kind::unresolvedBlockIs, 0, 5},
    {Kind::unresolvedEntryIs, 0, 8},
    {Kind::rawBlockHandleDel, 0, 3},
    {Kind::rawEntryHandleDelAll, 0, 2},
    {Kind::writeResponseSmIs, 0, 4},
    {Kind::initializeUnresolvedEntry, 0, 12},
    {Kind::neededEntryHandleSmIs, 0, 12},
    {Kind::neededEntryHandleSmDel, 0, 8},
    {Kind::neededEntryHandleSmDelAll, 0, 4},
    {Kind::neededNotifier, 0, 10},
    {Kind::neededZombie, 0, 8},
    {Kind::pendingNotifier, 0, 8},
}};

}  // namespace Model
