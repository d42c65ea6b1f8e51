#include "agent/RowPool.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace OrviaL3Agent {

RowPool::RowPool(std::uint32_t first, std::uint32_t last)
    : first_(first), end_(std::max<std::uint64_t>(std::uint64_t{last} + 1, first)), next_(first) {}

std::optional<std::uint32_t> RowPool::take() {
  if (!returned_.empty()) return returned_.extract(returned_.begin()).value();
  if (next_ == end_) return std::nullopt;
  return static_cast<std::uint32_t>(next_++);
}

bool RowPool::reserve(std::uint32_t row) {
  if (row < first_ || row >= end_) return false;
  if (row < next_) return returned_.erase(row) > 0;
  for (; next_ < row; ++next_) returned_.insert(static_cast<std::uint32_t>(next_));
  ++next_;
  return true;
}

void RowPool::giveBack(std::uint32_t row) {
  if (row < first_ || row >= next_ || !returned_.insert(row).second) {
    throw std::invalid_argument("row " + std::to_string(row) + " is not taken");
  }
}

}  // namespace OrviaL3Agent
