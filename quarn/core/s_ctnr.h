#pragma once

#include <cassert>
#include <cstddef>
#include <deque>
#include <initializer_list>
#include <utility>

#include "quarn/core/s_uint.h"

namespace Quarn {

/// An ordered sequence, independent of its storage. Positions start at 0; a position at or beyond the size is a bug in
/// the caller. References to elements are valid until the sequence changes.
template <class T> class s_ctnr {
public:
    class iterator {
    public:
        iterator(const s_ctnr& sequence, std::size_t position) : m_sequence(&sequence), m_position(position) {}
        const T& operator*() const { return m_sequence->Get(m_position); }
        iterator& operator++() {
            ++m_position;
            return *this;
        }
        bool operator!=(const iterator& other) const { return m_position != other.m_position; }

    private:
        const s_ctnr* m_sequence;
        std::size_t m_position;
    };

    s_ctnr() = default;
    s_ctnr(const s_ctnr&) = default;
    s_ctnr(s_ctnr&&) noexcept = default;
    s_ctnr& operator=(const s_ctnr&) = default;
    s_ctnr& operator=(s_ctnr&&) noexcept = default;
    virtual ~s_ctnr() = default;

    virtual std::size_t Count() const = 0;
    virtual const T& Get(std::size_t position) const = 0;
    virtual T& Get(std::size_t position) = 0;
    virtual void PushBack(T element) = 0;
    virtual void PushFront(T element) = 0;
    /// Inserts the element before the one at `position`; at the size, after the last one.
    virtual void Insert(std::size_t position, T element) = 0;
    virtual void Erase(std::size_t position) = 0;
    virtual void Clear() = 0;

    /// The number of elements; infinity if it does not fit.
    s_uint Size() const { return s_uint(Count()); }
    bool IsEmpty() const { return Count() == 0; }
    const T& operator[](std::size_t position) const { return Get(position); }
    T& operator[](std::size_t position) { return Get(position); }

    iterator begin() const { return {*this, 0}; }
    iterator end() const { return {*this, Count()}; }
};

/// A sequence stored in a standard queue: any container with random access and `push_back`.
template <class T, class Queue = std::deque<T>> class s_ctnr_t final : public s_ctnr<T> {
public:
    s_ctnr_t() = default;
    s_ctnr_t(std::initializer_list<T> elements) : m_queue(elements) {}

    std::size_t Count() const override { return m_queue.size(); }
    const T& Get(std::size_t position) const override {
        assert(position < m_queue.size());
        return m_queue[position];
    }
    T& Get(std::size_t position) override {
        assert(position < m_queue.size());
        return m_queue[position];
    }
    void PushBack(T element) override { m_queue.push_back(std::move(element)); }
    void PushFront(T element) override { Insert(0, std::move(element)); }
    void Insert(std::size_t position, T element) override {
        assert(position <= m_queue.size());
        m_queue.insert(At(position), std::move(element));
    }
    void Erase(std::size_t position) override {
        assert(position < m_queue.size());
        m_queue.erase(At(position));
    }
    void Clear() override { m_queue.clear(); }

    /// Reserves space for `size` elements in total if the queue can.
    void Reserve(std::size_t size) {
        if constexpr (requires { m_queue.reserve(size); }) m_queue.reserve(size);
    }

    // Hide the base's iterators: with the concrete type known, use the queue's own.
    auto begin() const { return m_queue.begin(); }
    auto end() const { return m_queue.end(); }
    auto begin() { return m_queue.begin(); }
    auto end() { return m_queue.end(); }

private:
    auto At(std::size_t position) { return m_queue.begin() + static_cast<std::ptrdiff_t>(position); }

    Queue m_queue;
};

} // namespace Quarn
