// Watches where every group of the hardware leads, at every single call.
//
//   ForwardingCheck check({.ecmpNextHops = 16384, .nextHops = 32768, .members = 65536,
//                          .groups = 16384});
//   device.observerIs(&check);
//   ... the agent runs ...
//   std::cout << text(check);
//
// The check keeps rows of its own, made from the calls alone, and follows each group row in force
// over its member rows to the next-hop rows. A position of a group is right when its member row
// names the next-hop row that the group's record asked for when it was written, and that row holds
// what it held then (or, where it was empty then, what the group first met there). Rewriting a row
// with equal contents is right, whoever does it.
//
// An instant is a call at which a group begins to lead somewhere wrong in one of the ways below. It
// stays wrong, and is not reported again, until a later call mends all positions that are wrong in
// that way. A call costs as much as the positions that lead over the rows that it touches.
//
// Threading: the device's thread. Ownership: plain values; the check keeps nothing of the device.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plugins/soft-asic/Call.h"

namespace OrviaL3Agent {

class ForwardingCheck final : public SoftAsic::CallObserver {
 public:
  enum class Kind : std::uint8_t {
    neverWritten,   // the member row or the next-hop row was never written, or does not exist
    deleted,        // it was, and has been deleted
    another,        // another row, or the right row with somebody else's contents
    notInHardware,  // the member row's last write was refused or lost: the group was published
                    // without it
    unprogrammed,   // no group: the record of a write names entries that are not programmed
  };
  static constexpr std::size_t kKinds = 5;
  static constexpr std::size_t kKept = 1000;

  // How many rows there are. The ECMP view is the lower part of the next-hop rows, the ingress
  // table's window is the rest.
  struct Sizes {
    std::uint32_t ecmpNextHops = 0;
    std::uint32_t nextHops = 0;
    std::uint32_t members = 0;
    std::uint32_t groups = 0;
  };

  struct Instant {
    std::uint64_t serial = 0;
    std::string call;  // "removal of ecmp row 4"
    Kind kind{};
    // The lowest position of the group that is wrong in this way. Absent where there is none: a
    // member row that names nothing, a record that names what is not programmed.
    std::optional<std::uint32_t> groupRow;
    std::optional<std::uint32_t> memberRow;
    std::optional<std::uint32_t> nextHopRow;
    std::string leadsTo;   // "next-hop row 4 (destination 3, interface row 1, MTU row 1)"
    std::string askedFor;  // in the same words
  };

  // At most `kept` instants are kept in full, the first ones; all are counted.
  explicit ForwardingCheck(Sizes const& sizes, std::size_t kept = kKept);

  void callIs(SoftAsic::Call const& call) override;

  [[nodiscard]] std::uint64_t calls() const { return calls_; }
  [[nodiscard]] std::vector<Instant> const& instants() const { return instants_; }
  [[nodiscard]] std::uint64_t count(Kind kind) const {
    return counts_[static_cast<std::size_t>(kind)];
  }
  [[nodiscard]] std::uint64_t total() const;
  // After how many calls some group was wrong, and how many groups are now.
  [[nodiscard]] std::uint64_t wrongCalls() const { return wrongCalls_; }
  [[nodiscard]] std::size_t wrongGroups() const { return wrongGroups_; }

 private:
  static constexpr std::uint32_t kNoRow = 0xFFFFFFFFU;

  struct NextHopRow {
    std::optional<SoftAsic::NextHopContents> contents;
    bool wasWritten = false;
    std::vector<std::uint32_t> members;  // the rows that name this one
  };
  // One position of a group.
  struct Lead {
    std::uint32_t group = 0;
    std::uint32_t position = 0;
  };
  struct MemberRow {
    std::optional<std::uint32_t> nextHop;
    bool wasWritten = false;
    bool missed = false;      // the last write was refused or lost
    std::uint32_t place = 0;  // among the next-hop row's members
    std::vector<Lead> leads;  // that go over this row
  };
  struct Position {
    std::uint32_t nextHop = kNoRow;  // that the record asked for
    std::optional<SoftAsic::NextHopContents> contents;
    std::uint32_t place = 0;  // among the member row's leads
    std::optional<Kind> wrong;
  };
  struct GroupRow {
    bool inForce = false;
    std::uint32_t block = 0;
    std::vector<Position> positions;
    std::array<std::uint32_t, kKinds> wrong{};  // positions, by kind
    std::uint64_t touched = 0;                  // the latest call that did
    std::array<bool, kKinds> before{};          // which kinds it had at the start of that call
  };

  void write(SoftAsic::Call const& call);
  void writeGroup(std::uint32_t row, SoftAsic::Call const& call);
  void empty(SoftAsic::TableId table, std::uint32_t row);
  void nameNextHop(std::uint32_t memberRow, std::optional<std::uint32_t> nextHopRow);
  void emptyGroup(std::uint32_t row);

  void touch(SoftAsic::TableId table, std::uint32_t row);
  void touchMember(std::uint32_t row);
  GroupRow& touchGroup(std::uint32_t row);
  void judge(Lead const& lead);
  [[nodiscard]] std::optional<Kind> kindOf(std::uint32_t memberRow, Position& position) const;

  void settle(SoftAsic::Call const& call);
  void report(SoftAsic::Call const& call, Kind kind, std::optional<std::uint32_t> group);
  void describe(Instant& instant) const;

  [[nodiscard]] bool hasRow(SoftAsic::TableId table, std::uint32_t row) const;

  std::uint32_t ecmpNextHops_;
  std::vector<NextHopRow> nextHops_;
  std::vector<MemberRow> members_;
  std::vector<GroupRow> groups_;

  std::size_t kept_;
  std::uint64_t calls_ = 0;
  std::uint64_t wrongCalls_ = 0;
  std::size_t wrongGroups_ = 0;
  std::array<std::uint64_t, kKinds> counts_{};
  std::vector<Instant> instants_;
  std::vector<std::uint32_t> touched_;  // groups, of the current call
};

// What the instant says is wrong: "leads to a deleted row", ...
[[nodiscard]] char const* text(ForwardingCheck::Kind kind);
// One line: the call, the group and its way, and what was asked for.
[[nodiscard]] std::string text(ForwardingCheck::Instant const& instant);
// For people: the first instants, a line each, and a summary line; lines end in newlines.
[[nodiscard]] std::string text(ForwardingCheck const& check);

}  // namespace OrviaL3Agent
