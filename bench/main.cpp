// ostrel_bench [Google Benchmark options] FILE...
#include <malloc.h>

#include "bench/Benchmarks.h"

namespace {

/// glibc adapts these to the blocks freed before, and a row would depend on the rows ahead of it: whether large blocks
/// are mapped anew, with a page fault for every 4 KB, in ours or in theirs.
void fixAllocatorThresholds()
{
    const int LARGEST_HEAP_BLOCK = 32 * 1024 * 1024;
    mallopt(M_MMAP_THRESHOLD, LARGEST_HEAP_BLOCK);
    mallopt(M_TRIM_THRESHOLD, 16 * LARGEST_HEAP_BLOCK);
}

} // namespace

int main(int argc, char** argv)
{
    fixAllocatorThresholds();
    benchmark::Initialize(&argc, argv);
    static const std::vector<Document> documents = loadDocuments(std::vector<std::string>(argv + 1, argv + argc));
    for (const Document& document : documents) {
        registerJsonParseBenchmarks(document);
        registerJsonTreeBenchmarks(document);
    }
    registerBase64Benchmarks();
    registerConcurrencyBenchmarks();
    registerContainerBenchmarks();
    registerDataObjectBenchmarks();
    registerJsonDataBenchmarks();
    registerLookupBenchmarks();
    registerMemoryBenchmarks();
    registerObservableBenchmarks();
    registerPropertyMapBenchmarks();
    registerTextBenchmarks();
    registerXmlBenchmarks();
    registerXmlParseBenchmarks();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
