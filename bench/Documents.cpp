#include "bench/Benchmarks.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

namespace {

std::string generate()
{
    std::mt19937 random(1); // the same document in every run
    std::string text = "{\"devices\":[";
    for (int i = 0; i < 1000; ++i) {
        const std::string number = std::to_string(i);
        text += (i == 0 ? "{\"id\":" : ",{\"id\":") + number;
        text += ",\"name\":\"device " + number + "\",\"enabled\":" + (random() % 2 != 0 ? "true" : "false");
        text += ",\"address\":{\"host\":\"10.0.0." + std::to_string(random() % 256) + "\",\"port\":";
        text += std::to_string(random() % 65536) + "},\"readings\":[";
        for (int r = 0; r < 8; ++r)
            text += (r == 0 ? "" : ",") + std::to_string(random());
        text += "],\"note\":" + std::string(random() % 4 == 0 ? "null" : "\"line one\\nline \\\"two\\\"\"") + "}";
    }
    return text + "]}";
}

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        fprintf(stderr, "cannot read %s\n", path.c_str());
        exit(1);
    }
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::string getBaseName(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

} // namespace

std::vector<Document> loadDocuments(const std::vector<std::string>& paths)
{
    std::vector<Document> documents;
    for (const std::string& path : paths)
        documents.push_back({getBaseName(path), path, readFile(path)});

    const std::string path = "generated.json"; // in the folder that the benchmarks run in
    documents.push_back({"generated", path, generate()});
    std::ofstream(path, std::ios::binary) << documents.back().text;
    return documents;
}
