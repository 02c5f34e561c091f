#pragma once

#include <cassert>
#include <cstddef>
#include <type_traits>
#include <utility>

#include "quarn/core/s_bool.h"
#include "quarn/core/s_pool.h"

namespace Quarn {

template <class T> class s_wptr;

/// The counts of an object's holders and observers, stored outside it. They are allocated and freed together, so they
/// share one block.
struct s_count_cells {
    std::size_t strong = 1;
    std::size_t observers = 0;

    static void* operator new(std::size_t) { return s_pool::Allocate<sizeof(s_count_cells)>(); }
    static void operator delete(void* memory) { s_pool::Free<sizeof(s_count_cells)>(memory); }

    /// Frees the cells that start at `strong`.
    static void Free(std::size_t* strong) { delete reinterpret_cast<s_count_cells*>(strong); }
};

/// A counted pointer. The last holder destroys the object; a null pointer holds nothing. Only one thread at a time may
/// use the pointers to an object: the counts are not atomic.
///
/// The counts of holders and observers (`s_wptr`) live outside the object, so any class can be held and an observer can
/// outlive its object.
template <class T> class s_refptr {
public:
    s_refptr() = default;
    s_refptr(std::nullptr_t) {}

    /// Takes ownership of an object made with `new`, or of null. If the counts cannot be allocated, deletes the object
    /// and throws std::bad_alloc.
    explicit s_refptr(T* object) {
        if (!object) return;
        struct Owner {
            T* object;
            ~Owner() { delete object; }
        } owner{object};
        s_count_cells* const cells = new s_count_cells;
        m_strong = &cells->strong;
        m_observers = &cells->observers;
        m_object = std::exchange(owner.object, nullptr);
    }

    s_refptr(const s_refptr& other)
        : m_object(other.m_object), m_strong(other.m_strong), m_observers(other.m_observers) {
        if (m_strong) ++*m_strong;
    }
    s_refptr(s_refptr&& other) noexcept
        : m_object(other.m_object), m_strong(other.m_strong), m_observers(other.m_observers) {
        other.Forget();
    }

    /// Converts from a pointer to a derived class (or to a less const object).
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>> s_refptr(const s_refptr<U>& other)
        : m_object(other.m_object), m_strong(other.m_strong), m_observers(other.m_observers) {
        if (m_strong) ++*m_strong;
    }
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>> s_refptr(s_refptr<U>&& other) noexcept
        : m_object(other.m_object), m_strong(other.m_strong), m_observers(other.m_observers) {
        other.Forget();
    }

    ~s_refptr() {
        if (m_strong && --*m_strong == 0) Destroy(m_object, m_strong, m_observers);
    }

    s_refptr& operator=(s_refptr other) noexcept {
        Swap(other);
        return *this;
    }

    /// Drops the object, and destroys it if this was the last holder.
    void Release() { const s_refptr held(std::move(*this)); }

    void Swap(s_refptr& other) noexcept {
        std::swap(m_object, other.m_object);
        std::swap(m_strong, other.m_strong);
        std::swap(m_observers, other.m_observers);
    }

    T* Get() const { return m_object; }
    T& operator*() const {
        assert(m_object);
        return *m_object;
    }
    T* operator->() const {
        assert(m_object);
        return m_object;
    }
    explicit operator bool() const { return m_object != nullptr; }
    bool IsUnique() const { return m_strong && *m_strong == 1; }
    std::size_t GetCount() const { return m_strong ? *m_strong : 0; }

    template <class U> friend bool operator==(const s_refptr& a, const s_refptr<U>& b) { return a.Get() == b.Get(); }

private:
    template <class U> friend class s_refptr;
    friend class s_wptr<T>;

    /// Becomes null without changing the counts.
    void Forget() {
        m_object = nullptr;
        m_strong = nullptr;
        m_observers = nullptr;
    }

    /// Not inlined: it would be repeated wherever a pointer is destroyed, together with the object's destructor.
    [[gnu::noinline]] static void Destroy(T* object, std::size_t* strong, const std::size_t* observers) {
        if (*observers == 0) s_count_cells::Free(strong);
        delete object;
    }

    T* m_object = nullptr;
    std::size_t* m_strong = nullptr;
    std::size_t* m_observers = nullptr;
};

/// Observes an object held by `s_refptr` without keeping it alive.
template <class T> class s_wptr {
public:
    s_wptr() = default;
    s_wptr(const s_refptr<T>& held) : m_object(held.m_object), m_strong(held.m_strong), m_observers(held.m_observers) {
        if (m_observers) ++*m_observers;
    }
    s_wptr(const s_wptr& other) : m_object(other.m_object), m_strong(other.m_strong), m_observers(other.m_observers) {
        if (m_observers) ++*m_observers;
    }
    s_wptr& operator=(s_wptr other) noexcept {
        std::swap(m_object, other.m_object);
        std::swap(m_strong, other.m_strong);
        std::swap(m_observers, other.m_observers);
        return *this;
    }
    ~s_wptr() {
        // The holders own the cells while there are any, then the last observer does.
        if (!m_observers || --*m_observers > 0 || *m_strong > 0) return;
        s_count_cells::Free(m_strong);
    }

    /// A new holder of the object; null if the last holder is gone.
    s_refptr<T> Lock() const {
        s_refptr<T> held;
        if (!m_strong || *m_strong == 0) return held;
        held.m_object = m_object;
        held.m_strong = m_strong;
        held.m_observers = m_observers;
        ++*m_strong;
        return held;
    }

private:
    T* m_object = nullptr;
    std::size_t* m_strong = nullptr;
    std::size_t* m_observers = nullptr;
};

/// Makes a new object and returns its first holder.
template <class T, class... Arguments> s_refptr<T> make_refptr(Arguments&&... arguments) {
    return s_refptr<T>(new T(std::forward<Arguments>(arguments)...));
}

} // namespace Quarn
