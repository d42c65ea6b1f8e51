// How many rows of the hardware hold something, kept up to date call by call.
//
//   RowsInForce rows;
//   device.observerIs(&rows);
//   ... rows.count() ...
//
// Threading: the device's thread. Ownership: plain values.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <set>

#include "plugins/soft-asic/Call.h"

namespace OrviaL3Agent {

class RowsInForce final : public SoftAsic::CallObserver {
 public:
  void callIs(SoftAsic::Call const& call) override {
    std::set<std::uint32_t>& rows = rows_[static_cast<std::size_t>(call.table)];
    count_ -= rows.size();
    if (call.kind == SoftAsic::Call::Kind::removeAll) {
      rows.clear();
    } else if (call.kind == SoftAsic::Call::Kind::remove) {
      rows.erase(call.row);
    } else if (call.fate == SoftAsic::Fate::taken) {
      rows.insert(call.row);
    }
    count_ += rows.size();
  }

  [[nodiscard]] std::size_t count() const { return count_; }

 private:
  std::array<std::set<std::uint32_t>, SoftAsic::kTables> rows_;
  std::size_t count_ = 0;
};

}  // namespace OrviaL3Agent
