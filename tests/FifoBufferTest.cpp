#include "ostrel/FifoBuffer.h"
#include "tests/support/TestIncludes.h"

using Ostrel::FifoBuffer;

static unsigned char* toData(const char* text)
{
    return reinterpret_cast<unsigned char*>(const_cast<char*>(text));
}

static void write(FifoBuffer& fifo, const std::string& text)
{
    fifo.write(toData(text.data()), static_cast<unsigned int>(text.size()));
}

static bool writeAllTogether(FifoBuffer& fifo, const std::string& text)
{
    return fifo.writeAllTogether(toData(text.data()), static_cast<unsigned int>(text.size()));
}

/// The bytes of one read, or "end".
static std::string read(FifoBuffer& fifo)
{
    unsigned char* data = toData("x");
    const int count = fifo.read(data);
    if (count >= 0)
        return std::string(data, data + count);
    return data == nullptr ? "end" : "end, but data";
}

static void cancel(std::thread thread)
{
    pthread_cancel(thread.native_handle());
    thread.join();
}

TEST(FifoBufferTest, LentBytesStayUntilTheNextRead)
{
    FifoBuffer fifo(8);
    write(fifo, "abcdef");
    EXPECT_EQ(read(fifo), "abcdef");
    std::thread producer([&] {
        write(fifo, "ghij");
        EXPECT_FALSE(writeAllTogether(fifo, "123456789"));
        EXPECT_TRUE(writeAllTogether(fifo, "12345678"));
    });
    for (const char* text : {"gh", "ij", "123456", "78"}) // two bytes up to the end, the others once there is room
        EXPECT_EQ(read(fifo), text);
    producer.join();
}

TEST(FifoBufferTest, EndIsReadAgainAndAgain)
{
    unsigned char storage[] = "#1234567#";
    static int deletions;
    {
        FifoBuffer fifo(storage + 1, 7, [](unsigned char*) { ++deletions; });
        write(fifo, "abcde");
        EXPECT_EQ(read(fifo), "abcde");
        testing::internal::CaptureStdout();
        fifo.printPointers();
        EXPECT_NE(testing::internal::GetCapturedStdout().find("_moreDataToRead = 1\n"), std::string::npos);
        write(fifo, "fg");
        std::thread reader([&] {
            for (const char* text : {"fg", "end", "end"})
                EXPECT_EQ(read(fifo), text);
        });
        fifo.closeWrite();
        reader.join();
        EXPECT_EQ(std::string(storage, storage + 9), "#" + std::string(7, '\0') + "#");
        write(fifo, "late"); // not refused
        EXPECT_EQ(read(fifo), "late");
    }
    EXPECT_EQ(std::exchange(deletions, 0), 1);
    FifoBuffer(storage, 1, nullptr).closeWrite();
}

TEST(FifoBufferTest, CancelledThreadsLeaveItUsable)
{
    FifoBuffer fifo(4);
    cancel(std::thread([&] { read(fifo); }));
    std::thread writer([&] { write(fifo, "abcdef"); });
    EXPECT_EQ(read(fifo), "abcd"); // is lent, so the writer waits with the rest
    cancel(std::move(writer));
    cancel(std::thread([&] { writeAllTogether(fifo, "ef"); }));
    fifo.closeWrite();
    EXPECT_EQ(read(fifo), "end");
}

TEST(FifoBufferTest, BytesArriveInOrder)
{
    for (const unsigned int size : {1, 2, 7, 64}) {
        std::string sent(size << 14, '\0'), received; // as many turns for each size
        std::mt19937 random(size);
        std::generate(sent.begin(), sent.end(), std::ref(random));
        FifoBuffer fifo(size);
        std::thread producer([&] {
            std::string piece;
            for (size_t position = 0; position < sent.size(); position += piece.size()) {
                piece = sent.substr(position, random() % (3 * size) + 1);
                if (random() % 2 == 0 || !writeAllTogether(fifo, piece))
                    write(fifo, piece);
            }
            fifo.closeWrite();
        });
        unsigned char* data;
        for (int count; (count = fifo.read(data)) != -1; received.append(data, data + count))
            if (count % 4 == 1)
                std::this_thread::yield(); // what is lent does not change meanwhile
        producer.join();
        EXPECT_TRUE(received == sent) << size;
    }
}
