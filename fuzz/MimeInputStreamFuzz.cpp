// A source of arbitrary pieces: the text is what OpenSSL makes of each piece by itself, in lines.
#include <openssl/evp.h>

#include <memory>

#include "fuzz/Judge.h"
#include "ostrel/MimeInputStream.h"

namespace {

const size_t LINE_BYTES = 57;
const int LINE_CHARACTERS = 76;

/// Delivers the input in pieces whose lengths stand before them, as far as they are asked for; writes down what is to
/// be made of them.
class ScriptedStream : public Ostrel::InputStream
{
public:
    ScriptedStream(Choices& script, std::string& expected) : _script(script), _expected(expected) {}

    int read(unsigned char* buffer, unsigned int size) override
    {
        if (_script.isEmpty())
            return -1;
        const unsigned int wanted = _script.below(256);
        const std::string piece = _script.bytes(std::min(wanted == 255 ? UINT32_MAX : wanted, size));
        std::copy(piece.begin(), piece.end(), buffer);
        for (size_t i = 0; i < piece.size(); i += LINE_BYTES)
            addLine(piece.substr(i, LINE_BYTES));
        return static_cast<int>(piece.size());
    }

    const char* getErrorString() const override { return nullptr; }

private:
    void addLine(const std::string& line)
    {
        unsigned char encoded[LINE_CHARACTERS + 1];
        const int length = EVP_EncodeBlock(encoded, reinterpret_cast<const unsigned char*>(line.data()),
                                           static_cast<int>(line.size()));
        _expected.append(encoded, encoded + length);
        _expected += length == LINE_CHARACTERS ? "\r\n" : "";
    }

    Choices& _script;
    std::string& _expected;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Choices choices(data, size);
    std::string expected;
    std::string text;
    Ostrel::SharedPtr<Ostrel::InputStream> source(new ScriptedStream(choices, expected));
    Ostrel::MimeInputStream stream(source, choices.below(256) * 3);
    const unsigned int pieceSize = choices.below(256) + 1;
    const std::unique_ptr<unsigned char[]> piece(new unsigned char[pieceSize]);
    for (int count = 1; count > 0 || !choices.isEmpty();) { // the source may seem at its end before it is
        count = stream.read(piece.get(), pieceSize);
        require(count >= 0);
        text.append(piece.get(), piece.get() + count);
    }
    require(text == expected);
    return 0;
}
