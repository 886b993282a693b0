#include "ostrel/SharedPtr.h"
#include "ostrel/WeakPtr.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

namespace {

struct Base
{
    virtual ~Base() { ++destroyed; }
    inline static int destroyed = 0;
};

struct Derived : Base
{
    SharedPtr<Base> next;
};

static_assert(std::is_trivially_copyable<WeakPtr<Base>>::value, "passed by value in every event");
static_assert(sizeof(WeakPtr<Base>) == sizeof(void*), "passed by value in every event");
static_assert(!std::is_convertible<Base*, SharedPtr<Base>>::value, "taking ownership is explicit");

} // namespace

using SmartPointerTest = ReportTest;

TEST_F(SmartPointerTest, LastShareDeletesTheObjectOnce)
{
    Base::destroyed = 0;
    SharedPtr<Base> second;
    {
        SharedPtr<Derived> first(new Derived);
        second = first;
        const SharedPtr<Base>& itself = second;
        second = itself;
        EXPECT_TRUE(first == second);
    }
    EXPECT_EQ(Base::destroyed, 0);
    SharedPtr<Base> moved(std::move(second));
    EXPECT_FALSE(second); // NOLINT(bugprone-use-after-move): a moved-from share is empty
    moved = SharedPtr<Base>(AutoPtr<Derived>(new Derived));
    EXPECT_EQ(Base::destroyed, 1);
    moved.reset();
    EXPECT_EQ(Base::destroyed, 2);

    moved.reset(new Derived);
    static_cast<Derived*>(moved.get())->next.reset(new Derived);
    moved = static_cast<Derived*>(moved.get())->next; // a part of what it owns
    EXPECT_TRUE(moved && Base::destroyed == 3);
}

TEST_F(SmartPointerTest, WeakPointersCompareWhereTheyPoint)
{
    Derived object, other;
    const WeakPtr<Derived> weak(object);
    const WeakPtr<Base> same(weak), different(other), none;
    EXPECT_TRUE(weak == same && !(weak != same));
    EXPECT_TRUE(weak != different && !(weak == different));
    EXPECT_TRUE(weak && !none && none != same);
    expectNoReports();
    EXPECT_EQ(none.require(), nullptr);
    expectFailedCheck(Severity::FATAL, "WeakPtr", 37, "m_ptr");
}

TEST_F(SmartPointerTest, RefusedCountDeletesTheObject)
{
    sweepAllocationFailures([](AllocationFaults& faults) {
        AutoPtr<Base> object(new Base);
        const int before = Base::destroyed;
        const SharedPtr<Base> owner = faults.during([&] { return SharedPtr<Base>(std::move(object)); });
        EXPECT_EQ(Base::destroyed - before, owner ? 0 : 1);
        const SharedPtr<Base> made = faults.during([] { return SharedPtr<Derived>::make(); }); // one block
        EXPECT_TRUE(faults.again([] { return SharedPtr<Derived>::make(); }));
        return owner && made;
    });
}
