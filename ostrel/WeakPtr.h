#pragma once

#include <cstddef>
#include <type_traits>

#include "ostrel/AutoPtr.h"
#include "ostrel/Report.h"

namespace Ostrel {

template <class T>
class SharedPtr;

/// Non-owning pointer for signatures: says that the callee uses the object and keeps no share of it.
///
/// It does not follow the object's life: whoever hands it out keeps the object alive for as long as the receiver's
/// documentation says. As small and as cheap to pass as a plain pointer.
///
///     void describe(WeakPtr<StructBuilder> builder)
///     {
///         if (StructBuilder* target = builder.require())
///             target->map().add("x", 1).end();
///     }
///
/// Errors:    using a null one through `require`, `->` or `*` makes one fatal report "m_ptr".
template <class T>
class WeakPtr
{
public:
    WeakPtr() : m_ptr(nullptr) {}
    // Implicit from everything that can point: call sites hand over `this`, objects and every kind of owner alike.
    WeakPtr(std::nullptr_t) : m_ptr(nullptr) {} // NOLINT(google-explicit-constructor)
    WeakPtr(T* pointer) : m_ptr(pointer) {}     // NOLINT(google-explicit-constructor)
    WeakPtr(T& object) : m_ptr(&object) {}      // NOLINT(google-explicit-constructor)
    template <class U, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    WeakPtr(const WeakPtr<U>& other) : m_ptr(other.get()) // NOLINT(google-explicit-constructor)
    {}
    template <class U, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    WeakPtr(const SharedPtr<U>& owner) : m_ptr(owner.get()) // NOLINT(google-explicit-constructor)
    {}
    template <class U, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    WeakPtr(const AutoPtr<U>& owner) : m_ptr(owner.get()) // NOLINT(google-explicit-constructor)
    {}

    T* get() const { return m_ptr; } ///< The pointer, null or not; never reports.

    /// The pointer; a null one is reported first. What library code uses, so that one null gives one report.
    T* require() const
    {
        OSTREL_CHECK_AT(FATAL, LINE_NULL, "m_ptr", m_ptr != nullptr);
        return m_ptr;
    }

    T* operator->() const { return require(); }
    T& operator*() const { return *require(); }
    explicit operator bool() const { return m_ptr != nullptr; }

private:
    static constexpr int LINE_NULL = 37;

    T* m_ptr;
};

template <class T, class U>
bool operator==(const WeakPtr<T>& a, const WeakPtr<U>& b)
{
    return a.get() == b.get();
}

template <class T, class U>
bool operator!=(const WeakPtr<T>& a, const WeakPtr<U>& b)
{
    return a.get() != b.get();
}

} // namespace Ostrel
