// How much memory the process has taken.
//
// The framework's allocator takes its memory from the heap in chunks and cuts objects from them, so
// the part of the last chunk that nobody has yet is taken off again. Memory that was freed into the
// framework's free lists stays counted: exact only for a process that has freed little before.
#pragma once

#include <cstddef>

namespace OrviaBenchmarks {

// Taken now, in bytes. Fills up the allocator's present chunk: the next object starts a new one.
std::size_t heapInUse();
// Keeps what the process frees mapped, so that repetitions after the first run on warm pages.
void keepHeapMapped();

}  // namespace OrviaBenchmarks
