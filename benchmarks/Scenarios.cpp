#include "benchmarks/Scenarios.h"

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace OrviaBenchmarks {
namespace {

constexpr std::uint32_t poolSize = 1024;  // next hops that the blocks of a scenario share

void expectCount(char const* what, std::uint64_t counted, std::uint64_t expected) {
  if (counted == expected) return;
  throw std::runtime_error(std::string(what) + ": " + std::to_string(counted) + " instead of " +
                           std::to_string(expected));
}

std::vector<std::uint32_t> randomPicks(std::size_t count, std::uint32_t below) {
  std::mt19937 random(1);
  std::vector<std::uint32_t> picks(count);
  for (std::uint32_t& pick : picks) pick = static_cast<std::uint32_t>(random() % below);
  return picks;
}

void ingressNextHops(Hardware hardware, std::uint32_t entries, Figures& figures) {
  // Ingress rows lie above the ECMP view's, which has one here.
  Pipeline pipeline(hardware, {.ingress = entries, .nextHops = 1});
  std::vector<Handle> keys;
  for (std::uint32_t i = 0; i < entries; ++i) {
    Vek::Ptr<Asic::SwTable::EntryHandle> key = new Asic::SwTable::EntryHandle;
    key->hwEntryIndexIs(1 + i);
    key->entryStateIs(Asic::HwTable::success());
    keys.push_back(key);
  }
  figures.timedAndWeighed("a.ingress_write", entries, [&] {
    for (std::uint32_t i = 0; i < entries; ++i) pipeline.writeIngress(keys[i], i);
  });
  expectCount("ingress next hops answered", pipeline.answered(), entries);
  figures.timed("g.ingress_remove", entries, [&] {
    for (Handle const& key : keys) pipeline.removeIngress(key);
  });
  expectCount("ingress next hops deleted", pipeline.ingressDeletes(), entries);
}

void nextHops(Hardware hardware, std::uint32_t entries, Figures& figures) {
  Pipeline pipeline(hardware, {.nextHops = entries + 2});
  figures.timedAndWeighed("a.nh_write", entries, [&] {
    for (std::uint32_t i = 0; i < entries; ++i) pipeline.writeNextHop(i);
  });
  expectCount("next hops answered", pipeline.answered(), entries);
  std::vector<std::uint32_t> const picks =
      randomPicks(std::min<std::size_t>(entries, 200000), entries);
  figures.timed("a.nh_same", picks.size(), [&] {
    for (std::uint32_t const pick : picks) pipeline.writeNextHop(pick);
  });
  expectCount("next hops written", pipeline.nextHopWrites(), entries);
  std::uint64_t version = 0;
  figures.timed("a.nh_rewrite", picks.size(), [&] {
    for (std::uint32_t const pick : picks) pipeline.writeNextHop(pick, ++version);
  });
  expectCount("next hops rewritten", pipeline.nextHopWrites(), entries + picks.size());
  expectCount("rewritten next hops answered", pipeline.answered(), entries + picks.size());
  figures.timed("g.nh_remove", entries, [&] {
    for (std::uint32_t i = 0; i < entries; ++i) pipeline.removeNextHop(i);
  });
  expectCount("next hops deleted", pipeline.nextHopDeletes(), entries);
}

template <std::uint32_t width>
void blocks(Hardware hardware, std::uint32_t entries, Figures& figures) {
  std::string const name = "blk" + std::to_string(width);
  std::vector<std::uint32_t> const picks = randomPicks(std::size_t{entries} * width, poolSize);
  std::vector<Handle> members(width);
  {
    Pipeline pipeline(
        hardware,
        {.nextHops = poolSize + 2, .members = entries * width + 256, .groups = entries + 2});
    std::vector<Handle> pool;
    for (std::uint32_t i = 0; i < poolSize; ++i) {
      pipeline.writeNextHop(i);
      pool.push_back(pipeline.nextHop(i));
    }
    std::vector<Handle> held;
    held.reserve(entries);
    figures.timedAndWeighed("b." + name + "_ready", entries, [&] {
      for (std::size_t i = 0; i < entries; ++i) {
        for (std::size_t j = 0; j < width; ++j) members[j] = pool[picks[i * width + j]];
        held.push_back(pipeline.block(members));
      }
    });
    expectCount("members written", pipeline.memberWrites(), std::uint64_t{entries} * width);
    std::uint64_t const before = pipeline.answered();
    figures.timedAndWeighed("c." + name + "_group", entries, [&] {
      for (std::uint32_t i = 0; i < entries; ++i) {
        pipeline.writeGroup(i, held[i], width);
        pipeline.answerGroup(i + 1);
      }
    });
    expectCount("groups answered", pipeline.answered() - before, entries);
    figures.timed("g." + name + "_group", entries, [&] {
      for (std::uint32_t i = 0; i < entries; ++i) pipeline.removeGroup(i);
    });
    figures.timed("g." + name + "_release", entries, [&] { held.clear(); });
    expectCount("members deleted", pipeline.memberDeletes(), std::uint64_t{entries} * width);
  }
  // Block and group come first; then the answer for the block's last next hop programs both.
  std::uint32_t const chains = std::max(1U, entries / 2);
  Pipeline pipeline(
      hardware,
      {.nextHops = poolSize + chains + 2, .members = chains * width + 256, .groups = chains + 2});
  std::vector<Handle> pool;
  for (std::uint32_t i = 0; i < poolSize; ++i) {
    pipeline.writeNextHop(i);
    pool.push_back(pipeline.nextHop(i));
  }
  std::vector<Handle> last;
  for (std::uint32_t i = poolSize; i < poolSize + chains; ++i) {
    pipeline.writeNextHopHeld(i);
    last.push_back(pipeline.nextHop(i));
  }
  std::vector<Handle> held;
  held.reserve(chains);
  std::uint64_t const before = pipeline.answered();
  figures.timed("c.chain" + std::to_string(width), chains, [&] {
    for (std::uint32_t i = 0; i < chains; ++i) {
      for (std::size_t j = 0; j + 1 < width; ++j) {
        members[j] = pool[picks[std::size_t{i} * width + j]];
      }
      members[width - 1] = last[i];
      held.push_back(pipeline.block(members));
      pipeline.writeGroup(i, held.back(), width);
      pipeline.nextHeldAnswer();
      pipeline.answerGroup(i + 1);
    }
  });
  expectCount("chains answered", pipeline.answered() - before, std::uint64_t{chains} * 2);
  for (std::uint32_t i = 0; i < chains; ++i) pipeline.removeGroup(i);
}

// Blocks of three, of which all wait for the same two next hops: the first answer is only counted
// by every watcher, the second resolves every block.
void fanOut(Hardware hardware, std::uint32_t entries, Figures& figures) {
  constexpr std::uint32_t width = 3;
  Pipeline pipeline(hardware, {.nextHops = entries + 4, .members = entries * width + 256});
  pipeline.writeNextHopHeld(0);
  pipeline.writeNextHopHeld(1);
  for (std::uint32_t i = 2; i < entries + 2; ++i) pipeline.writeNextHop(i);
  std::vector<Handle> handles;
  for (std::uint32_t i = 0; i < entries + 2; ++i) handles.push_back(pipeline.nextHop(i));
  std::vector<Handle> held;
  held.reserve(entries);
  std::vector<Handle> members{handles[0], handles[1], {}};
  figures.timedAndWeighed("e.fan_register", entries, [&] {
    for (std::uint32_t i = 0; i < entries; ++i) {
      members[2] = handles[i + 2];
      held.push_back(pipeline.block(members));
    }
  });
  figures.timed("e.fan_count", entries, [&] { pipeline.nextHeldAnswer(); });
  expectCount("members written early", pipeline.memberWrites(), 0);
  figures.timed("e.fan_resolve", entries, [&] { pipeline.nextHeldAnswer(); });
  expectCount("members written", pipeline.memberWrites(), std::uint64_t{entries} * width);
}

constexpr Scenario all[] = {
    {"ingress", ingressNextHops}, {"nh", nextHops},      {"blk8", blocks<8>},
    {"blk16", blocks<16>},        {"blk64", blocks<64>}, {"fan", fanOut},
};

}  // namespace

std::span<Scenario const> scenarios() { return all; }

}  // namespace OrviaBenchmarks
