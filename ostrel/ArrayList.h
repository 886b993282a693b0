#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

#include "ostrel/ArrayAllocation.h"
#include "ostrel/Report.h"

namespace Ostrel {

/// Root of the array lists: lets a list be deleted where its type of element is not known.
class ArrayListCommon
{
public:
    virtual ~ArrayListCommon() = default;

protected:
    /// How many elements the storage of a list has room for. It follows from the capacity, so that no list has to carry
    /// it: one of four steps between two powers of two.
    [[gnu::noinline]] static uint64_t getRoom(uint64_t capacity)
    {
        const uint64_t MOST_WITHOUT_SPARE = 64; // short lists take no more than their elements
        if (capacity <= MOST_WITHOUT_SPARE)
            return capacity;

        const uint64_t step = uint64_t{1} << (61 - __builtin_clzll(capacity));
        return (capacity + step - 1) & ~(step - 1);
    }
};

/// What all array lists have in common; take one by reference where the kind of storage does not matter.
///
///     AutoPtr<DataObject> child = DataObject::parse("[1, 2]");
///     DynamicArrayList<DataObject*, 8> children;
///     if (children.append(child.get()) == 0)
///         child.release();
///
/// Elements lie contiguously. Pointers and references to them live until the next change of the list.
///
/// Units:     sizes and indexes count elements.
/// Ownership: the list owns its elements as values; elements that are plain pointers are never deleted. A slot that
///            is given up is set back to `T()` where `T` has a destructor, so that what it held is released at once;
///            other slots keep their bytes.
/// Errors:    a change that cannot be made returns 2 and leaves the list and the argument as they were. `[]` beyond
///            the end makes a recoverable report "index < _size" and gives the last element.
template <class T>
class ArrayList : public ArrayListCommon
{
public:
    ArrayList(const ArrayList&) = delete;
    ArrayList& operator=(const ArrayList&) = delete;

    /// 0, or 2 when there is no room left. The element may be one of the list's own.
    int append(const T& element) { return store(element); }
    int append(T&& element) { return store(std::move(element)); }

    /// Moves the elements from `index` on up by one. 0, or 2 when there is no room left or `index` is beyond the end.
    template <class U>
    int insert(unsigned int index, U&& element);

    /// Moves the elements behind `index` down by one. 0, or 2 when there is no such element.
    int remove(unsigned int index);

    void clear(); ///< The storage is kept.

    /// On an empty list there is no last element to fall back on: gives a value of the thread's own that is `T()` and
    /// is not kept.
    T& operator[](unsigned int index) { return access(index); }
    const T& operator[](unsigned int index) const { return access(index); }

    bool isEmpty() const { return _size == 0; }
    unsigned int getSize() const { return _size; }
    unsigned int getCapacity() const { return _capacity; }

    T* begin() { return _elements; }
    T* end() { return _elements + _size; }
    const T* begin() const { return _elements; }
    const T* end() const { return _elements + _size; }

protected:
    ArrayList(T* elements, unsigned int capacity) : _elements(elements), _capacity(capacity), _size(0) {}

private:
    enum { RC_OK = 0, RC_REFUSED = 2 };

    static constexpr int LINE_INDEX = 299;

    /// Storage from `new[]` for more elements than now: what is there already, where it has the room, or other that
    /// replaces it. Null where there is none.
    virtual T* allocateMore(unsigned int& capacity) = 0;

    template <class U>
    int store(U&& element);
    template <class U>
    int growAndStore(U&& element);
    T& access(unsigned int index) const;
    [[gnu::cold, gnu::noinline]] T& getLastOrSpare() const;
    void resetSlot(unsigned int index);

protected:
    T* _elements;           ///< Null before the first storage.
    unsigned int _capacity; ///< Elements that the storage has room for.
    unsigned int _size;     ///< Elements in the list.
};

/// A list on the heap that grows by N elements at a time: for many lists that are mostly short.
///
/// It starts without storage. Its capacity is a multiple of N. Above 64 elements the storage is up to a quarter larger
/// than that, so that most steps move nothing and the time of many appends grows as their number.
///
/// Ownership: as `ArrayList`; the storage is the list's own.
/// Errors:    as `ArrayList`; there is no room left when memory is exhausted.
template <class T, unsigned int N>
class DynamicArrayList : public ArrayList<T>
{
public:
    DynamicArrayList() : ArrayList<T>(nullptr, 0) {}
    ~DynamicArrayList() override { delete[] this->_elements; }

private:
    T* allocateMore(unsigned int& capacity) override;
};

/// A list of at most N elements inside the object. All N are constructed with it and destroyed, last to first, with it.
template <class T, unsigned int N>
class FixedArrayList : public ArrayList<T>
{
public:
    FixedArrayList() : ArrayList<T>(_storage, N) {}

private:
    T* allocateMore(unsigned int&) override { return nullptr; }

    T _storage[N];
};

template <class T>
template <class U>
int ArrayList<T>::insert(unsigned int index, U&& element)
{
    if (index > _size || append(std::forward<U>(element)) != RC_OK)
        return RC_REFUSED;
    std::rotate(begin() + index, end() - 1, end());
    return RC_OK;
}

template <class T>
int ArrayList<T>::remove(unsigned int index)
{
    if (index >= _size)
        return RC_REFUSED;
    std::move(begin() + index + 1, end(), begin() + index);
    resetSlot(--_size);
    return RC_OK;
}

template <class T>
void ArrayList<T>::clear()
{
    while (_size > 0)
        resetSlot(--_size);
}

template <class T>
template <class U>
int ArrayList<T>::store(U&& element)
{
    if (_size == _capacity)
        return growAndStore(std::forward<U>(element));
    _elements[_size] = std::forward<U>(element);
    ++_size;
    return RC_OK;
}

template <class T>
template <class U>
int ArrayList<T>::growAndStore(U&& element)
{
    unsigned int capacity = 0;
    T* const storage = allocateMore(capacity);
    if (storage == nullptr)
        return RC_REFUSED;

    // The new element first: it may be one of those that are moved next.
    storage[_size] = std::forward<U>(element);
    if (storage != _elements) {
        std::move(begin(), end(), storage);
        delete[] _elements;
        _elements = storage;
    }
    _capacity = capacity;
    ++_size;
    return RC_OK;
}

template <class T>
T& ArrayList<T>::access(unsigned int index) const
{
    if (OSTREL_CHECK_AT(RECOVERABLE, LINE_INDEX, "index < _size", index < _size))
        return _elements[index];
    return getLastOrSpare();
}

template <class T>
T& ArrayList<T>::getLastOrSpare() const
{
    if (_size > 0)
        return _elements[_size - 1];
    thread_local T spare;
    spare = T();
    return spare;
}

template <class T>
void ArrayList<T>::resetSlot(unsigned int index)
{
    if constexpr (!std::is_trivially_destructible<T>::value)
        _elements[index] = T();
}

template <class T, unsigned int N>
T* DynamicArrayList<T, N>::allocateMore(unsigned int& capacity)
{
    const uint64_t wanted = uint64_t{this->_size} + N;
    if (wanted > std::numeric_limits<unsigned int>::max())
        return nullptr;

    capacity = static_cast<unsigned int>(wanted);
    return wanted <= this->getRoom(this->_capacity) ? this->_elements : allocateArray<T>(this->getRoom(wanted));
}

} // namespace Ostrel
