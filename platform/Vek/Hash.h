// Hashing for keyed collections.
//
// Every collection has a seed constant of its own, mixed with one process-wide seed, so that one
// key hashes differently in each. hashMix is a 64-bit multiply-and-fold.
#pragma once

#include <cstdint>

namespace Vek {

constexpr std::uint64_t hashMix(std::uint64_t a, std::uint64_t b) {
  __extension__ using Wide = unsigned __int128;
  Wide const product = static_cast<Wide>(a ^ 0xa0761d6478bd642fULL) * (b ^ 0xe7037ed1a0b428dbULL);
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

// Fixed rather than drawn at start: the same history gives the same tables in every run.
inline constexpr unsigned processHashSeed = 0x5eed0a11U;

constexpr unsigned collectionHashSeed(unsigned collectionConstant) {
  return processHashSeed ^ (collectionConstant * 0x9e3779b9U);
}

constexpr std::uint32_t hashFold(std::uint64_t hash) {
  return static_cast<std::uint32_t>(hash ^ (hash >> 32));
}

}  // namespace Vek
