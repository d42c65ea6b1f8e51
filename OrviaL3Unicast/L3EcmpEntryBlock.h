// A block of ECMP members: a size, and the member at each position. The member table's key.
//
// A value type. Copies share their members until one of them is changed, and the digest of the
// members is computed once, so that a block of hundreds costs a pointer wherever it is a key. A
// block that is a key is never changed in place: other members make another block.
#pragma once

#include <cstdint>
#include <ostream>

#include "Asic/EntryBlockBase.h"
#include "Asic/SwTable.h"
#include "OrviaL3Unicast/plumbing/Export.h"
#include "OrviaL3Unicast/plumbing/IndexValue.h"
#include "Vek/SmallMap.h"
#include "Vek/String.h"

namespace OrviaL3Unicast {

struct L3EcmpMemberTraits;

// A member's position in its block, counted from 0, and a row of the hardware table.
using L3EcmpMemberIndex = plumbing::IndexValue<L3EcmpMemberTraits>;

// One member: a counted reference to the handle of the path's next hop, compared by identity.
class ORVIA_L3_EXPORT L3EcmpMember {
 public:
  using Handle = Vek::Ptr<Asic::SwTable::EntryHandle const>;

  L3EcmpMember() = default;
  explicit L3EcmpMember(Handle const& nextHopEntryHandle)
      : nextHopEntryHandle_(nextHopEntryHandle) {}
  // From a reference to an entry handle at the front of a text: the handle's address, if a finder
  // knows a live handle there (Vek/TextReference.h), or none. Raises Vek::TextException, and
  // Vek::RangeException for an address that is too large.
  L3EcmpMember(Vek::String::IteratorConst& begin, Vek::String::IteratorConst const& end);

  [[nodiscard]] Handle const& nextHopEntryHandle() const { return nextHopEntryHandle_; }
  void nextHopEntryHandleIs(Handle const& handle) { nextHopEntryHandle_ = handle; }
  // The next hop's row now, all 32 bits. Requires a handle.
  [[nodiscard]] Asic::Index nextHopEntry() const { return nextHopEntryHandle_->hwEntryIndex(); }

  friend bool operator==(L3EcmpMember const&, L3EcmpMember const&) = default;
  friend bool operator<(L3EcmpMember const& a, L3EcmpMember const& b) {
    return a.nextHopEntryHandle_ < b.nextHopEntryHandle_;
  }
  // The address of the handle object.
  friend std::ostream& operator<<(std::ostream& out, L3EcmpMember const& member) {
    return Vek::writeText(out, valueToStrep(member).str());
  }
  friend ORVIA_L3_EXPORT Vek::String valueToStrep(L3EcmpMember const& member);

 private:
  Handle nextHopEntryHandle_;
};

class ORVIA_L3_EXPORT L3EcmpEntryBlock : public Asic::EntryBlockBase {
 public:
  using Index = L3EcmpMemberIndex;
  using Entry = L3EcmpMember;
  using Members = Vek::SmallMap<Index, Entry, 1>;

  // Size 0, no members.
  L3EcmpEntryBlock();
  // The given size, no members.
  explicit L3EcmpEntryBlock(Asic::BlockSize size);
  explicit L3EcmpEntryBlock(Asic::EntryBlockBase const& base);
  // Every value type has one. A block holds a collection, and ends the process.
  static constexpr bool hasTextConstructor = false;
  [[noreturn]] L3EcmpEntryBlock(Vek::String::IteratorConst& begin,
                                Vek::String::IteratorConst const& end);
  L3EcmpEntryBlock(L3EcmpEntryBlock const&);
  L3EcmpEntryBlock& operator=(L3EcmpEntryBlock const&);
  ~L3EcmpEntryBlock();

  // The member at the position, or an empty one.
  [[nodiscard]] Entry entry(Index index) const;
  // The same on the raw collection.
  [[nodiscard]] Entry entryInternal(Index index) const { return entry(index); }
  // How many members there are.
  [[nodiscard]] std::uint32_t entrys() const;
  // All members, by ascending position.
  [[nodiscard]] Members const& members() const;

  // Sets the member at a position of the block. Raises Vek::RangeException "index must be smaller
  // than blockSize" otherwise, and changes nothing. The only operation that checks the position.
  void entryIs(Index index, Entry const& entry);
  void entryInternalIs(Index index, Entry const& entry);
  // Removes the member, if there is one.
  void entryDel(Index index) { entryInternalDel(index); }
  void entryInternalDel(Index index);
  void entryInternalDelAll();

  // Of the size, the positions and the handles' identities.
  [[nodiscard]] std::uint32_t hash(unsigned seed) const;
  // Whether the block differs from a default one.
  explicit operator bool() const { return !(*this == L3EcmpEntryBlock()); }

  friend ORVIA_L3_EXPORT bool operator==(L3EcmpEntryBlock const& a, L3EcmpEntryBlock const& b);
  // By the base, then fewer members first, then the first pair that differs: by position, then by
  // the address of the handle.
  friend ORVIA_L3_EXPORT bool operator<(L3EcmpEntryBlock const& a, L3EcmpEntryBlock const& b);
  friend std::ostream& operator<<(std::ostream& out, L3EcmpEntryBlock const& block) {
    return Vek::writeText(out, valueToStrep(block).str());
  }
  // One line; the members are not in it.
  friend ORVIA_L3_EXPORT Vek::String valueToStrep(L3EcmpEntryBlock const& block);

 private:
  class Body;

  // The members for a change: this block's own.
  Members& change();

  Vek::Ptr<Body> body_;  // none: no members
};

ORVIA_L3_EXPORT Vek::String valueToStrep(L3EcmpMember const& member);
ORVIA_L3_EXPORT Vek::String valueToStrep(L3EcmpEntryBlock const& block);

}  // namespace OrviaL3Unicast
