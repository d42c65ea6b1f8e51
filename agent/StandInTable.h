// Stands in for a table of another part of a switch's agent: outgoing interfaces, MTU profiles.
//
// Next hops refer to entries of such tables through entry handles; here each entry is nothing but
// its handle. An entry is made at its first use, gets the lowest free slot from 1 up as its row,
// and is programmed some loop turns later, which is what keeps next hops waiting in real life:
//
//   StandInTable interfaces(loop, 2);
//   Handle handle = interfaces.entry(7);   // same key, same handle while anyone holds it
//
// Where entries stand for something that is there or is not, they wait for that as well:
// isReadyIs() and readyIs(). One that is programmed stays so.
//
// An entry lives as long as someone holds its handle, be it a next hop here or a record that is
// parked or programmed in a table: a slot is never given to another entry while a hardware row may
// still name it. Setting the row and the state of a handle runs whatever waits for it, within the
// loop's turn.
//
// Threading: the loop's thread. Ownership: handles are counted and owned by their users; the table
// refers to them. A handle that outlives its table keeps its row and state and does nothing more.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <utility>

#include "Asic/SwTable.h"
#include "agent/EventLoop.h"
#include "agent/Numbering.h"
#include "agent/Since.h"

namespace OrviaL3Agent {

class StandInTable {
 public:
  using Handle = Vek::Ptr<Asic::SwTable::EntryHandle const>;
  // Whatever names an entry: for interfaces the routing instance and the interface, for MTU
  // profiles the MTU in bytes.
  using Key = std::uint64_t;

  // Pointer fields of hardware rows are 16 bits wide; in them 0 means "none" and all ones is what a
  // handle without a row shows.
  static constexpr std::uint32_t kFirstSlot = 1;
  static constexpr std::uint32_t kLastSlot = 0xFFFE;

  // `delay`: turns from the first use to the programming; 0 is within the first use, nothing is
  // never. `page`: where slots are kept over a restart. `isNamed`: whether a row of the hardware
  // names a slot; one that is named is never free.
  StandInTable(EventLoop& loop, std::optional<EventLoop::Turn> delay,
               std::uint32_t lastSlot = kLastSlot, OwnerPage page = {},
               Numbering<Key>::IsNamed isNamed = {});
  ~StandInTable();
  StandInTable(StandInTable const&) = delete;
  StandInTable& operator=(StandInTable const&) = delete;

  // Whether the entry of that key may be programmed at all. Without this call all may.
  void isReadyIs(std::function<bool(Key key)> isReady) { isReady_ = std::move(isReady); }
  // It may from now on: if it waits, it is programmed now.
  void readyIs(Key key);

  // Finds or makes the entry; empty when every slot is taken.
  [[nodiscard]] Handle entry(Key key);
  // The same, and programs it at once if it is ready: the hardware has rows from before that need
  // it.
  [[nodiscard]] Handle entryNow(Key key);

  // Whose slot it is, or was before a restart as far as is known.
  [[nodiscard]] std::optional<Key> ownerOf(std::uint32_t slot) const;
  // The entry of before, programmed at once as it was then. Requires an owner of the slot.
  [[nodiscard]] Handle restored(std::uint32_t slot);
  // Slots of before that nobody uses and no row names are free now.
  void forget() { slots_.forget(); }
  // No row names the slot any longer.
  void unnamed(std::uint32_t slot) { slots_.unnamed(slot); }

  // The slot of the entry, or nothing when it is not in use; it may not be programmed yet.
  [[nodiscard]] std::optional<std::uint32_t> slot(Key key) const;
  // An entry in use.
  struct Shown {
    Key key = 0;
    std::uint32_t slot = 0;
    bool programmed = false;
    Since since;  // it is programmed, or was asked for
  };
  [[nodiscard]] std::optional<Shown> shown(Key key) const;
  // The one with the next larger key, or the first one; empty behind the last.
  [[nodiscard]] std::optional<Shown> shownAfter(std::optional<Key> key) const;
  [[nodiscard]] std::size_t size() const { return entries_.size(); }
  [[nodiscard]] std::size_t programmed() const;
  [[nodiscard]] std::size_t peak() const { return peak_; }

 private:
  class Entry;

  [[nodiscard]] static Shown shown(Entry const& entry);
  Vek::Ptr<Entry> make(Key key);
  void due(Key key);
  void program(Key key);
  void entryDel(Entry const& entry);

  EventLoop& loop_;
  std::optional<EventLoop::Turn> delay_;
  std::function<bool(Key key)> isReady_;
  Numbering<Key> slots_;
  std::map<Key, Entry*> entries_;
  std::map<std::uint32_t, Key> keys_;  // of these, by slot
  std::size_t peak_ = 0;
};

}  // namespace OrviaL3Agent
