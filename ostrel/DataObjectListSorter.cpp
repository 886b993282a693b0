#include "ostrel/DataObjectListSorter.h"

#include <new>
#include <utility>

using Ostrel::AutoPtr;
using Ostrel::DataObject;
using Ostrel::DataObjectList;
using Ostrel::WeakPtr;

namespace {

const int SHORT_RANGE = 8; // below, the selection sort has fewer steps

/// Empty when memory is exhausted. A scalar says so by throwing, in the middle of an exchange as likely as before it.
AutoPtr<DataObject> copyOf(const DataObject& node)
{
    try {
        return node.clone();
    } catch (const std::bad_alloc&) {
        return AutoPtr<DataObject>();
    }
}

} // namespace

void DataObjectListSorter::operator()(const WeakPtr<DataObjectList>& list) const
{
    if (const DataObjectList* children = list.require())
        quickSort(list, 0, children->getNumChildren());
}

void DataObjectListSorter::quickSort(const WeakPtr<DataObject>& list, int lo, int hi) const
{
    if (list.require() == nullptr)
        return;

    while (hi - lo >= SHORT_RANGE) {
        const int pivot = partition(list, lo, hi - 1);
        // Nothing to sort on the right, as in a list that is sorted already: no recursion as deep as the list is long.
        if (hi - pivot <= 2) {
            hi = pivot;
            continue;
        }
        quickSort(list, lo, pivot);
        lo = pivot + 1;
    }
    selectionSort(list, lo, hi);
}

int DataObjectListSorter::partition(const WeakPtr<DataObject>& list, int lo, int hi) const
{
    const DataObject* const children = list.require();
    if (children == nullptr)
        return lo;
    if (lo >= hi) {
        if (lo == hi)
            swap(list, hi, hi);
        return lo;
    }

    // The pivot is fetched for each comparison: a swap replaces it, and comparators may look at the list. The bounds
    // are tested after the comparator, so that a faulty one sees the calls it always did.
    int i = lo - 1;
    int j = hi;
    for (;;) {
        do
            ++i;
        while (_less(children->get(i), children->get(hi)) && i != hi);
        do
            --j;
        while (_less(children->get(hi), children->get(j)) && j != lo);
        if (j <= i)
            break;
        swap(list, i, j);
    }
    swap(list, i, hi);
    return i;
}

void DataObjectListSorter::selectionSort(const WeakPtr<DataObject>& list, int lo, int hi) const
{
    const DataObject* const children = list.require();
    if (children == nullptr)
        return;

    for (int i = lo; i < hi - 1; ++i) {
        int smallest = i;
        for (int k = i + 1; k < hi; ++k) {
            if (_less(children->get(k), children->get(smallest)))
                smallest = k;
        }
        swap(list, i, smallest); // also with itself: after a sort every child but the last is a new node
    }
}

void DataObjectListSorter::swap(const WeakPtr<DataObject>& list, int i, int j) const
{
    DataObject* const children = list.require();
    if (children == nullptr)
        return;

    AutoPtr<DataObject> first = copyOf(children->get(i));
    AutoPtr<DataObject> second = copyOf(children->get(j));
    if (first == nullptr || second == nullptr)
        return;
    children->set(i, std::move(second));
    children->set(j, std::move(first));
}

void DataObjectListSorter::insertionSort(const WeakPtr<DataObject>& list, int lo, int hi) const
{
    DataObject* const children = list.require();
    if (children == nullptr)
        return;

    for (int i = lo + 1; i < hi; ++i) {
        AutoPtr<DataObject> moved = copyOf(children->get(i));
        if (moved == nullptr)
            return;

        int k = i - 1;
        for (; k >= lo && !_less(children->get(k), moved); --k) {
            AutoPtr<DataObject> neighbour = copyOf(children->get(k));
            if (neighbour == nullptr)
                break; // the moved one takes the place that is free, and nothing is lost
            children->set(k + 1, std::move(neighbour));
        }
        children->set(k + 1, std::move(moved));
    }
}
