// Three threads work together: one reads a file into a FIFO, one turns the bytes that come out into JSON events and
// counts them, one watches that both make progress.
//
//     pipeline FILE
//
// Ends with status 1 and a message when the file is missing, is no JSON document, or delivers nothing for 10 seconds.
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sched.h>

#include "json/JsonParser.h"
#include "ostrel/CppTimer.h"
#include "ostrel/FifoBuffer.h"
#include "ostrel/InputStream.h"
#include "ostrel/SysCalls.h"
#include "ostrel/Threadable.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): an example reads better without prefixes

namespace {

const int PATIENCE_SECONDS = 10;

/// Reads a file into the FIFO. Every block shows the watchdog that things go on.
class FileReader : public Threadable
{
public:
    FileReader(const char* path, FifoBuffer& fifo, Timer& watch)
        : Threadable("file reader", false, false), _path(path), _fifo(fifo), _watch(watch)
    {}

    void run() override
    {
        _error = copy();
        _fifo.closeWrite();
    }

    /// Of the system, 0 when all was read; to be asked when the thread has ended.
    int getError() const { return _error; }

private:
    int copy()
    {
        // Opening a named pipe and reading from one may take for ever; nothing else here does.
        pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
        const int fd = SysCalls::open(_path, O_RDONLY, 0);
        if (fd == -1)
            return errno;
        unsigned char block[4096];
        int count;
        while ((count = SysCalls::read(fd, block, sizeof(block))) > 0) {
            _watch.reset();
            _fifo.write(block, static_cast<unsigned int>(count));
        }
        const int error = count == -1 ? errno : 0;
        SysCalls::close(fd);
        return error;
    }

    const char* _path;
    FifoBuffer& _fifo;
    Timer& _watch;
    int _error = ETIMEDOUT; // what stands if the thread is cancelled
};

/// The reading end of a FIFO as a stream.
class FifoInputStream : public InputStream
{
public:
    explicit FifoInputStream(FifoBuffer& fifo) : _fifo(fifo) {}

    int read(unsigned char* buffer, unsigned int size) override
    {
        if (_rest == 0) {
            const int lent = _fifo.read(_data);
            if (lent == -1)
                return 0;
            _rest = static_cast<unsigned int>(lent);
        }
        const unsigned int count = size < _rest ? size : _rest;
        memcpy(buffer, _data, count);
        _data += count;
        _rest -= count;
        return static_cast<int>(count);
    }

    const char* getErrorString() const override { return nullptr; }

    /// Lets a writer come to its end when nobody wants the data any more.
    void drain()
    {
        while (_fifo.read(_data) != -1) {
        }
    }

private:
    FifoBuffer& _fifo;
    unsigned char* _data = nullptr;
    unsigned int _rest = 0;
};

/// Parses what comes out of the FIFO and counts the events.
class EventCounter : public Threadable, private json::JsonParser::EventHandler
{
public:
    explicit EventCounter(FifoBuffer& fifo) : Threadable("event counter", false, false), _parser(this), _stream(fifo) {}

    void run() override
    {
        _parser.parse(&_stream);
        _stream.drain();
    }

    const char* getErrorString() const { return _parser.getErrorString(); }

    unsigned int values = 0;
    unsigned int collections = 0;

private:
    void onInteger(json::JsonParser*, const char*, long long) override { ++values; }
    void onDouble(json::JsonParser*, const char*, double) override { ++values; }
    void onString(json::JsonParser*, const char*, const char*) override { ++values; }
    void onBoolean(json::JsonParser*, const char*, bool) override { ++values; }
    void onNull(json::JsonParser*, const char*) override { ++values; }
    void arrayStart(json::JsonParser*, const char*) override { ++collections; }
    void objectStart(json::JsonParser*, const char*) override { ++collections; }

    json::JsonParser _parser;
    FifoInputStream _stream;
};

/// Ends the stream when nothing has come for a while.
class Watchdog : public Threadable
{
public:
    Watchdog(FifoBuffer& fifo, Timer& watch) : Threadable("watchdog", false, false), _fifo(fifo), _watch(watch) {}

    void run() override
    {
        _watch.waitSeconds(PATIENCE_SECONDS);
        _fifo.closeWrite(); // changes nothing when the data has ended by itself
    }

    void dismiss()
    {
        while (isRunning()) { // a command is lost while the wait has not begun
            _watch.stop();
            sched_yield();
        }
    }

private:
    FifoBuffer& _fifo;
    Timer& _watch;
};

int fail(const char* path, const char* reason)
{
    fprintf(stderr, "pipeline: %s: %s\n", path, reason);
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    const char* const path = argc > 1 ? argv[1] : "examples/data/settings.json";
    FifoBuffer fifo(1024);
    Timer watch;
    FileReader reader(path, fifo, watch);
    EventCounter counter(fifo);
    Watchdog watchdog(fifo, watch);
    watchdog.start();
    counter.start();
    reader.start();

    counter.waitFor(); // until the stream has ended, one way or the other
    watchdog.dismiss();
    reader.stop(); // has nothing more to do, unless the file keeps it waiting
    if (reader.getError() != 0)
        return fail(path, strerror(reader.getError()));
    if (counter.getErrorString() != nullptr)
        return fail(path, counter.getErrorString());
    printf("%u values in %u collections\n", counter.values, counter.collections);
}
