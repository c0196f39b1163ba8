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

// The same for a plain field that lives in an array or a struct shared with other code.
template <typename T>
T loadRelaxed(const T& field) noexcept {
    return std::atomic_ref<const T>(field).load(std::memory_order_relaxed);
}
template <typename T>
void storeRelaxed(T& field, T value) noexcept {
    std::atomic_ref<T>(field).store(value, std::memory_order_relaxed);
}
