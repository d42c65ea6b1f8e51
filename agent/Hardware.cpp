#include "agent/Hardware.h"

namespace OrviaL3Agent {

Hardware::Hardware(ReplayOptions const& options)
    : device_({.nextHops = options.rows,
               .ecmpNextHops = options.firstIngressRow(),
               .members = options.memberRows,
               .groups = options.groupRows},
              options.answer == ReplayOptions::Answer::now
                  ? SoftAsic::AnswerQueue::Delivery::atOnce
                  : SoftAsic::AnswerQueue::Delivery::whenDrained) {
  for (std::uint32_t const row : options.refusedRows) device_.nextHops().rowRefusesIs(row, true);
}

void Hardware::runSlice() {
  for (std::size_t left = device_.answers()->waiting(); left > 0; --left) {
    try {
      device_.answers()->drain(1);
    } catch (Asic::NoRowException const&) {
      noRoom_ = true;
    }
  }
}

std::uint64_t Hardware::answers() const {
  return counts().accepted + counts().refused + counts().overtaken;
}

std::uint64_t Hardware::rowsInForce() const { return rowsInForce(device_.ingressNextHops()); }

}  // namespace OrviaL3Agent
