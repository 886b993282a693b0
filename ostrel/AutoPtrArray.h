#pragma once

#include <algorithm>

#include "ostrel/ArrayAllocation.h"
#include "ostrel/AutoPtr.h"
#include "ostrel/Report.h"

namespace Ostrel {

/// Owning array of pointers, of a length fixed at construction. For a list that grows use `DynamicArrayList`.
///
/// Units:     length and indexes count elements.
/// Ownership: the array deletes its elements.
/// Errors:    a bad index and a null element make a fatal report ("i < _length", "_array[i]"); the access gives null.
template <class T>
class AutoPtrArray
{
public:
    /// All elements are null. The length is 0 when memory is exhausted.
    explicit AutoPtrArray(unsigned int length);
    ~AutoPtrArray();
    AutoPtrArray(const AutoPtrArray&) = delete;
    AutoPtrArray& operator=(const AutoPtrArray&) = delete;

    /// Destroys the element that was there. An object that finds no place is destroyed, after the report.
    void set(unsigned int i, AutoPtr<T> object);

    T* operator[](unsigned int i) const; ///< Null, after one report, when there is no such element or it is null.

    unsigned int getLength() const { return _length; }

private:
    static constexpr int LINE_INDEX = 71;
    static constexpr int LINE_NULL = 72;

    bool isIndex(unsigned int i) const { return OSTREL_CHECK_AT(FATAL, LINE_INDEX, "i < _length", i < _length); }

    T** _array;
    unsigned int _length;
};

template <class T>
AutoPtrArray<T>::AutoPtrArray(unsigned int length)
    : _array(allocateArray<T*>(length)), _length(_array == nullptr ? 0 : length)
{
    std::fill_n(_array, _length, nullptr);
}

template <class T>
AutoPtrArray<T>::~AutoPtrArray()
{
    for (unsigned int i = 0; i < _length; ++i)
        delete _array[i];
    delete[] _array;
}

template <class T>
void AutoPtrArray<T>::set(unsigned int i, AutoPtr<T> object)
{
    if (!isIndex(i))
        return;
    AutoPtr<T> former(_array[i]);
    _array[i] = object.release();
}

template <class T>
T* AutoPtrArray<T>::operator[](unsigned int i) const
{
    if (!isIndex(i))
        return nullptr;
    OSTREL_CHECK_AT(FATAL, LINE_NULL, "_array[i]", _array[i] != nullptr);
    return _array[i];
}

} // namespace Ostrel
