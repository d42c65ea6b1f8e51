// One step of a random sequence, for the tables and for the model that tells their behaviour a
// second time.
//
// A step is a kind and five small numbers. Every number is taken modulo what the kind allows, so
// any numbers make a legal step, and a sequence stays legal when parts of it are taken out.
//
// What the numbers name:
//   extern    a handle of a table outside: e0 to e5. An ingress key is one of these.
//   key       of a next hop: k0 to k2; of a group: g0 to g2.
//   slot      where a caller keeps a returned handle: 0 to 5.
//   ref       a handle that a record points at: 0 none, 1 to 6 extern e0 to e5, 7 to 12 what is in
//             slot 0 to 5 (none when the slot is empty).
//   handler   0 an empty response handler, 1 to 4 the sequence's reactions.
//   record    of a next hop: two refs and a destination 0 to 2; of a group: one ref and a number of
//             paths 0 to 2. A number is a record: next hop: ref9 = n % 13, ref12 = n / 13 % 13,
//             destination = n / 169 % 3; group: ref3 = n % 13, numPaths = n / 13 % 3.
//   block     of members: a number: width n % 4, then the refs n / 4 % 13, n / 52 % 13 and
//             n / 676 % 13 for the positions from 0 up; positions whose ref is none are left out,
//             so such a block is not full.
//   row       of an extern: 0 the invalid row, n is row 100 + n, up to 3.
//   state     0, 1, 2.
//   attribute of a watcher: of a next hop: n % 2: 9 or 12; of a group: n % 2: 3 or 4; of a block:
//             the position n % 3, but 0 where the watcher gets another handle: in which order
//             handles go that only three or more watchers hold is not compared.
//   table     0 ingress, 1 hop, 2 member, 3 group. A kind that not every table has counts in the
//             list of those that have it: "not member": 0 ingress, 1 hop, 2 group; "hop or group":
//             0 hop, 1 group; "not ingress": 0 hop, 1 member, 2 group.
//
// Behind the names stand: next-hop key k<n>: VRF 0, IPv4, interface n, no gateway; group g<n>: the
// number n. A record's other fields are 0.
//
// What a step hands over (record, block, a slot's handle) and the parked record or reactor that it
// works on are held until the operation has returned, or has thrown, and let go
// before the outcome is logged. What a removing operation returns (the record of entryDel; reactors
// and parked records too) is let go after that.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace Model {

enum class Kind : std::uint8_t {
  // Outside the tables.
  externRow,    // a extern, b row: hwEntryIndexIs
  externState,  // a extern, b state: entryStateIs
  drop,         // a slot: the caller lets the handle go
  copySlot,     // a slot, b slot: what is in a is in b, too
  handleRow,    // a slot, b row: hwEntryIndexIs on the slot's handle (nothing when empty)
  handleState,  // a slot, b state: entryStateIs on the slot's handle
  handleMode,   // a slot, b mode 0 or 1: modeIs
  answer,       // a which of the waiting answers (modulo their number), b state 1 or 2 (1 + b % 2),
                // c % 2: 0 the answer is taken away before it comes, 1 it stays and can come again
  answerMode,   // a table, b: 0 answers wait, 1 accepted at once, 2 refused at once, 3 never
  hwReady,      // a table, b % 2: hwTableReadyIs
  hwTable,      // a table, b % 2: 1 hwTableIs(the table's own hardware table), 0 none
  tableReacts,  // a table, b handler: what the table announces runs that reaction from now on;
                // with an empty handler none
  // What callers use. The returned handle goes into slot e.
  ingressCommit,    // a extern, b record, c handler
  ingressWrite,     // a extern, b record, c handler, d autoRemove 0 to 2:
                    // entryWriteWithResponseHandler
  hopCommit,        // a key, b record, c handler
  hopRef,           // a key, b record, c handler
  hopWrite,         // a key, b record, c handler, d autoRemove 0 to 2
  hopWriteAtIndex,  // a key, b record, c index 0 to 1, d autoRemove 0 to 2
  groupCommit,      // as the hop forms
  groupRef,
  groupWrite,
  groupWriteAtIndex,
  memberRef,       // b block
  memberWrite,     // b block, d autoRemove 0 to 2
  remove,          // a table (not member), b key or extern: entryRemove
  getEntry,        // a table (not member), b key or extern
  lookupExisting,  // a table (not member), b key or extern, c record: the result is logged and
                   // dropped
  entryLookup,     // a table hop or group, b key: the result is logged and dropped
  destroy,         // a table: the world lets its only reference to the table go; steps for a table
                   // that is gone do nothing and log nothing
  // The machinery itself, as reflection and the platform can call it.
  entryIs,            // a table (not member), b key or extern, c record
  entryDel,           // a table (not member), b key or extern
  entryDelAll,        // a table (not member)
  handleEntry,        // a table (not member), b key or extern
  entryHandleMutate,  // a table (not member), b key or extern; slot e
  entryHandleDel,     // a table (not member), b key or extern
  entryHandleDelAll,  // a table (not member)
  entryHandleOwn,     // a table hop or group, b key, c slot: entryHandleIs(key, slot's handle; a
                      // handle of another class counts as empty)
  rawEntryHandleDel,  // a table hop or group, b key
  pendingEntrySmIs,   // a table (not member), b key or extern, c slot: with the slot's handle (a
                      // handle of another class counts as empty)
  pendingEntrySmDel,  // a table (not member), b key or extern
  pendingEntrySmDelAll,
  pendingZombie,          // a table (not member), b key or extern, c % 2: vekDoZombieReactors
  unresolvedEntryDel,     // a table (not member), b key or extern
  unresolvedEntryDelAll,  // a table (any; the member table: unresolvedEntryBlockDelAll)
  successCountIs,   // a table (any), b key or extern (member: slot of a block's handle), c count
                    // 0 to 3: entryHandleProgramSuccessCountIs on the parked record, if any
  successCountInc,  // the same with entryHandleProgramSuccessCountInc
  entryBlockDel,    // b slot: of the block of the slot's member handle, if it is one
  entryBlockDelAll,
  unresolvedBlockDel,  // b slot: of the block of the slot's member handle, if it is one
  syncEntries,         // a table (any)
  doInitComplete,      // a table (any)
  writeResponseSmDel,  // a table hop or group
  allocatorDel,        // a table (not ingress)
  allocatorIs,         // a table (not ingress), b % 4: as many rows as the table, 1, 3 or 10
  handleMake,          // a table (any), b key or extern (member: block): entryHandleFactory; slot e
  handleCleanup,       // a slot: cleanup() of the slot's handle, if it is one of a table that is
                       // still there
  rawEntryHandleIs,    // a table (not ingress), b slot: the slot's handle under its own key, if it
                       // is one of the table
  entryBlockIs,        // a % 2: 0 the block b, 1 the block of slot b's member handle, if it is one
  handleEntryBlock,    // the same
  unresolvedBlockIs,   // the same, with unresolvedEntryBlockIs
  unresolvedEntryIs,   // a table (not member), b key or extern
  rawBlockHandleDel,   // b slot: of the block of the slot's member handle, if it is one
  rawEntryHandleDelAll,  // a table (not ingress)
  writeResponseSmIs,     // a table hop or group: for the table itself
  // On the parked record of a table (any) a and a key or extern b (member: the block of slot b's
  // handle), if there is one; it is held meanwhile.
  initializeUnresolvedEntry,  // c record (member: with its own block)
  neededEntryHandleSmIs,      // c ref, d attribute
  neededEntryHandleSmDel,     // d attribute
  neededEntryHandleSmDelAll,
  neededNotifier,   // c ref, d attribute: notifierIs on the watcher, if any
  neededZombie,     // c % 2, d attribute: vekDoZombieReactors on the watcher, if any
  pendingNotifier,  // a table (not member), b key or extern, c ref: notifierIs on the reactor, if
                    // any
  // Only as a reaction.
  raise,  // throws std::runtime_error("handler raises"); as a step of the sequence, and when a
          // table reacts, it does nothing
};

struct Step {
  Kind kind{};
  std::array<std::uint32_t, 5> n{};  // a, b, c, d, e

  friend bool operator==(Step const&, Step const&) = default;
};

// What handlers 1 to 4 do when they are called, after the call was logged, and tables that react,
// after the announcement was logged. Reactions nest at most two deep, and at most 24 calls of a
// sequence react; calls beyond that are only logged. A call counts also when its reaction has no
// steps.
struct Sequence {
  std::array<std::vector<Step>, 4> reactions;
  std::vector<Step> steps;
};

inline constexpr std::uint32_t maximumReactionDepth = 2;
inline constexpr std::uint32_t maximumReactions = 24;

}  // namespace Model
