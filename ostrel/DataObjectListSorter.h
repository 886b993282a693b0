#pragma once

#include "ostrel/DataObject.h"
#include "ostrel/Export.h"
#include "ostrel/WeakPtr.h"

/// Sorts the children of a `DataObjectList` in place.
///
///     bool comesFirst(Ostrel::WeakPtr<Ostrel::DataObject> a, Ostrel::WeakPtr<Ostrel::DataObject> b)
///     {
///         return a->toInt64(0) < b->toInt64(0);
///     }
///
///     void sortNumbers(Ostrel::DataObjectList& list)
///     {
///         DataObjectListSorter sort(comesFirst);
///         sort(list);
///     }
///
/// A quicksort with the last child of a range as its pivot: not stable, and quadratic on a list that is sorted already.
/// It recurses into the part ahead of the pivot, in other bad orders as deep as the list is long.
/// Children change places by deep copies, so a list of large subtrees is sorted slowly.
///
/// Units:     positions count children from 0; a range is [lo, hi) but for `partition`, and lies inside the list.
/// Ownership: the comparator and the list stay the caller's. References to children die, also of those in place.
/// Errors:    a null list is reported (fatal "m_ptr"). When memory is exhausted, children that cannot be copied stay
///            where they are, so the list may be out of order; no child is lost.
class OSTREL_EXPORT DataObjectListSorter
{
public:
    /// True when `a` must come before `b`, false for equal ones. A missing child is seen as the invalid object.
    using Less = bool (*)(Ostrel::WeakPtr<Ostrel::DataObject> a, Ostrel::WeakPtr<Ostrel::DataObject> b);

    explicit DataObjectListSorter(Less less) : _less(less) {}

    /// Sorts the whole list.
    void operator()(const Ostrel::WeakPtr<Ostrel::DataObjectList>& list) const;

    /// Sorts a part of the list. This and the steps below work on anything with children at positions.
    void quickSort(const Ostrel::WeakPtr<Ostrel::DataObject>& list, int lo, int hi) const;

    /// Moves what comes before the child at `hi` to its left and the rest to its right, in the range [lo, hi]. The
    /// place where that child ends up.
    int partition(const Ostrel::WeakPtr<Ostrel::DataObject>& list, int lo, int hi) const;

    /// For ranges of a few children: each place in turn gets the first of those that are left.
    void selectionSort(const Ostrel::WeakPtr<Ostrel::DataObject>& list, int lo, int hi) const;
    void swap(const Ostrel::WeakPtr<Ostrel::DataObject>& list, int i, int j) const; ///< Exchanges two children.

    /// For ranges that are nearly sorted. Equal children change their order.
    void insertionSort(const Ostrel::WeakPtr<Ostrel::DataObject>& list, int lo, int hi) const;

private:
    Less _less;
};
