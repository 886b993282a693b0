#include "ostrel/Threadable.h"

Threadable::Threadable(const char* name, bool detached, bool flag) : _thread(this, name, detached), _flag(flag)
{
    static_cast<void>(_flag); // nothing reads it, which compilers would find odd
}

Threadable::~Threadable()
{
    _thread.stop();
}

void Threadable::cancelRun() {}

void Threadable::start()
{
    _thread.start();
}

void Threadable::stop()
{
    _thread.stop();
}
