#pragma once
// A scalar written by one thread and read by another without a lock. The design accepts
// stale reads of such fields; relaxed atomics keep that behaviour free of data races.

#include <atomic>

template <typename T>
class Relaxed {
public:
    constexpr Relaxed(T value = T()) noexcept : value_(value) {}
    Relaxed(const Relaxed& other) noexcept : value_(other.load()) {}
    Relaxed& operator=(const Relaxed& other) noexcept {
        store(other.load());
        return *this;
    }
    Relaxed& operator=(T value) noexcept {
        store(value);
        return *this;
    }
    operator T() const noexcept { return load(); }

    T load() const noexcept { return value_.load(std::memory_order_relaxed); }
    void store(T value) noexcept { value_.store(value, std::memory_order_relaxed); }

private:
    std::atomic<T> value_;
};
