#include <list>

#include "ostrel/List.h"
#include "tests/support/TestIncludes.h"

using Ostrel::SListBase;
using Ostrel::SListNode;
using Iterator = SListBase::BaseIterator;

namespace {

struct Node : SListNode
{
    void onUnlinked() override { delete this; }
};

std::list<SListNode*> walk(const SListBase& list)
{
    std::list<SListNode*> nodes;
    for (Iterator it = list.begin(); it.isValid(); it.next())
        nodes.push_back(it.get());
    return nodes;
}

} // namespace

TEST(ListTest, BehavesAsAStandardListWithEveryKindOfHint)
{
    std::mt19937 random(1);
    Node nodes[8];
    const SListBase other;
    SListBase list;
    std::list<SListNode*> model;
    for (int i = 0; i < 20000; ++i) {
        Node& node = nodes[random() % 8];
        Node& place = nodes[random() % 8]; // in the list or not, perhaps the node itself
        const Iterator hints[] = {Iterator(list, &place), list.end(), Iterator(other, &place)};
        const auto position = std::find(model.begin(), model.end(), &place);
        const bool isIn = std::find(model.begin(), model.end(), &node) != model.end();
        const bool isFront = random() % 2 == 0;
        const unsigned int operation = random() % 4;
        if (operation == 0 && !isIn) {
            isFront ? list.pushFront(node) : list.pushBack(node);
            model.insert(isFront ? model.begin() : model.end(), &node);
        } else if (operation == 1 && !isIn && position != model.end() && &place != model.back()) {
            list.insert(node, hints[0]);
            model.insert(std::next(position), &node);
        } else if (operation == 2) {
            SListNode* const expected = model.empty() ? nullptr : isFront ? model.front() : model.back();
            EXPECT_EQ(isFront ? list.popFront() : list.popBack(), expected);
            model.remove(expected);
        } else if (operation == 3) {
            EXPECT_EQ(list.remove(node, hints[random() % 3]), isIn ? &node : nullptr);
            model.remove(&node);
        }
        ASSERT_EQ(walk(list), model);
    }
}

TEST(ListTest, NodeInsertedBehindTheLastOneIsNotTheTail)
{
    for (const bool fromFront : {false, true}) {
        Node* const nodes[] = {new Node, new Node};
        SListBase list;
        list.pushBack(*nodes[0]);
        list.insert(*nodes[1], list.begin());
        EXPECT_EQ(fromFront ? list.popFront() : list.popBack(), nodes[0]);
        list.pushBack(*nodes[0]);
        EXPECT_EQ(walk(list), (std::list<SListNode*>{nodes[1], nodes[0]}));
        Iterator it(list, nodes[0]);
        it.rotate();
        EXPECT_FALSE(it.isValid());
        it.rotate();
        EXPECT_EQ(it.get(), nodes[1]);
        list.empty(); // deletes them
        EXPECT_EQ(list.popBack(), nullptr);
    }
}

TEST(ListDeathTest, MisuseStops)
{
    Node nodes[2];
    SListBase list;
    list.pushBack(nodes[0]);
    list.pushFront(nodes[1]);
    EXPECT_DEATH(list.pushFront(nodes[1]), "List.*Assertion `node._next == __null' failed");
    EXPECT_DEATH(list.pushBack(nodes[1]), "List.*Assertion `node._next == __null' failed");
    static const char PLACE[] = "List.*Assertion `pos._list == this && pos._node != __null' failed";
    EXPECT_DEATH(list.insert(nodes[1], list.end()), PLACE);
    EXPECT_DEATH(list.insert(nodes[1], SListBase().begin()), PLACE);
}
