#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

#include "ostrel/AtomicCounter.h"
#include "ostrel/AutoPtr.h"
#include "ostrel/Report.h"

namespace Ostrel {

/// What the owners of an object share.
class SharedCount
{
public:
    explicit SharedCount(bool isInOneBlock) : owners(1), isWithObject(isInOneBlock) {}

    AtomicCounter owners;    ///< How many `SharedPtr` own the object.
    const bool isWithObject; ///< Both are in one block, which begins with this.
};

/// Reference-counted owner; the last one to go deletes the object through its virtual destructor.
///
///     SharedPtr<OutputStream> target(new (std::nothrow) FileOutputStream(stdout));
///     BufferedOutputStream out(target, 4096);
///
/// Ownership: takes over the pointer or the `AutoPtr` it is made from. The count is a heap block of its own; when it
///            cannot be allocated, the object is deleted and the pointer stays empty. `make` takes one block for both.
/// Errors:    `->` and `*` on an empty one make one fatal report "m_ptr" and yield null.
/// Threads:   the count is atomic, so copies may live on different threads; one `SharedPtr` object is not synchronized.
template <class T>
class SharedPtr
{
public:
    SharedPtr() : m_ptr(nullptr), _count(nullptr) {}
    SharedPtr(std::nullptr_t) : SharedPtr() {} // NOLINT(google-explicit-constructor)
    explicit SharedPtr(T* object) : SharedPtr() { own(object); }
    template <class U, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    SharedPtr(AutoPtr<U>&& owner) : SharedPtr() // NOLINT(google-explicit-constructor)
    {
        own(owner.release());
    }
    SharedPtr(const SharedPtr& other) : m_ptr(other.m_ptr), _count(other._count) { retain(); }
    SharedPtr(SharedPtr&& other) noexcept
        : m_ptr(std::exchange(other.m_ptr, nullptr)), _count(std::exchange(other._count, nullptr))
    {}
    template <class U, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    SharedPtr(const SharedPtr<U>& other) // NOLINT(google-explicit-constructor)
        : m_ptr(other.m_ptr), _count(other._count)
    {
        retain();
    }
    template <class U, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    SharedPtr(SharedPtr<U>&& other) noexcept // NOLINT(google-explicit-constructor)
        : m_ptr(std::exchange(other.m_ptr, nullptr)), _count(std::exchange(other._count, nullptr))
    {}
    ~SharedPtr() { release(); }

    /// Owns a new object, made of the arguments as by braces; empty when memory is exhausted.
    template <class... Arguments>
    static SharedPtr make(Arguments&&... arguments)
    {
        struct Block
        {
            explicit Block(Arguments&&... values) : count(true), object{std::forward<Arguments>(values)...} {}

            SharedCount count;
            T object;
        };
        static_assert(alignof(Block) <= alignof(std::max_align_t), "allocated and freed by the ordinary operators");
        SharedPtr owner;
        if (Block* const block = new (std::nothrow) Block(std::forward<Arguments>(arguments)...)) {
            owner.m_ptr = &block->object;
            owner._count = &block->count;
        }
        return owner;
    }

    /// By value, so that assigning an object to itself, or to a part of what it owns, is harmless.
    SharedPtr& operator=(SharedPtr other) noexcept
    {
        std::swap(m_ptr, other.m_ptr);
        std::swap(_count, other._count);
        return *this;
    }

    void reset() { SharedPtr().swap(*this); }                ///< Lets the object go.
    void reset(T* object) { SharedPtr(object).swap(*this); } ///< Takes `object` over.

    /// Exchanges what the two own.
    void swap(SharedPtr& other) noexcept
    {
        std::swap(m_ptr, other.m_ptr);
        std::swap(_count, other._count);
    }

    T* get() const { return m_ptr; } ///< The pointer, null or not; never reports.

    /// The pointer; a null one is reported first.
    T* require() const
    {
        OSTREL_CHECK_AT(FATAL, LINE_NULL, "m_ptr", m_ptr != nullptr);
        return m_ptr;
    }

    T* operator->() const { return require(); }
    T& operator*() const { return *require(); }
    explicit operator bool() const { return m_ptr != nullptr; }

private:
    template <class U>
    friend class SharedPtr;

    static constexpr int LINE_NULL = 180;

    void own(T* object)
    {
        if (object == nullptr)
            return;

        _count = new (std::nothrow) SharedCount(false);
        if (_count == nullptr)
            delete object;
        else
            m_ptr = object;
    }

    void retain()
    {
        if (_count != nullptr)
            ++_count->owners;
    }

    void release()
    {
        if (_count == nullptr || --_count->owners != 0)
            return;

        if (_count->isWithObject) {
            m_ptr->~T();
            operator delete(_count);
            return;
        }
        delete m_ptr;
        delete _count;
    }

    T* m_ptr;
    SharedCount* _count;
};

template <class T, class U>
bool operator==(const SharedPtr<T>& a, const SharedPtr<U>& b)
{
    return a.get() == b.get();
}

template <class T, class U>
bool operator!=(const SharedPtr<T>& a, const SharedPtr<U>& b)
{
    return a.get() != b.get();
}

} // namespace Ostrel
