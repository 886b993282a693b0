#include "ostrel/MimeInputStream.h"
#include "tests/support/PieceStream.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

static std::string makeBytes(size_t size)
{
    std::string bytes(size, '\0');
    std::generate(bytes.begin(), bytes.end(), std::mt19937(1));
    return bytes;
}

/// Bit by bit; each piece by itself, as one read of the source gives it.
static std::string encode(const std::string& bytes, size_t pieceSize)
{
    std::string text;
    for (size_t start = 0; start < bytes.size(); start += pieceSize) {
        const std::string piece = bytes.substr(start, pieceSize);
        for (size_t bit = 0; bit < (piece.size() + 2) / 3 * 24; bit += 6) {
            size_t value = bit < piece.size() * 8 ? 0 : 1; // 64 is '='
            for (size_t i = bit; i < bit + 6; ++i)
                value = value * 2 + (i / 8 < piece.size() ? piece[i / 8] >> (7 - i % 8) & 1 : 0);
            text += "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/="[value];
            text += bit / 6 % 76 == 75 ? "\r\n" : "";
        }
    }
    return text;
}

static std::string readAll(InputStream& in, unsigned int pieceSize)
{
    std::string text;
    std::vector<unsigned char> piece(pieceSize); // no byte more than asked for
    for (int count; (count = in.read(piece.data(), pieceSize)) > 0;)
        text.append(piece.begin(), piece.begin() + count);
    return text;
}

using MimeInputStreamTest = ReportTest;

TEST_F(MimeInputStreamTest, TextOfAllLengthsReadInOddPieces)
{
    EXPECT_EQ(encode("Man", 57) + encode("M", 57) + encode("Ma", 57), "TWFuTQ==TWE="); // the reference itself
    static const unsigned int PIECES[] = {1, 3, 77, 1000};
    for (unsigned int length = 0; length <= 240; ++length) {
        for (const unsigned int size : {10, 78, 155, 156, 250}) {
            SCOPED_TRACE(testing::Message() << length << " bytes through " << size);
            const unsigned int raw = std::max(size / 78, 1U) * 57;
            const unsigned int piece = length % 2 == 0 ? 1000 : length / 2 + 1; // short reads
            PieceStream* const source = new PieceStream(makeBytes(length), {piece});
            MimeInputStream stream(SharedPtr<InputStream>(source), size);
            EXPECT_EQ(readAll(stream, PIECES[length % 4]), encode(makeBytes(length), std::min(piece, raw)));
            EXPECT_EQ(source->asked, std::vector<unsigned int>(source->asked.size(), raw));
        }
    }
    MimeInputStream large(SharedPtr<InputStream>(new PieceStream(makeBytes(1 << 20))), 78 * 5000);
    EXPECT_EQ(readAll(large, 4096), encode(makeBytes(1 << 20), 57 * 5000));
}

TEST_F(MimeInputStreamTest, FailedSourceIsAskedAgainAndMissingMemoryIsAFailure)
{
    PieceStream* const source = new PieceStream("Man", {0xFFFFFFFF}, -1);
    MimeInputStream stream(SharedPtr<InputStream>(source), 78);
    unsigned char buffer[8];
    EXPECT_EQ(stream.read(buffer, 8), 4);
    EXPECT_EQ(stream.read(buffer, 8), 0);
    EXPECT_EQ(source->readsAtEnd, 2);
    EXPECT_EQ(MimeInputStream(nullptr, 78).read(buffer, 8), 0);
    expectFailedCheck(Ostrel::Severity::FATAL, "SharedPtr", 180, "m_ptr");

    AllocationFaults faults(AllocationFaults::FAIL_ONE, 0);
    faults.arm();
    MimeInputStream withoutMemory(nullptr, 78);
    faults.disarm();
    EXPECT_EQ(withoutMemory.read(buffer, 0), -1);
    EXPECT_EQ(withoutMemory.getErrorString(), nullptr);
}
