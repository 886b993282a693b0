// ostrel_bench [Google Benchmark options] FILE...
#include "bench/AllocatorThresholds.h"
#include "bench/Benchmarks.h"

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
