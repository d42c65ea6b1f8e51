#include "OrviaL3Unicast/L3EcmpEntryBlock.h"

#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "OrviaL3Unicast/plumbing/RefusedText.h"
#include "Vek/Exception.h"
#include "Vek/Format.h"
#include "Vek/Memory.h"
#include "Vek/TextReference.h"

namespace OrviaL3Unicast {

// The members, shared by the copies of a block.
class L3EcmpEntryBlock::Body final
    : public Vek::Tracked<L3EcmpEntryBlock::Body, Vek::PtrInterface> {
 public:
  static constexpr char const* typeName() {
    return "OrviaL3Unicast::L3EcmpMemberTable::EntryBlock::Body";
  }

  Body() = default;
  explicit Body(Members const& from) : members(from) {}

  // Positions and handles mixed; computed once for a body that does not change any more.
  [[nodiscard]] std::uint64_t digest() const {
    if (!digestKnown_) {
      std::uint64_t digest = 0;
      for (auto const& [index, member] : members) {
        digest = Vek::hashMix(digest ^ index.value(),
                              reinterpret_cast<std::uintptr_t>(member.nextHopEntryHandle().get()));
      }
      digest_ = digest;
      digestKnown_ = true;
    }
    return digest_;
  }
  void changed() { digestKnown_ = false; }

  Members members;

 private:
  mutable std::uint64_t digest_ = 0;
  mutable bool digestKnown_ = false;
};

Vek::String valueToStrep(L3EcmpMember const& member) {
  return Vek::format("%s", member.nextHopEntryHandle_);
}

L3EcmpMember::L3EcmpMember(Vek::String::IteratorConst& begin,
                           Vek::String::IteratorConst const& end) {
  try {
    sequenceToValue(begin, end, &nextHopEntryHandle_);
  } catch (Vek::RangeException const&) {
    // Whoever catches the error may look at the handle's references: none is this member's.
    nextHopEntryHandle_ = nullptr;
    throw;
  }
}

L3EcmpEntryBlock::L3EcmpEntryBlock() = default;
L3EcmpEntryBlock::L3EcmpEntryBlock(Asic::BlockSize size) : EntryBlockBase(size) {}
L3EcmpEntryBlock::L3EcmpEntryBlock(Asic::EntryBlockBase const& base) : EntryBlockBase(base) {}
L3EcmpEntryBlock::L3EcmpEntryBlock(Vek::String::IteratorConst& /*begin*/,
                                   Vek::String::IteratorConst const& /*end*/) {
  plumbing::refuseTextConstructor<L3EcmpMemberTraits, "EntryBlock">(183);
}
L3EcmpEntryBlock::L3EcmpEntryBlock(L3EcmpEntryBlock const&) = default;
L3EcmpEntryBlock& L3EcmpEntryBlock::operator=(L3EcmpEntryBlock const&) = default;
L3EcmpEntryBlock::~L3EcmpEntryBlock() = default;

L3EcmpEntryBlock::Members const& L3EcmpEntryBlock::members() const {
  static Members const none;
  return body_ ? body_->members : none;
}

L3EcmpMember L3EcmpEntryBlock::entry(Index index) const {
  Entry const* const member = members().find(index);
  return member != nullptr ? *member : Entry();
}

std::uint32_t L3EcmpEntryBlock::entrys() const {
  return static_cast<std::uint32_t>(members().size());
}

L3EcmpEntryBlock::Members& L3EcmpEntryBlock::change() {
  if (!body_) {
    body_ = new Body;
  } else if (body_->references() > 1) {
    body_ = new Body(body_->members);
  }
  body_->changed();
  return body_->members;
}

void L3EcmpEntryBlock::entryIs(Index index, Entry const& entry) {
  if (index.value() >= blockSize().value()) {
    throw Vek::RangeException("index must be smaller than blockSize");
  }
  entryInternalIs(index, entry);
}

void L3EcmpEntryBlock::entryInternalIs(Index index, Entry const& entry) {
  Entry const member = entry;  // may be one of the members that move
  change().set(index, member);
}

void L3EcmpEntryBlock::entryInternalDel(Index index) {
  if (members().find(index) != nullptr) change().take(index);
}

void L3EcmpEntryBlock::entryInternalDelAll() { body_ = nullptr; }

std::uint32_t L3EcmpEntryBlock::hash(unsigned seed) const {
  std::uint64_t const digest = body_ ? body_->digest() : 0;
  return Vek::hashFold(Vek::hashMix(Vek::hashMix(seed, blockSize().value()), digest));
}

bool operator==(L3EcmpEntryBlock const& a, L3EcmpEntryBlock const& b) {
  if (!(static_cast<Asic::EntryBlockBase const&>(a) ==
        static_cast<Asic::EntryBlockBase const&>(b))) {
    return false;
  }
  if (a.body_ == b.body_) return true;
  auto const& mine = a.members();
  auto const& theirs = b.members();
  if (mine.size() != theirs.size()) return false;
  auto other = theirs.begin();
  for (auto const& member : mine) {
    if (!(member.key == other->key && member.value == other->value)) return false;
    ++other;
  }
  return true;
}

bool operator<(L3EcmpEntryBlock const& a, L3EcmpEntryBlock const& b) {
  Asic::EntryBlockBase const& baseA = a;
  Asic::EntryBlockBase const& baseB = b;
  if (baseA < baseB) return true;
  if (!(baseA == baseB) || a.body_ == b.body_) return false;
  auto const& mine = a.members();
  auto const& theirs = b.members();
  if (mine.size() != theirs.size()) return mine.size() < theirs.size();
  auto other = theirs.begin();
  for (auto const& member : mine) {
    if (member.key != other->key) return member.key < other->key;
    if (!(member.value == other->value)) return member.value < other->value;
    ++other;
  }
  return false;
}

Vek::String valueToStrep(L3EcmpEntryBlock const& block) {
  return Vek::format(
      "Value('OrviaL3Unicast::L3EcmpMemberTable::EntryBlock', ** {'blockSize': %s, "
      "'entryInternal': %s})",
      block.blockSize(), "None");
}

}  // namespace OrviaL3Unicast
