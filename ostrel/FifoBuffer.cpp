#include "ostrel/FifoBuffer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <time.h>

#include "ostrel/internal/CancellationPause.h"
#include "ostrel/internal/PatientLock.h"

namespace Ostrel {

namespace {

void deleteArray(unsigned char* storage)
{
    delete[] storage;
}

// So many turns cost about what falling asleep and being woken cost, so waiting awake is never much dearer than
// sleeping at once. Where the two sides run on different processors, a sleep leaves the other side waiting for longer
// than a few turns: then it sleeps too, and each piece goes on costing two sleeps.
const unsigned int TURNS_BEFORE_SLEEP = 64;

// A thread that gives up its turn while others compute all the time gets the next one milliseconds later; one that is
// woken from a sleep gets it soon. So once a turn was long, this many waits sleep at once.
const unsigned int SLEEPS_AFTER_LONG_TURN = 1024;
const long LONG_TURN = 200000; // nanoseconds

long long readClock()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

unsigned int distance(const unsigned char* from, const unsigned char* to)
{
    return static_cast<unsigned int>(to - from);
}

} // namespace

FifoBuffer::FifoBuffer(unsigned char* storage, unsigned int size, void (*deleter)(unsigned char*))
{
    _construct(storage, size, deleter);
}

FifoBuffer::FifoBuffer(unsigned int size)
{
    unsigned char* const storage = new (std::nothrow) unsigned char[size];
    _construct(storage, storage == nullptr ? 0 : size, deleteArray);
}

FifoBuffer::~FifoBuffer()
{
    const CancellationPause pause; // a deleter may unmap or close
    if (_deleter != nullptr)
        _deleter(_buffer);
}

void FifoBuffer::_construct(unsigned char* storage, unsigned int size, void (*deleter)(unsigned char*))
{
    _buffer = storage;
    _deleter = deleter;
    _producerPtr = storage;
    _consumerPtr = storage;
    _endOfBuffer = storage + size;
    _size = size;
    _dataInBuffer = 0;
    _lentLength = 0;
    _moreDataToRead = true;
    _released = true;
    _sleepsToCome = 0;
    PatientLock::simplify(_mutex);
}

void FifoBuffer::write(unsigned char* data, unsigned int length)
{
    writeInSteps(data, length, 1);
}

bool FifoBuffer::writeAllTogether(unsigned char* data, unsigned int length)
{
    if (length > _size)
        return false;
    writeInSteps(data, length, length);
    return true;
}

int FifoBuffer::read(unsigned char*& data)
{
    const PatientLock guard(_mutex);
    unsigned int turns = 0;
    for (;;) {
        if (_dataInBuffer > 0) {
            if (_released)
                break;
            releaseLent(); // only now: what is lent counts as data, and the rest may be nothing
        } else if (_moreDataToRead) {
            waitForChange(turns);
        } else {
            data = nullptr;
            clear();
            return -1;
        }
    }
    data = _consumerPtr;
    _lentLength = getDataRun();
    _released = false;
    return static_cast<int>(_lentLength);
}

void FifoBuffer::closeWrite()
{
    const PatientLock guard(_mutex);
    _moreDataToRead = false;
    _changed.broadcast();
}

void FifoBuffer::clear()
{
    if (_size > 0)
        memset(_buffer, 0, _size);
    _producerPtr = _buffer;
    _consumerPtr = _buffer;
    _dataInBuffer = 0;
}

void FifoBuffer::printPointers()
{
    printf("_producerPtr = %p\n", static_cast<void*>(_producerPtr));
    printf("_consumerPtr = %p\n", static_cast<void*>(_consumerPtr));
    printf("_buffer = %p\n", static_cast<void*>(_buffer));
    printf("_endOfBuffer = %p\n", static_cast<void*>(_endOfBuffer));
    printf("_dataInBuffer = %d\n", static_cast<int>(_dataInBuffer));
    printf("_moreDataToRead = %d\n", static_cast<int>(_moreDataToRead));
}

/// The first step waits until `needed` bytes are free. The guard is in this frame because the address sanitizer takes
/// the stack of a frame without clean-up for still guarded when a thread is cancelled below it.
void FifoBuffer::writeInSteps(const unsigned char* data, unsigned int length, unsigned int needed)
{
    const PatientLock guard(_mutex);
    unsigned int turns = 0;
    while (length > 0) {
        if (_size - _dataInBuffer >= needed) {
            const unsigned int count = std::min(length, getFreeRun());
            put(data, count);
            data += count;
            length -= count;
            needed = 1;
            turns = 0;
        } else {
            waitForChange(turns);
        }
        _changed.broadcast(); // after each step, so that a waiting reader gets the first run at once
    }
}

/// Gives up the processor some turns before it sleeps: what the other side does meanwhile costs neither of them a
/// wake-up, and small pieces come to be passed on in bulk.
void FifoBuffer::waitForChange(unsigned int& turns)
{
    if (_sleepsToCome == 0 && turns < TURNS_BEFORE_SLEEP) {
        giveUpTurn();
        ++turns;
        return;
    }
    if (_sleepsToCome > 0)
        --_sleepsToCome;
    _changed.wait(_mutex);
}

void FifoBuffer::giveUpTurn()
{
    const long long start = readClock();
    PatientLock::yield(_mutex);
    if (readClock() - start > LONG_TURN)
        _sleepsToCome = SLEEPS_AFTER_LONG_TURN;
}

/// Bytes that can be written in one run, given that the ring is not full.
unsigned int FifoBuffer::getFreeRun() const
{
    return distance(_producerPtr, _producerPtr < _consumerPtr ? _consumerPtr : _endOfBuffer);
}

/// Bytes that can be lent in one run, given that the ring is not empty.
unsigned int FifoBuffer::getDataRun() const
{
    return distance(_consumerPtr, _consumerPtr < _producerPtr ? _producerPtr : _endOfBuffer);
}

void FifoBuffer::put(const unsigned char* data, unsigned int count)
{
    memcpy(_producerPtr, data, count);
    _producerPtr += count;
    if (_producerPtr == _endOfBuffer)
        _producerPtr = _buffer;
    _dataInBuffer += count;
}

void FifoBuffer::releaseLent()
{
    _released = true;
    if (_lentLength > 0) {
        _dataInBuffer -= _lentLength;
        _consumerPtr += _lentLength;
        if (_consumerPtr == _endOfBuffer)
            _consumerPtr = _buffer;
        _lentLength = 0;
    }
    _changed.broadcast();
}

} // namespace Ostrel
