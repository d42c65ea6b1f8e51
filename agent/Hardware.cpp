#include "agent/Hardware.h"

#include "agent/Deadline.h"

namespace OrviaL3Agent {
namespace {

SoftAsic::FaultProfiles profilesOf(AgentOptions const& options) {
  SoftAsic::FaultProfiles profiles = options.faults;
  if (options.answer == AgentOptions::Answer::now) {
    // A profile that says when its table answers is right about it.
    for (SoftAsic::FaultProfile& profile : profiles.tables) {
      if (profile.answerAfter == 0U) profile.answerAfter.reset();
    }
  }
  return profiles;
}

}  // namespace

Hardware::Hardware(AgentOptions const& options)
    : device_({.nextHops = options.rows,
               .ecmpNextHops = options.firstIngressRow(),
               .members = options.memberRows,
               .groups = options.groupRows},
              profilesOf(options), options.hardwareFile) {
  for (std::uint32_t const row : options.refusedRows) device_.nextHops().rowRefusesIs(row, true);
}

void Hardware::runSlice() {
  recording_->await();
  std::optional<Deadline> deadline;
  if (sliceTime_) deadline.emplace(*sliceTime_);
  for (std::size_t left = device_.answers()->turn(); left > 0; --left) {
    if (deadline && deadline->isOver()) return;
    try {
      device_.answers()->deliverOne();
    } catch (Asic::NoRowException const&) {
      noRoom_ = true;
    }
  }
}

std::size_t Hardware::memberRowsNotTaken(std::uint32_t first, std::uint32_t count) const {
  std::size_t notTaken = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    Asic::Index const row(first + i);
    bool const isTaken =
        device_.members().hasRow(row) && device_.members().row(row).fate == SoftAsic::Fate::taken;
    if (!isTaken) ++notTaken;
  }
  return notTaken;
}

std::uint64_t Hardware::deletes() const {
  return sum([](auto const& window) { return window.counts().deletes; });
}

std::uint64_t Hardware::calls() const {
  return sum([](auto const& window) { return window.counts().writes + window.counts().deletes; });
}

std::uint64_t Hardware::activity() const {
  return calls() + sum([](auto const& window) {
           SoftAsic::Counts const& counts = window.counts();
           return counts.deleteAlls + counts.accepted + counts.refused + counts.repeated;
         });
}

std::uint64_t Hardware::memberCalls() const {
  SoftAsic::Counts const& counts = device_.members().counts();
  return counts.writes + counts.deletes + counts.deleteAlls;
}

std::uint64_t Hardware::rowsInForce() const {
  return sum([](auto const& window) { return rowsInForce(window); });
}

}  // namespace OrviaL3Agent
