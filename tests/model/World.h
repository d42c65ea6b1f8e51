// What can be done to the four tables, and everything that can be seen of them: the tables
// themselves and the model are one World each, and the same steps must show the same.
//
//   world.stepIs(step);
//   EXPECT_EQ(world.takeLog(), model.takeLog());
//   EXPECT_EQ(world.snapshot(), model.snapshot());
//
// Both worlds start alike: six extern handles e0 to e5 without row and state; four tables, each
// attached to a hardware table of its own with 6 rows (member: 8) and a utility, after
// doInitComplete(), ready; every trace level on; answers wait. What happens while a world is built
// is not logged. The environment's PUBLISH_ENTRY_HANDLE_PROGRAMMED_STATE holds for both.
//
// Names. Tables: "ingress", "hop", "member", "group". A handle of a table is named when it is first
// announced by its table (entryHandle in ingress, rawEntryHandle or entryHandle elsewhere), or made
// by the step handleMake: the table's name, '#' and a number that counts up per table from 1, e.g.
// "hop#2"; the name is never used again. Next-hop keys "k0", group keys "g0", ingress keys "e3",
// blocks "[e1,hop#2]": the members' names by position; a position without member is "-". A missing
// handle is "none". A record is "<ref9>/<ref12>/<destination>" or "<ref3>/<numPaths>" with "none"
// for an empty ref; in a hardware write each handle is followed by '@' and its row, "none" for the
// invalid one
// ("e1@101/none/2"). A member in a hardware write is "hop#2@1". Rows are decimal, "none" when
// invalid.
//
// Lines of the log, in the order of what happens:
//   "<table> trace <level> <text>"           the finished text of the text trace
//   "<table> announces <attribute>[ <key>]"  attributes by their names: entry, entryHandle,
//        rawEntryHandle, unresolvedEntry, pendingEntrySm, writeResponseSm, firstFreeIndexAllocator,
//        indexAllocator, entryBlock, unresolvedEntryBlock, hwTable, hwTableReady; then the
//        reaction of a table that reacts runs
//   "<handle> row <row>", "<handle> state <state>", "<handle> mode <mode>"   an announced change of
//        a named handle, externs included; the observer that logs it is the first on the handle
//   "<handle> gone"                          the handle is destroyed (its clean-up is over)
//   "<table> write <row> <record>"           the utility's hwTableEntryIs (ingress: the key's row)
//   "<table> delete <row>"                   hwTableEntryDel
//   "<table> delete all", "<table> sync"     hwTableEntryDelAll, syncEntries
//   "handler <n> hears <state>"              a response handler is called; then its reactions run
//   "returns <handle>", "returns <record>", "returns true"/"false"   the outcome of a step that has
//        one, after everything else the step did, before a slot changes. Those that have one: the
//        commit, ref and write forms, entryHandleMutate, handleMake, lookupExisting and entryLookup
//        (a handle or none); getEntry and entryDel (a record); entryBlockDel (true or false).
//   "raises <what>"                          a step, also one of a reaction, ended by an exception;
//        the slot stays. The exception of `raise` ends its own step, the handler, and so the step
//        that called the handler: one line for each step.
//
// What goes together goes in order: the members of a block by ascending position, the needed
// handles of a record by descending slot; a handle lets its key go before it is "gone". A block
// without a run has no rows: each of its deletes is one of the invalid row.
//
// Slots. A step that returns a handle logs it, then puts it into its slot; what was in the slot is
// let go last. When a step returns no handle, the slot keeps what it has.
//
// Hardware. Each table has its own: a map of rows to the text of the last write. A write logs, sets
// the row (also the invalid one), then: answers wait: (table, row) joins the end of the world's
// list of waiting answers; at once: the answer comes from within the write; never: nothing. For
// ingress an answer is for the key rather than the row. A delete logs, removes the row; a delete of
// an invalid row only logs; a "delete all" empties the map. An answer (row, state) of hop, member
// or group calls the hardware table's writeResponseIs(row, state); an answer of ingress (key,
// state): if the table owns a handle for the key, hwEntryIndexIs(the key's row) and
// entryStateIs(state) on it. Answers for a table that is gone are thrown away when it goes. A table
// is gone from the moment when the world lets its reference go: an operation that is under way in
// it can still announce and write, but such writes are not answered.
//
// A snapshot is a sorted list of lines. What is not there has no line, unless said otherwise:
//   "<table> record <key> <record>"            the entry collection
//   "<table> parked <key> <record> needed <n> seen <n> watching <slots>"   parked records; slots
//        ascending, joined by ',', "-" when there are none; a block has no record
//   "<table> pending <key> <notifier> <on|off>"  the reactor's handle, whether it is active
//   "<table> owns <key> <handle>", "<table> registered <key> <handle>"   the two registries
//   "<table> row <key> <row>"                  keys that have a row in the table's allocator, if
//        there is one; "member run <block> <base>"
//   "member committed <block>"
//   "member lost <n>"                          rows in use that belong to no block of the table
//   "<table> hardware <row> <text>"            also of a table that is gone
//   "waits <n> <table> <row or key>"           waiting answers, numbered from 0: "waits 0 hop 3"
//   "<handle> row <row> state <state> mode <mode> handler <n>"   every handle that is alive and
//        named; externs without mode and handler
//   "slot <n> <handle>"                        every slot, "none" when it is empty
//   "live <table> <type> <n>"                  live objects, also when there are 0: EntryHandle,
//        UnresolvedEntry (member: UnresolvedEntryBlock), NeededEntryHandleSm and (not member)
//        PendingEntrySm of each table, e.g. "live hop NeededEntryHandleSm 2"
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Step.h"

namespace Model {

using Lines = std::vector<std::string>;

// The step ends the process: the condition and the message of the failed assertion.
class Abort : public std::runtime_error {
 public:
  Abort(std::string const& condition, std::string const& message)
      : std::runtime_error(condition + ": " + message) {}
};

class World {
 public:
  virtual ~World() = default;
  // Does the step. The model throws Abort where the tables would abort; nothing can be done with it
  // afterwards.
  virtual void stepIs(Step const& step) = 0;
  [[nodiscard]] virtual Lines takeLog() = 0;
  // Hears each line as it is logged: who wants to know what a step did before it ended the process.
  virtual void listenerIs(std::function<void(std::string const&)> listener) = 0;
  [[nodiscard]] virtual Lines snapshot() = 0;
};

}  // namespace Model
