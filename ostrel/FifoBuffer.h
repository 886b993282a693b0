#pragma once

#include "ostrel/Conditional.h"
#include "ostrel/Export.h"
#include "ostrel/Mutex.h"

namespace Ostrel {

/// A ring of bytes between one thread that writes and one that reads. Writing copies into the ring; reading lends a
/// piece of it, which is free again from the next read on.
///
///     void produce(FifoBuffer& fifo)
///     {
///         unsigned char bytes[] = {1, 2, 3};
///         fifo.write(bytes, sizeof(bytes));
///         fifo.closeWrite();
///     }
///
///     void consume(FifoBuffer& fifo)
///     {
///         unsigned char* data;
///         for (int count; (count = fifo.read(data)) != -1;)
///             fwrite(data, 1, static_cast<size_t>(count), stdout);
///     }
///
/// Units:     bytes.
/// Ownership: data is copied in; the storage is freed with the deleter it came with, or stays the caller's. A ring is
///            never destroyed while somebody is in a call, so wait for both threads first; what is lent goes with it.
/// Errors:    none are reported. Without memory for a storage of its own the ring has size 0.
/// Threads:   one writes and one reads at the same time. Both block, as cancellation points; a cancelled thread leaves
///            the ring unlocked, and what it had written in. A side that waits gives up its turn some times before
///            it sleeps, unless turns have come back late. `clear` and `printPointers` are for quiet times.
class OSTREL_EXPORT FifoBuffer
{
public:
    /// A null `deleter` leaves the storage alone.
    FifoBuffer(unsigned char* storage, unsigned int size, void (*deleter)(unsigned char*));
    explicit FifoBuffer(unsigned int size);
    ~FifoBuffer();
    FifoBuffer(const FifoBuffer&) = delete;
    FifoBuffer& operator=(const FifoBuffer&) = delete;

    /// Returns when all bytes are in the ring; a size of 0 takes none for ever. The end of the stream is not checked.
    void write(unsigned char* data, unsigned int length);

    /// Waits until all bytes fit, so that no reader sees a part of them alone. False, and nothing written, when they
    /// can never fit.
    bool writeAllTogether(unsigned char* data, unsigned int length);

    /// Frees the piece lent last, waits for data and lends what lies in one run: what wraps round comes in two reads.
    /// The count; at the end of the stream -1, now and later, `data` null and the whole storage zero.
    int read(unsigned char*& data);

    void closeWrite(); ///< Ends the stream behind what is in the ring.

    /// Empties the ring and zeroes the storage. Takes no lock; nothing may be lent.
    void clear();

    void printPointers(); ///< To standard output. Takes no lock.

private:
    OSTREL_LOCAL void _construct(unsigned char* storage, unsigned int size, void (*deleter)(unsigned char*));
    OSTREL_LOCAL void writeInSteps(const unsigned char* data, unsigned int length, unsigned int needed);
    OSTREL_LOCAL unsigned int getFreeRun() const;
    OSTREL_LOCAL unsigned int getDataRun() const;
    OSTREL_LOCAL void put(const unsigned char* data, unsigned int count);
    OSTREL_LOCAL void releaseLent();
    OSTREL_LOCAL void waitForChange(unsigned int& turns);
    OSTREL_LOCAL void giveUpTurn();

    unsigned char* _buffer;
    void (*_deleter)(unsigned char*);
    unsigned char* _producerPtr;
    unsigned char* _consumerPtr;
    unsigned char* _endOfBuffer;
    unsigned int _size;
    unsigned int _dataInBuffer; ///< What is lent is still counted.
    unsigned int _lentLength;
    bool _moreDataToRead;
    bool _released; ///< Nothing is lent.
    Conditional _changed;
    CheckedMutex _mutex;
    unsigned int _sleepsToCome; ///< Waits that are not to stay awake.
};

} // namespace Ostrel
