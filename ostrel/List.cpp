#include "ostrel/List.h"

namespace Ostrel {

SListNode::~SListNode() = default;

void SListNode::onUnlinked() {}

void SListBase::BaseIterator::next()
{
    if (_node != nullptr)
        _node = _node->_next;
}

void SListBase::BaseIterator::rotate()
{
    if (_node != nullptr)
        _node = _node->_next;
    else if (_list != nullptr)
        _node = _list->_head;
}

SListNode* SListBase::popFront()
{
    SListNode* const node = _head;
    if (node != nullptr)
        unlink(*node, nullptr);
    return node;
}

SListNode* SListBase::popBack()
{
    return _head == nullptr ? nullptr : remove(*getLast(), begin());
}

void SListBase::insert(SListNode& node, const BaseIterator& pos)
{
    OSTREL_ASSERT_TEXT(pos._list == this && pos._node != nullptr, "pos._list == this && pos._node != __null");
    // Neither is the tail moved nor the node's own link looked at: see docs/compatibility.md.
    node._next = pos._node->_next;
    pos._node->_next = &node;
}

SListNode* SListBase::remove(SListNode& node, const BaseIterator& pos)
{
    const bool hasHint = pos._list == this && pos._node != nullptr;
    if (hasHint && pos._node->_next == &node) {
        unlink(node, pos._node);
        return &node;
    }
    SListNode* predecessor = nullptr;
    if (_head != &node) {
        predecessor = findPredecessor(node, hasHint ? pos : end());
        if (predecessor == nullptr)
            return nullptr;
    }
    unlink(node, predecessor);
    return &node;
}

void SListBase::empty()
{
    for (SListNode* node = _head; node != nullptr;) {
        SListNode* const next = node->_next; // the node may be gone after the call
        node->_next = nullptr;
        node->onUnlinked();
        node = next;
    }
    _head = nullptr;
    _tail = nullptr;
}

/// Round the list from behind the hint's node until back at it, or once from the head without one. A hint whose node
/// has left the list is never met again, so the walk ends at the latest where the list ends for the second time.
SListNode* SListBase::findPredecessor(const SListNode& node, const BaseIterator& pos) const
{
    const SListNode* const stop = pos._node;
    bool isWrapped = stop == nullptr;
    SListNode* candidate = isWrapped ? _head : stop->_next;
    while (candidate != stop || candidate == nullptr) {
        if (candidate == nullptr) {
            if (isWrapped)
                return nullptr;
            isWrapped = true;
            candidate = _head;
        } else if (candidate->_next == &node) {
            return candidate;
        } else {
            candidate = candidate->_next;
        }
    }
    return nullptr;
}

/// Without a predecessor the node is the head.
void SListBase::unlink(SListNode& node, SListNode* predecessor)
{
    if (predecessor == nullptr)
        _head = node._next;
    else
        predecessor->_next = node._next;
    if (_tail == &node)
        _tail = predecessor;
    node._next = nullptr;
}

} // namespace Ostrel
