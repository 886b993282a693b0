#pragma once

#include "ostrel/Assert.h"
#include "ostrel/Export.h"

namespace Ostrel {

/// What can be in an `SListBase`: derive from it. A node is in at most one list at a time.
///
/// Ownership: a node belongs to whoever made it; take it out of its list before it goes.
class OSTREL_EXPORT SListNode
{
public:
    SListNode() = default;
    SListNode(const SListNode&) = delete;
    SListNode& operator=(const SListNode&) = delete;
    virtual ~SListNode();

    /// Called by `SListBase::empty()` once the node is out of the list; may delete the node. Does nothing here.
    virtual void onUnlinked();

private:
    friend class SListBase;

    SListNode* _next = nullptr;
};

/// Singly linked list of nodes that carry the link themselves: nothing is allocated, both pushes take constant time.
///
/// To hold values, or to reach them by index, use `ArrayList`.
///
///     struct Job : SListNode
///     {
///         int duration = 2;
///     };
///     Job job;
///     SListBase jobs;
///     jobs.pushBack(job);
///     for (SListBase::BaseIterator it = jobs.begin(); it.isValid(); it.next())
///         sleep(static_cast<Job&>(*it.get()).duration);
///
/// Ownership: the nodes stay the caller's. A list that goes leaves them as they are; call `empty()` before.
/// Errors:    nothing to pop or to remove is null. Pushing a node that is followed by another, and inserting at an
///            iterator of another list or past the end, stop the process.
class OSTREL_EXPORT SListBase
{
public:
    /// A place in a list: a node, or past the end. It stays good while its node is in the list.
    class OSTREL_EXPORT BaseIterator
    {
    public:
        BaseIterator() = default; ///< In no list: the hint that says nothing.
        BaseIterator(const SListBase& list, SListNode* node) : _list(&list), _node(node) {}

        void next();   ///< Stays past the end once there.
        void rotate(); ///< As `next()`, but goes on from past the end to the head of the list, for endless rounds.

        bool isValid() const { return _node != nullptr; }
        SListNode* get() const { return _node; } ///< Null past the end.

    private:
        friend class SListBase;

        const SListBase* _list = nullptr;
        SListNode* _node = nullptr;
    };

    SListBase() = default;
    SListBase(const SListBase&) = delete;
    SListBase& operator=(const SListBase&) = delete;

    void pushFront(SListNode& node); ///< Ahead of all others.
    void pushBack(SListNode& node);  ///< Behind all others.
    SListNode* popFront();           ///< Null when the list is empty.
    SListNode* popBack();            ///< Null when the list is empty. Walks over the list.

    /// Puts `node` right behind `pos`. Behind the last node use `pushBack`: the list goes on to take the node at `pos`
    /// for its last one.
    void insert(SListNode& node, const BaseIterator& pos);

    /// Takes `node` out and returns it; null when it is not in the list. At once when `pos` is the node before it,
    /// else by a walk that starts behind `pos` and goes round.
    SListNode* remove(SListNode& node, const BaseIterator& pos);

    /// Unlinks every node from the head on, and calls its `onUnlinked()`. That must leave the list alone.
    void empty();

    bool isEmpty() const { return _head == nullptr; }
    BaseIterator begin() const { return BaseIterator(*this, _head); }
    BaseIterator end() const { return BaseIterator(*this, nullptr); }

private:
    SListNode* getLast() const;
    OSTREL_LOCAL SListNode* findPredecessor(const SListNode& node, const BaseIterator& pos) const;
    OSTREL_LOCAL void unlink(SListNode& node, SListNode* predecessor);

    SListNode* _head = nullptr;
    SListNode* _tail = nullptr;
};

inline void SListBase::pushFront(SListNode& node)
{
    OSTREL_ASSERT_TEXT(node._next == nullptr, "node._next == __null");
    if (_head == nullptr)
        _tail = &node;
    node._next = _head;
    _head = &node;
}

inline void SListBase::pushBack(SListNode& node)
{
    // A node that is the last of a list passes; callers never push a node twice.
    OSTREL_ASSERT_TEXT(node._next == nullptr, "node._next == __null");
    if (_head == nullptr)
        _head = &node;
    else
        getLast()->_next = &node;
    _tail = &node;
}

/// The tail; found by walking where the tail was popped from before a node inserted behind it. The list is not empty.
inline SListNode* SListBase::getLast() const
{
    if (_tail != nullptr)
        return _tail;

    SListNode* last = _head;
    while (last->_next != nullptr)
        last = last->_next;
    return last;
}

} // namespace Ostrel
