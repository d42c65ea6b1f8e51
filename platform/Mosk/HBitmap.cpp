#include "Mosk/HBitmap.h"

#include <algorithm>

namespace Mosk {

void HBitmap::sizeIs(std::uint32_t bits) {
  auto const wordsFor = [](std::uint32_t count) { return count / 64 + (count % 64 != 0 ? 1 : 0); };

  std::array<std::uint32_t, maxLevels> words{};
  std::uint32_t levels = 0;
  std::uint32_t total = 0;
  for (std::uint32_t below = bits;; below = words[levels - 1]) {
    words[levels] = wordsFor(below);
    total += words[levels];
    if (words[levels++] <= 1) break;
  }
  std::array<std::uint32_t, maxLevels> offset{};
  for (std::uint32_t level = 0, end = total; level < levels; ++level) {
    end -= words[level];
    offset[level] = end;
  }

  std::vector<std::uint64_t> resized(total);
  std::copy_n(words_.begin() + offset_[0], std::min(words[0], wordsFor(size_)),
              resized.begin() + offset[0]);
  if (bits < size_ && bits % 64 != 0) {
    resized[offset[0] + bits / 64] &= (std::uint64_t{1} << (bits % 64)) - 1;
  }
  std::uint32_t bitsSet = 0;
  for (std::uint32_t i = 0; i < words[0]; ++i) {
    bitsSet += static_cast<std::uint32_t>(std::popcount(resized[offset[0] + i]));
  }
  for (std::uint32_t level = 1; level < levels; ++level) {
    for (std::uint32_t i = 0; i < words[level - 1]; ++i) {
      if (resized[offset[level - 1] + i] == 0) continue;
      resized[offset[level] + i / 64] |= std::uint64_t{1} << (i % 64);
    }
  }

  words_ = std::move(resized);
  offset_ = offset;
  levels_ = levels;
  size_ = bits;
  bitsSet_ = bitsSet;
}

std::uint32_t HBitmap::longestRun() const {
  std::uint32_t longest = 0;
  std::uint32_t run = 0;
  for (std::size_t i = size_ == 0 ? words_.size() : offset_[0]; i < words_.size(); ++i) {
    std::uint64_t const word = words_[i];
    for (int at = 0; at < 64;) {
      int const ones = std::countr_one(word >> at);
      run += static_cast<std::uint32_t>(ones);
      longest = std::max(longest, run);
      at += ones;
      if (at >= 64) break;
      // A bit that is not set: the run ends here.
      run = 0;
      at += word >> at == 0 ? 64 : std::countr_zero(word >> at);
    }
  }
  return longest;
}

}  // namespace Mosk
