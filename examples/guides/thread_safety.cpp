// Settings that one thread replaces while others read them: readers never wait for a parse, nor for each other.
#include <atomic>
#include <cstdio>

#include "ostrel/DataObject.h"
#include "ostrel/Mutex.h"
#include "ostrel/SharedPtr.h"
#include "ostrel/Threadable.h"

using namespace Ostrel;

/// A tree, once published, is not changed any more: its reading operations may then run on many threads at once.
class Settings
{
public:
    /// The tree of now; it lives for as long as the caller holds it.
    SharedPtr<const DataObject> get() const
    {
        NestedScopeLock guard(_mutex); // one `SharedPtr` is not synchronized, its copies are independent
        return _tree;
    }

    bool publish(AutoPtr<DataObject> tree)
    {
        SharedPtr<const DataObject> next(std::move(tree));
        if (!next)
            return false;
        NestedScopeLock guard(_mutex);
        _tree.swap(next);
        return true; // the old tree goes when its last reader is done, outside of the lock
    }

private:
    mutable CheckedMutex _mutex;
    SharedPtr<const DataObject> _tree;
};

/// Both numbers always come from the same publication.
class Reader : public Threadable
{
public:
    explicit Reader(const Settings& settings) : Threadable("reader", false, false), _settings(settings) {}
    ~Reader() override { stop(); }

    void run() override
    {
        for (int last = 0; last < LAST;) {
            const SharedPtr<const DataObject> tree = _settings.get();
            last = tree->get("low").toInt(0);
            if (tree->get("high").toInt(0) != last + 1)
                ++mixed;
        }
    }

    static const int LAST = 1000;
    std::atomic<int> mixed{0};

private:
    const Settings& _settings;
};

int main()
{
    Settings settings;
    if (!settings.publish(DataObject::parse("{'low': 0, 'high': 1}")))
        return 1;
    Reader one(settings);
    Reader two(settings);
    one.start();
    two.start();
    for (int i = 1; i <= Reader::LAST; ++i) {
        while (!settings.publish(DataObject::parse("{'low': %d, 'high': %d}", i, i + 1)))
            fputs("waiting for memory\n", stderr);
    }
    one.waitFor();
    two.waitFor();
    printf("%d mixed readings\n", one.mixed + two.mixed);
    return 0;
}
