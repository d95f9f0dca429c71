#pragma once

#include <atomic>
#include <memory>
#include <utility>

namespace reelwright {

/// A value behind a shared pointer that is copied when it is changed: copies of a Cow cost a count, and
/// `edit` gives this holder a value of its own first. Different holders may be used from different threads.
template <class T> class Cow
{
public:
    Cow()
        : m_node(new Node {})
    {
    }
    explicit Cow(T value)
        : m_node(new Node {std::move(value)})
    {
    }
    Cow(const Cow& other) noexcept
        : m_node(other.m_node)
    {
        if (m_node)
            m_node->holders.fetch_add(1, std::memory_order_relaxed);
    }
    Cow(Cow&& other) noexcept
        : m_node(std::exchange(other.m_node, nullptr))
    {
    }
    Cow& operator=(Cow other) noexcept
    {
        std::swap(m_node, other.m_node);
        return *this;
    }
    ~Cow() { release(); }

    const T& operator*() const { return m_node->value; }
    const T* operator->() const { return &m_node->value; }

    /// The value for changing; first a copy when somebody else holds it too.
    T& edit()
    {
        // The acquire pairs with the release of a holder that let go on another thread: its reads are over.
        if (m_node->holders.load(std::memory_order_acquire) != 1)
            *this = Cow(m_node->value);
        return m_node->value;
    }

private:
    struct Node
    {
        T value {};
        std::atomic<int> holders = 1;

        Node() = default;
        explicit Node(T initial)
            : value(std::move(initial))
        {
        }
    };

    void release() noexcept
    {
        if (m_node && m_node->holders.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete m_node;
    }

    Node* m_node;
};

} // namespace reelwright
