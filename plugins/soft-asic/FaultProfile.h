// How the simulated hardware of one table misbehaves, and how profiles are read.
//
//   SoftAsic::FaultProfiles profiles = SoftAsic::faultProfilesOfFile("faults.json");
//   SoftAsic::faultIs(profiles, "group:refuse-every=5,answer=3,order=random");
//   SoftAsic::SoftDevice device({}, profiles);
//
// "Every k-th" counts the writes of the table, those outside of its window included, from its first
// one on, 0 meaning none of them: so the same writes meet the same faults in every run.
// docs/faults.md describes each fault and the file.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

#include "plugins/soft-asic/AnswerQueue.h"
#include "plugins/soft-asic/Call.h"
#include "plugins/soft-asic/Export.h"

namespace SoftAsic {

struct FaultProfile {
  enum class Order : std::uint8_t { inOrder, random };

  // Turns of the agent's loop that pass before the one that delivers an answer; none: at once.
  std::optional<std::uint32_t> answerAfter = 0;
  Order order = Order::inOrder;
  std::set<std::uint32_t> refusedRows{};  // device rows; those of other windows mean nothing here
  std::uint32_t refuseEvery = 0;
  std::uint32_t loseAnswerEvery = 0;
  std::uint32_t loseWriteEvery = 0;
  std::uint32_t answerTwiceEvery = 0;
  std::uint32_t lateEvery = 0;
  std::uint32_t lateBy = 1;  // turns

  friend bool operator==(FaultProfile const&, FaultProfile const&) = default;
};

struct FaultProfiles {
  std::uint64_t seed = 0;  // of random orders
  std::array<FaultProfile, kTables> tables;

  // By name and not by number. Any part of a profile can be changed.
  [[nodiscard]] FaultProfile& of(TableId table) { return tables[static_cast<std::size_t>(table)]; }
  [[nodiscard]] FaultProfile const& of(TableId table) const {
    return tables[static_cast<std::size_t>(table)];
  }

  friend bool operator==(FaultProfiles const&, FaultProfiles const&) = default;
};

// A profile that says something that has no meaning: where, and what was expected there.
class SOFT_ASIC_EXPORT FaultProfileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws FaultProfileError; std::system_error when there is no such file or it cannot be read.
[[nodiscard]] SOFT_ASIC_EXPORT FaultProfiles faultProfilesOfFile(std::filesystem::path const& path);
// Changes what "TABLE:KEY=VALUE[,KEY=VALUE...]" names and leaves the rest. Rows are separated by
// '+'. Throws FaultProfileError, and has changed nothing then.
SOFT_ASIC_EXPORT void faultIs(FaultProfiles& profiles, std::string_view text);
// One line, for people: "answers 3 turns later, in random order; refuses every 5th write".
[[nodiscard]] SOFT_ASIC_EXPORT std::string text(FaultProfile const& profile);

// What becomes of one write.
struct Course {
  bool isLost = false;  // before anything else can happen to it
  bool isRefused = false;
  bool answerIsLost = false;
  bool answerIsLate = false;
  unsigned answers = 1;
  Timing timing;
};
// Of the table's `write`-th write, counted from 1, to that row.
[[nodiscard]] SOFT_ASIC_EXPORT Course courseOf(FaultProfile const& profile, std::uint64_t write,
                                               Asic::Index row);

}  // namespace SoftAsic
