#pragma once

#include <array>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <type_traits>
#include <utility>

#include "ostrel/ArrayList.h"
#include "ostrel/Export.h"
#include "ostrel/Report.h"

namespace Ostrel {

/// The order of keys in a lookup table. Two keys of which neither is less are the same key.
template <class K>
struct LessOperator
{
    bool operator()(const K& a, const K& b) const { return a < b; } ///< Whether `a` comes first.
};

/// Texts are ordered as POSIX `strcasecmp` does in the current locale: Name and NAME are one key.
template <>
struct LessOperator<const char*>
{
    bool operator()(const char* a, const char* b) const { return strcasecmp(a, b) < 0; } ///< Whether `a` comes first.
};

/// Three-way `strcasecmp` of one key with others: negative, 0 or positive.
///
/// Most keys differ in their first bytes, and the order of letters and digits is the same in every locale and for every
/// `strcasecmp` that a program may bring along. Only where that leaves it open is it called.
class OSTREL_EXPORT TextKeyOrder
{
public:
    explicit TextKeyOrder(const char* key) : _key(key), _place(_places[static_cast<unsigned char>(*key)]) {}

    int compareTo(const char* other) const ///< Not with null, as the key is not.
    {
        const unsigned int place = _places[static_cast<unsigned char>(*other)];
        // One test for both: equal places differ by nothing, and an open one differs from others in the top bit.
        if ((_place ^ place) - 1 >= OPEN - 1)
            return strcasecmp(_key, other);
        return _place < place ? -1 : 1;
    }

private:
    static constexpr unsigned int OPEN = 0x80; ///< Where the order is open; all places are below.
    static const std::array<unsigned char, 256> _places;

    const char* _key;
    unsigned int _place;
};

/// Read-only view of an array of entries that is sorted by `Less` and has no key twice.
///
/// Units:     sizes and indexes count entries.
/// Ownership: the array stays its owner's and outlives the view. Keys of type `const char*` must not be null.
/// Errors:    none; what is not there is null, or `V()`.
/// Threads:   reading is safe from any number of threads while nobody changes the array.
template <class V, class K, class Less = LessOperator<K>>
class BinaryLookupTable
{
public:
    /// A key with its value.
    struct Entry
    {
        K key;   ///< Unique in the array.
        V value; ///< What the key stands for.
    };

    BinaryLookupTable(const Entry* entries, unsigned int count) : _entries(entries), _count(count) {}

    /// The index of the key, or, where there is no such key, the one at which it would be inserted.
    unsigned int findNearestIndex(const K& key) const { return search(key).index; }

    /// The entry of the key, null when there is none.
    const Entry* find(const K& key) const
    {
        if (_count == 0) // the key is compared with nothing, so it may be null
            return nullptr;
        // Not `search`: its first look at both ends pays for insertions only.
        const Position position = bisect(Order(key), 0, _count);
        return position.isHit ? _entries + position.index : nullptr;
    }

    bool has(const K& key) const { return find(key) != nullptr; } ///< Whether there is such a key.

    V get(const K& key) const ///< `V()` when there is no such key.
    {
        const Entry* entry = find(key);
        return entry == nullptr ? V() : entry->value;
    }

    /// The entry at a place in the order of the keys, null behind the last one.
    const Entry* getEntry(unsigned int index) const { return index < _count ? _entries + index : nullptr; }

    bool isEmpty() const { return _count == 0; }
    unsigned int getSize() const { return _count; }
    const Entry* begin() const { return _entries; }
    const Entry* end() const { return _entries + _count; }

protected:
    /// Where a key is, or would be inserted.
    struct Position
    {
        unsigned int index; ///< In the array.
        bool isHit;         ///< Whether the key is there.
    };

    Position search(const K& key) const; ///< Where the key belongs.
    /// Turns the view to another array.
    void setView(const Entry* entries, unsigned int count)
    {
        _entries = entries;
        _count = count;
    }

private:
    /// One key beside others, made once for a search.
    class KeyOrder
    {
    public:
        explicit KeyOrder(const K& key) : _key(key) {}

        /// Negative, 0 or positive.
        int compareTo(const K& other) const
        {
            if (_less(_key, other))
                return -1;
            return _less(other, _key) ? 1 : 0;
        }

    private:
        const K& _key;
        Less _less = Less();
    };

    // Not by `Less`, which would have to be asked twice.
    static constexpr bool IS_TEXT = std::is_same_v<K, const char*> && std::is_same_v<Less, LessOperator<const char*>>;
    using Order = std::conditional_t<IS_TEXT, TextKeyOrder, KeyOrder>;

    Position bisect(const Order& order, unsigned int first, unsigned int end) const;

    const Entry* _entries;
    unsigned int _count;
};

/// A lookup table that owns its entries. Keys that come in order cost one comparison each, however many there are; one
/// that belongs further ahead moves the entries behind it, so thousands that come in no order are better kept
/// elsewhere.
///
///     AutoPtr<DataObject> child = DataObject::parse("[1, 2]");
///     DynamicLookupTable<DataObject*, const char*> members;
///     DataObject* replaced;
///     if (members.set("color", child.get(), &replaced) == 0) {
///         child.release();
///         delete replaced;
///     }
///     delete members.remove("COLOR");
///
/// Units:     sizes and indexes count entries; they are kept in the order of the keys.
/// Ownership: keys of type `const char*` are copied and the copies freed with their entries. Values that are plain
///            pointers stay the caller's: what `set` replaces and `remove` takes out is handed back, what is left in
///            the table is not deleted.
/// Errors:    `set` returns -1 when memory is exhausted and leaves the table as it was. The value given to it is used
///            up all the same: one that owns something has then released it.
template <class V, class K, class Less = LessOperator<K>>
class DynamicLookupTable : public BinaryLookupTable<V, K, Less>
{
public:
    using Table = BinaryLookupTable<V, K, Less>; ///< The view that this is.
    using Entry = typename Table::Entry;         ///< A key with its value.

    DynamicLookupTable() : Table(nullptr, 0) {}
    ~DynamicLookupTable() { clear(); }
    DynamicLookupTable(const DynamicLookupTable&) = delete;
    DynamicLookupTable& operator=(const DynamicLookupTable&) = delete;

    /// Adds the key, or replaces its value; the key then keeps the spelling it was first stored with. `previous`, where
    /// given, receives the replaced value, `V()` if there was none. 0, or -1 when memory is exhausted.
    int set(const K& key, V value, V* previous = nullptr);

    V remove(const K& key); ///< The value taken out, `V()` when there is no such key.

    void clear(); ///< Drops all entries; plain pointers are not deleted.

protected:
    /// Inserts a key that is not in the table at the place that `findNearestIndex` gives for it. 0 or -1.
    int insertAt(unsigned int index, const K& key, V value);

private:
    static constexpr bool OWNS_KEYS = std::is_same_v<K, const char*>;
    static constexpr int LINE_INDEX = 87;

    /// Keys are kept by value, but texts as copies of the table's own.
    static bool copyKey(const K& key, K& stored)
    {
        if constexpr (OWNS_KEYS) {
            stored = strdup(key);
            return stored != nullptr;
        } else {
            stored = key;
            return true;
        }
    }

    static void releaseKey(K& stored)
    {
        if constexpr (OWNS_KEYS)
            free(const_cast<char*>(stored));
    }

    void resetView() { this->setView(_entries.begin(), _entries.getSize()); }

    DynamicArrayList<Entry, 8> _entries;
};

template <class V, class K, class Less>
typename BinaryLookupTable<V, K, Less>::Position BinaryLookupTable<V, K, Less>::search(const K& key) const
{
    if (_count == 0)
        return {0, false};

    // The last key first, so that keys that come in order cost one comparison each.
    const Order order(key);
    const unsigned int last = _count - 1;
    const int toLast = order.compareTo(_entries[last].key);
    if (toLast > 0)
        return {_count, false};
    const int toFirst = order.compareTo(_entries[0].key);
    if (toFirst <= 0)
        return {0, toFirst == 0};
    if (toLast == 0)
        return {last, true};
    return bisect(order, 1, last);
}

/// Searches the entries from `first` up to `end`. A key that is not among them belongs behind those before `first`
/// and ahead of the one at `end`.
template <class V, class K, class Less>
typename BinaryLookupTable<V, K, Less>::Position
BinaryLookupTable<V, K, Less>::bisect(const Order& order, unsigned int first, unsigned int end) const
{
    while (first < end) {
        const unsigned int middle = first + (end - first - 1) / 2;
        const int toMiddle = order.compareTo(_entries[middle].key);
        if (toMiddle == 0)
            return {middle, true};
        if (toMiddle < 0)
            end = middle;
        else
            first = middle + 1;
    }
    return {end, false};
}

template <class V, class K, class Less>
int DynamicLookupTable<V, K, Less>::set(const K& key, V value, V* previous)
{
    const typename Table::Position position = this->search(key);
    V replaced = V();
    int code = 0;
    if (position.isHit)
        replaced = std::exchange(_entries[position.index].value, std::move(value));
    else
        code = insertAt(position.index, key, std::move(value));
    if (previous != nullptr)
        *previous = std::move(replaced);
    return code;
}

template <class V, class K, class Less>
V DynamicLookupTable<V, K, Less>::remove(const K& key)
{
    const typename Table::Position position = this->search(key);
    if (!position.isHit)
        return V();

    Entry& entry = _entries[position.index];
    V removed = std::move(entry.value);
    releaseKey(entry.key);
    _entries.remove(position.index);
    resetView();
    return removed;
}

template <class V, class K, class Less>
void DynamicLookupTable<V, K, Less>::clear()
{
    for (Entry& entry : _entries)
        releaseKey(entry.key);
    _entries.clear();
    resetView();
}

template <class V, class K, class Less>
int DynamicLookupTable<V, K, Less>::insertAt(unsigned int index, const K& key, V value)
{
    if (!OSTREL_CHECK_AT(FATAL, LINE_INDEX, "index <= _entries.getSize()", index <= _entries.getSize()))
        return -1;

    Entry entry = Entry();
    if (!copyKey(key, entry.key))
        return -1;
    entry.value = std::move(value);
    if (_entries.insert(index, std::move(entry)) != 0) {
        releaseKey(entry.key); // NOLINT(bugprone-use-after-move): a refused insert leaves its argument
        return -1;
    }
    resetView();
    return 0;
}

} // namespace Ostrel
