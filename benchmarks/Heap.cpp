#include "benchmarks/Heap.h"

#include <malloc.h>

#include "Vek/Memory.h"

namespace OrviaBenchmarks {
namespace {

std::size_t systemHeap() {
  struct mallinfo2 const info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

}  // namespace

std::size_t heapInUse() {
  constexpr std::size_t smallest = 16;
  constexpr std::size_t enough = 1U << 20;  // an allocator without chunks grows at every object
  std::size_t const before = systemHeap();
  std::size_t unused = 0;
  while (unused < enough) {
    Vek::vekMemAlloc(smallest);  // for good: it must not be handed out again
    if (systemHeap() != before) break;
    unused += smallest;
  }
  return before - unused;
}

void keepHeapMapped() {
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, -1);
  mallopt(M_TOP_PAD, 64 << 20);
}

}  // namespace OrviaBenchmarks
