#include "ostrel/ReadWriteLock.h"

namespace Ostrel {

ReadWriteLock::ReadWriteLock() : _mutex(Mutex::NORMAL), _waitingReaders(0), _waitingWriters(0), _holders(FREE) {}

void ReadWriteLock::acquireReadLock()
{
    _mutex.lock();
    while (_waitingWriters > 0 || _holders == HELD_BY_WRITER)
        waitAsReader();
    ++_holders;
    _mutex.unlock();
}

void ReadWriteLock::acquireWriteLock()
{
    _mutex.lock();
    // A free lock is taken even past writers that wait: they have been signalled and look again.
    while (_holders != FREE)
        waitAsWriter();
    _holders = HELD_BY_WRITER;
    _mutex.unlock();
}

void ReadWriteLock::releaseLock()
{
    _mutex.lock();
    if (_holders > 0)
        --_holders;
    else
        _holders = FREE;
    wakeWaiting();
    _mutex.unlock();
}

void ReadWriteLock::rdCancelHandler(void* lock)
{
    ReadWriteLock* self = static_cast<ReadWriteLock*>(lock);
    --self->_waitingReaders;
    self->_mutex.unlock();
}

void ReadWriteLock::wtCancelHandler(void* lock)
{
    ReadWriteLock* self = static_cast<ReadWriteLock*>(lock);
    --self->_waitingWriters;
    self->_mutex.unlock();
}

// The counts are raised round each single wait, so that they tell who sleeps at this moment.
void ReadWriteLock::waitAsReader()
{
    ++_waitingReaders;
    pthread_cleanup_push(rdCancelHandler, this);
    _readersCondition.wait(_mutex);
    pthread_cleanup_pop(0);
    --_waitingReaders;
}

void ReadWriteLock::waitAsWriter()
{
    ++_waitingWriters;
    pthread_cleanup_push(wtCancelHandler, this);
    _writersCondition.wait(_mutex);
    pthread_cleanup_pop(0);
    --_waitingWriters;
}

void ReadWriteLock::wakeWaiting()
{
    if (_waitingWriters > 0) {
        if (_holders == FREE)
            _writersCondition.signal();
    } else if (_waitingReaders > 0) {
        _readersCondition.broadcast();
    }
}

} // namespace Ostrel
