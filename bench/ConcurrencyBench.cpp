// Locks beside those of the system, and the byte FIFO beside a ring as one writes it by hand, a pipe and a lock-free
// queue.
#include "bench/Benchmarks.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <thread>
#include <unistd.h>

#if __has_include(<boost/lockfree/spsc_queue.hpp>)
#define HAVE_BOOST
#include <boost/lockfree/spsc_queue.hpp>
#endif

#include "ostrel/Conditional.h"
#include "ostrel/CppSemaphore.h"
#include "ostrel/FifoBuffer.h"
#include "ostrel/Mutex.h"
#include "ostrel/ReadWriteLock.h"

namespace {

const unsigned int RING_SIZE = 65536; // as a pipe's

/// A ring under a mutex, with a condition for each side.
class PlainRing
{
public:
    void write(unsigned char* data, unsigned int length)
    {
        std::unique_lock<std::mutex> lock(_mutex);
        while (length > 0) {
            _notFull.wait(lock, [this] { return _count < RING_SIZE; });
            const unsigned int put = (_first + _count) % RING_SIZE;
            const unsigned int run = std::min({length, RING_SIZE - _count, RING_SIZE - put});
            memcpy(_storage + put, data, run);
            _count += run;
            data += run;
            length -= run;
            _notEmpty.notify_one();
        }
    }

    int read(unsigned char* sink, unsigned int length)
    {
        std::unique_lock<std::mutex> lock(_mutex);
        _notEmpty.wait(lock, [this] { return _count > 0 || _closed; });
        const unsigned int run = std::min({length, _count, RING_SIZE - _first});
        memcpy(sink, _storage + _first, run);
        _first = (_first + run) % RING_SIZE;
        _count -= run;
        _notFull.notify_one();
        return static_cast<int>(run);
    }

    void closeWrite()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _closed = true;
        _notEmpty.notify_one();
    }

private:
    unsigned char _storage[RING_SIZE];
    unsigned int _first = 0;
    unsigned int _count = 0;
    bool _closed = false;
    std::mutex _mutex;
    std::condition_variable _notEmpty, _notFull;
};

/// Copies out what is lent, as the others do.
class Fifo : public Ostrel::FifoBuffer
{
public:
    Fifo() : FifoBuffer(RING_SIZE) {}

    int read(unsigned char* sink, unsigned int)
    {
        unsigned char* data;
        const int count = FifoBuffer::read(data);
        if (count > 0)
            memcpy(sink, data, static_cast<size_t>(count));
        return count;
    }
};

class Pipe
{
public:
    Pipe()
    {
        if (pipe(_ends) != 0)
            abort();
    }
    ~Pipe() { close(_ends[0]); }
    void write(unsigned char* data, unsigned int length)
    {
        if (::write(_ends[1], data, length) != static_cast<ssize_t>(length))
            abort();
    }
    int read(unsigned char* sink, unsigned int length) { return static_cast<int>(::read(_ends[0], sink, length)); }
    void closeWrite() { close(_ends[1]); }

private:
    int _ends[2];
};

#ifdef HAVE_BOOST
/// Never blocks, so each side gives up its turn while there is nothing to do.
class BoostQueue
{
public:
    void write(unsigned char* data, unsigned int length)
    {
        while (length > 0) {
            const unsigned int run = static_cast<unsigned int>(_queue.push(data, length));
            if (run == 0)
                sched_yield();
            data += run;
            length -= run;
        }
    }
    int read(unsigned char* sink, unsigned int length)
    {
        for (;;) {
            const bool closed = _closed;
            const int run = static_cast<int>(_queue.pop(sink, length));
            if (run > 0 || closed)
                return run;
            sched_yield();
        }
    }
    void closeWrite() { _closed = true; }

private:
    boost::lockfree::spsc_queue<unsigned char, boost::lockfree::capacity<RING_SIZE>> _queue;
    std::atomic<bool> _closed{false};
};
#endif

template <class Queue>
void passBetweenThreads(benchmark::State& state, unsigned int pieceSize)
{
    const auto queue = std::make_unique<Queue>();
    std::vector<unsigned char> piece(pieceSize, 'x');
    std::thread consumer([&] {
        std::vector<unsigned char> sink(RING_SIZE);
        while (queue->read(sink.data(), RING_SIZE) > 0)
            benchmark::ClobberMemory();
    });
    for (auto _ : state) {
        for (unsigned int sent = 0; sent < 4 * RING_SIZE; sent += pieceSize)
            queue->write(piece.data(), pieceSize);
    }
    queue->closeWrite();
    consumer.join();
    state.SetBytesProcessed(state.iterations() * 4 * RING_SIZE);
}

template <class Queue>
void passOnOneThread(benchmark::State& state, unsigned int pieceSize)
{
    // Until a process has its second thread, the C library locks plain mutexes, and only those, without atomics.
    std::thread([] {}).join();
    const auto queue = std::make_unique<Queue>();
    std::vector<unsigned char> piece(pieceSize, 'x'), sink(RING_SIZE);
    for (auto _ : state) {
        queue->write(piece.data(), pieceSize);
        benchmark::DoNotOptimize(queue->read(sink.data(), pieceSize));
        benchmark::ClobberMemory();
    }
}

struct PthreadMutex
{
    void lock() { pthread_mutex_lock(&mutex); }
    void unlock() { pthread_mutex_unlock(&mutex); }
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
};

struct PosixSemaphore
{
    PosixSemaphore() { sem_init(&semaphore, 0, 1); }
    void lock() { sem_wait(&semaphore); }
    void unlock() { sem_post(&semaphore); }
    sem_t semaphore;
};

struct OurSemaphore
{
    void lock() { semaphore.wait(); }
    void unlock() { semaphore.post(); }
    Ostrel::Semaphore semaphore{1};
};

/// Readers or one writer, as one writes it by hand.
class PlainReadWriteLock
{
public:
    void acquireReadLock()
    {
        std::unique_lock<std::mutex> lock(_mutex);
        _readers.wait(lock, [this] { return _waitingWriters == 0 && _holders >= 0; });
        ++_holders;
    }
    void acquireWriteLock()
    {
        std::unique_lock<std::mutex> lock(_mutex);
        ++_waitingWriters;
        _writers.wait(lock, [this] { return _holders == 0; });
        --_waitingWriters;
        _holders = -1;
    }
    void releaseLock()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _holders = _holders > 0 ? _holders - 1 : 0;
        if (_waitingWriters > 0)
            _writers.notify_one();
        else
            _readers.notify_all();
    }

private:
    std::mutex _mutex;
    std::condition_variable _readers, _writers;
    int _waitingWriters = 0;
    int _holders = 0;
};

template <class Lock>
void lockAlone(benchmark::State& state)
{
    Lock lock;
    for (auto _ : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
}

template <class Lock>
void readAndWrite(benchmark::State& state, unsigned int otherThreads)
{
    Lock lock;
    std::atomic<bool> done{false};
    const auto work = [&] {
        for (int i = 0; i < 100; ++i) {
            if (i % 10 == 0)
                lock.acquireWriteLock();
            else
                lock.acquireReadLock();
            benchmark::ClobberMemory();
            lock.releaseLock();
        }
    };
    std::vector<std::thread> others;
    while (others.size() < otherThreads)
        others.emplace_back([&] {
            while (!done)
                work();
        });
    for (auto _ : state)
        work();
    done = true;
    for (std::thread& other : others)
        other.join();
}

struct OurCondition
{
    void lock() { mutex.lock(); }
    void unlock() { mutex.unlock(); }
    void wait() { condition.wait(mutex); }
    void signal() { condition.signal(); }
    Ostrel::Mutex mutex;
    Ostrel::Conditional condition;
};

struct StandardCondition
{
    void lock() { mutex.lock(); }
    void unlock() { mutex.unlock(); }
    void wait()
    {
        std::unique_lock<std::mutex> guard(mutex, std::adopt_lock);
        condition.wait(guard);
        guard.release();
    }
    void signal() { condition.notify_one(); }
    std::mutex mutex;
    std::condition_variable condition;
};

template <class Condition>
void roundTrip(benchmark::State& state)
{
    Condition condition;
    int turn = 0; // 0 ours, 1 the other's, 2 the end
    const auto pass = [&](int from, int to) {
        const std::lock_guard<Condition> guard(condition);
        while (turn != from && turn != 2)
            condition.wait();
        if (turn == from)
            turn = to;
        condition.signal();
        return turn != 2;
    };
    std::thread other([&] {
        while (pass(1, 0)) {
        }
    });
    for (auto _ : state) {
        pass(0, 1);
    }
    pass(0, 2);
    other.join();
}

template <class Queue>
void registerQueue(const std::string& library)
{
    for (const unsigned int size : {64u, 4096u}) {
        const std::string input = std::to_string(size) + " B";
        addBenchmark("FIFO between threads", input, library, passBetweenThreads<Queue>, size)->UseRealTime();
        addBenchmark("FIFO on one thread", input, library, passOnOneThread<Queue>, size);
    }
}

template <class Lock>
void registerReadWriteLock(const std::string& library)
{
    addBenchmark("reader-writer lock", "alone", library, readAndWrite<Lock>, 0u);
    addBenchmark("reader-writer lock", "two threads", library, readAndWrite<Lock>, 1u)->UseRealTime();
}

} // namespace

void registerConcurrencyBenchmarks()
{
    registerQueue<Fifo>("ostrel");
    registerQueue<PlainRing>("plain ring");
    registerQueue<Pipe>("pipe");
#ifdef HAVE_BOOST
    registerQueue<BoostQueue>("boost queue");
#endif
    addBenchmark("mutex", "alone", "ostrel", lockAlone<Ostrel::Mutex>);
    addBenchmark("mutex", "alone", "pthread", lockAlone<PthreadMutex>);
    addBenchmark("semaphore", "alone", "ostrel", lockAlone<OurSemaphore>);
    addBenchmark("semaphore", "alone", "POSIX", lockAlone<PosixSemaphore>);
    registerReadWriteLock<Ostrel::ReadWriteLock>("ostrel");
    registerReadWriteLock<PlainReadWriteLock>("mutex and conditions");
    addBenchmark("condition", "round trip", "ostrel", roundTrip<OurCondition>)->UseRealTime();
    addBenchmark("condition", "round trip", "standard", roundTrip<StandardCondition>)->UseRealTime();
}
