#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <utility>
#include <vector>

/// A JSON document that the benchmarks work on.
struct Document
{
    std::string name; ///< As it stands in the table.
    std::string path; ///< For the streams that read files.
    std::string text;
};

/// The files named on the command line and a generated document, which is also written to a temporary file.
std::vector<Document> loadDocuments(const std::vector<std::string>& paths);

/// Adds one row of the table; bench/run compares the libraries that have `work` and `input` in common. Ours is called
/// "ostrel". `run` takes the benchmark's state and `arguments`.
template <class Run, class... Arguments>
benchmark::internal::Benchmark* addBenchmark(const std::string& work, const std::string& input,
                                             const std::string& library, Run run, Arguments&&... arguments)
{
    return benchmark::RegisterBenchmark((work + "/" + input + "/" + library).c_str(), run,
                                        std::forward<Arguments>(arguments)...);
}

// One function a file of benchmarks.
void registerBase64Benchmarks();
void registerConcurrencyBenchmarks();
void registerContainerBenchmarks();
void registerDataObjectBenchmarks();
void registerJsonDataBenchmarks();
void registerJsonParseBenchmarks(const Document& document);
void registerJsonTreeBenchmarks(const Document& document);
void registerLookupBenchmarks();
void registerMemoryBenchmarks();
void registerObservableBenchmarks();
void registerPropertyMapBenchmarks();
void registerTextBenchmarks();
void registerXmlBenchmarks();
void registerXmlParseBenchmarks();
