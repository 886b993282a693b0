#pragma once

#include "ostrel/Export.h"
#include "ostrel/Runnable.h"
#include "ostrel/Thread.h"

/// Base for an object that is its own work: override `run`, and `cancelRun` if it can be made to return early.
///
///     class Sampler : public Threadable
///     {
///     public:
///         Sampler() : Threadable("sampler", false, false) {}
///         ~Sampler() override { stop(); }
///         void run() override;
///     };
///
/// Units:     as `Thread`.
/// Ownership: the thread is part of the object. A derived class stops it in its own destructor: later, `run` would go
///            on in an object whose derived part is gone.
/// Errors:    as `Thread`.
/// Threads:   as `Thread`.
class OSTREL_EXPORT Threadable : public Runnable
{
public:
    /// `flag` is kept for derived classes' callers and has no effect.
    Threadable(const char* name, bool detached, bool flag);
    ~Threadable() override;
    Threadable(const Threadable&) = delete;
    Threadable& operator=(const Threadable&) = delete;

    void cancelRun() override; ///< Does nothing.
    /// All as the operations of `Thread`.
    virtual void start();
    virtual void stop();

    /// All as the operations of `Thread`.
    void waitFor() const { _thread.waitFor(); }
    void setName(const char* name) { _thread.setName(name); }
    const char* getName() const { return _thread.getName(); }
    bool isRunning() const { return _thread.isRunning(); }
    pthread_t getThreadId() { return _thread.getThreadId(); }

private:
    Thread _thread;
    bool _flag;
};
