#pragma once

#include <malloc.h>

/// glibc adapts these to the blocks freed before, and a row would depend on the rows ahead of it: whether large blocks
/// are mapped anew, with a page fault for every 4 KB, in ours or in theirs.
inline void fixAllocatorThresholds()
{
    const int LARGEST_HEAP_BLOCK = 32 * 1024 * 1024;
    mallopt(M_MMAP_THRESHOLD, LARGEST_HEAP_BLOCK);
    mallopt(M_TRIM_THRESHOLD, 16 * LARGEST_HEAP_BLOCK);
}
