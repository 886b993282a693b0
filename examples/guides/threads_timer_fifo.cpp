// One thread takes measurements, the main thread writes them out, a third one gives a sign of life meanwhile.
#include <atomic>
#include <cstdio>
#include <unistd.h>

#include "ostrel/CppTimer.h"
#include "ostrel/FifoBuffer.h"
#include "ostrel/Threadable.h"

using namespace Ostrel;

/// Puts measurements into the FIFO and ends the stream.
class Sensor : public Threadable
{
public:
    explicit Sensor(FifoBuffer& fifo) : Threadable("sensor", false, false), _fifo(fifo) {}
    ~Sensor() override { stop(); } // here, while `run` still finds the members

    void run() override
    {
        for (int i = 1; i <= COUNT && !_ending; ++i) {
            char line[32];
            const int length = snprintf(line, sizeof(line), "measurement %d\n", i);
            _fifo.write(reinterpret_cast<unsigned char*>(line), static_cast<unsigned int>(length));
        }
        _fifo.closeWrite();
    }

    void cancelRun() override { _ending = true; } // `stop` calls it and then waits

private:
    static const int COUNT = 1000;

    FifoBuffer& _fifo;
    std::atomic<bool> _ending{false};
};

/// Says every ten seconds that the program lives, until it is dismissed.
class SignOfLife : public Threadable
{
public:
    SignOfLife() : Threadable("sign of life", false, false) {}
    ~SignOfLife() override { dismiss(); }

    void run() override
    {
        while (!_ending) {
            _timer.waitSeconds(10);
            if (!_ending)
                fputs("still here\n", stderr);
        }
    }

    void dismiss()
    {
        _ending = true;
        while (isRunning()) { // a command that comes before the wait has begun is lost
            _timer.stop();
            usleep(1000);
        }
        stop(); // frees what the ended thread still takes
    }

private:
    Timer _timer;
    std::atomic<bool> _ending{false};
};

int main()
{
    FifoBuffer fifo(256); // outlives both of its threads, so it is made first
    SignOfLife signOfLife;
    Sensor sensor(fifo);
    signOfLife.start();
    sensor.start();

    unsigned int lines = 0;
    unsigned char* data = nullptr;
    for (int count; (count = fifo.read(data)) != -1;) { // the bytes are ours until the next read
        for (int i = 0; i < count; ++i)
            lines += data[i] == '\n';
    }
    printf("%u measurements\n", lines);

    sensor.waitFor();
    signOfLife.dismiss();
    return 0;
}
