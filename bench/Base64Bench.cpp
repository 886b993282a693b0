// A megabyte as base64 text: the stream with its lines, beside OpenSSL with lines of its own and without, and GLib.
#include <random>

#include "bench/Benchmarks.h"

#ifdef HAVE_OPENSSL
#include <openssl/evp.h>
#endif
#ifdef HAVE_GLIB
#include <glib.h>
#endif

#include "ostrel/ByteArrayInputStream.h"
#include "ostrel/MimeInputStream.h"

namespace {

const unsigned int INPUT_SIZE = 1 << 20;
const unsigned int OUTPUT_SIZE = 2 * INPUT_SIZE;
const unsigned int PIECE_SIZE = 8192; // as one reads a stream, and what our buffer holds

std::vector<unsigned char> makeInput()
{
    std::mt19937 random(1);
    std::vector<unsigned char> bytes(INPUT_SIZE);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

void encodeByStream(benchmark::State& state)
{
    const std::vector<unsigned char> input = makeInput();
    std::vector<unsigned char> output(OUTPUT_SIZE);
    for (auto _ : state) {
        const Ostrel::SharedPtr<Ostrel::InputStream> source(new Ostrel::ByteArrayInputStream(input.data(), INPUT_SIZE));
        Ostrel::MimeInputStream stream(source, PIECE_SIZE);
        unsigned char* out = output.data();
        for (int count; (count = stream.read(out, PIECE_SIZE)) > 0;)
            out += count;
        benchmark::DoNotOptimize(out);
    }
    state.SetBytesProcessed(state.iterations() * INPUT_SIZE);
}

#ifdef HAVE_OPENSSL
void encodeByUpdates(benchmark::State& state)
{
    const std::vector<unsigned char> input = makeInput();
    std::vector<unsigned char> output(OUTPUT_SIZE);
    EVP_ENCODE_CTX* const context = EVP_ENCODE_CTX_new();
    for (auto _ : state) {
        unsigned char* out = output.data();
        int count = 0;
        EVP_EncodeInit(context);
        for (unsigned int i = 0; i < INPUT_SIZE; i += PIECE_SIZE) {
            EVP_EncodeUpdate(context, out, &count, input.data() + i, PIECE_SIZE);
            out += count;
        }
        EVP_EncodeFinal(context, out, &count);
        benchmark::DoNotOptimize(out);
    }
    EVP_ENCODE_CTX_free(context);
    state.SetBytesProcessed(state.iterations() * INPUT_SIZE);
}

void encodeAsBlock(benchmark::State& state)
{
    const std::vector<unsigned char> input = makeInput();
    std::vector<unsigned char> output(OUTPUT_SIZE);
    for (auto _ : state)
        benchmark::DoNotOptimize(EVP_EncodeBlock(output.data(), input.data(), INPUT_SIZE));
    state.SetBytesProcessed(state.iterations() * INPUT_SIZE);
}
#endif

#ifdef HAVE_GLIB
void encodeByGlib(benchmark::State& state)
{
    const std::vector<unsigned char> input = makeInput();
    std::vector<char> output(OUTPUT_SIZE);
    for (auto _ : state) {
        char* out = output.data();
        int bits = 0;
        int saved = 0;
        for (unsigned int i = 0; i < INPUT_SIZE; i += PIECE_SIZE)
            out += g_base64_encode_step(input.data() + i, PIECE_SIZE, TRUE, out, &bits, &saved);
        out += g_base64_encode_close(TRUE, out, &bits, &saved);
        benchmark::DoNotOptimize(out);
    }
    state.SetBytesProcessed(state.iterations() * INPUT_SIZE);
}
#endif

} // namespace

void registerBase64Benchmarks()
{
    addBenchmark("base64", "1 MB", "ostrel", encodeByStream);
#ifdef HAVE_OPENSSL
    addBenchmark("base64", "1 MB", "OpenSSL lines", encodeByUpdates);
    addBenchmark("base64", "1 MB", "OpenSSL block", encodeAsBlock);
#endif
#ifdef HAVE_GLIB
    addBenchmark("base64", "1 MB", "GLib", encodeByGlib);
#endif
}
