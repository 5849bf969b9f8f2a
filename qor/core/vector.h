// ds::Vector: a growing array that never throws where it can answer instead.
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

namespace qor::ds {

/// A row of `T`s in one array, which is obtained with `new[]` and released with `delete[]`. An operation that may need
/// memory answers false where there is none, and has then changed nothing; only copying throws (std::bad_alloc).
///
/// `T` is default-constructed for every place of the capacity, and moved when the array grows.
template <typename T>
class Vector {
 public:
    using value_type = T;
    using iterator = T*;
    using const_iterator = const T*;

    Vector() = default;

    /// Throws std::bad_alloc.
    Vector(std::initializer_list<T> values) { copy(values.begin(), values.size()); }
    Vector(const Vector& other) { copy(other.data_, other.size_); }
    Vector(Vector&& other) noexcept { swap(other); }

    Vector& operator=(const Vector& other) {
        if (this != &other) *this = Vector(other);
        return *this;
    }
    Vector& operator=(Vector&& other) noexcept {
        Vector(std::move(other)).swap(*this);
        return *this;
    }

    /// Destroys the elements from the last to the first.
    ~Vector() { delete[] data_; }

    T* data() { return data_; }
    const T* data() const { return data_; }
    std::size_t size() const { return size_; }
    std::size_t capacity() const { return capacity_; }
    bool isEmpty() const { return size_ == 0; }

    T& operator[](std::size_t i) { return data_[i]; }
    const T& operator[](std::size_t i) const { return data_[i]; }
    T* begin() { return data_; }
    T* end() { return data_ + size_; }
    const T* begin() const { return data_; }
    const T* end() const { return data_ + size_; }

    /// Takes `n` elements, the new ones value-initialised: numbers are 0. A smaller `n` keeps the array.
    bool resize(std::size_t n) {
        const std::size_t old = size_;
        if (!resizeForOverwrite(n)) return false;
        for (std::size_t i = old; i < n; ++i) data_[i] = T();
        return true;
    }

    /// As `resize`, but new numbers hold anything at all, for a caller who is about to write each of them.
    bool resizeForOverwrite(std::size_t n) {
        if (n > capacity_ && !moveTo(n)) return false;
        if constexpr (!std::is_trivially_destructible_v<T>) {
            for (std::size_t i = size_; i > n; --i) data_[i - 1] = T();
        }
        size_ = n;
        return true;
    }

    /// Adds an element at the end. Any number of them takes time in proportion.
    bool append(T value) {
        if (size_ == capacity_ && !moveTo(std::max<std::size_t>(8, size_ + size_ / 2))) return false;
        data_[size_++] = std::move(value);
        return true;
    }

    /// Gives back the part of the array that holds no element, if there is memory to move to.
    void shrinkToFit() {
        if (size_ == 0) {
            clear();
        } else if (size_ < capacity_) {
            static_cast<void>(moveTo(size_));
        }
    }

    /// Releases the array: size and capacity are 0 afterwards.
    void clear() { Vector().swap(*this); }

    void swap(Vector& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
    }

    friend bool operator==(const Vector& a, const Vector& b) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }

 private:
    void copy(const T* from, std::size_t n) {
        if (n == 0) return;
        if (!moveTo(n)) throw std::bad_alloc();
        Vector kept;
        kept.swap(*this);  // so that the array is released if copying an element throws
        std::copy(from, from + n, kept.data_);
        kept.size_ = n;
        swap(kept);
    }

    // Moves the elements to an array of `n` places, of which there are at least as many as elements.
    bool moveTo(std::size_t n) {
        if (n > static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max()) / sizeof(T)) return false;
        T* const moved = new (std::nothrow) T[n];
        if (!moved) return false;
        std::move(data_, data_ + size_, moved);
        delete[] data_;
        data_ = moved;
        capacity_ = n;
        return true;
    }

    T* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

}  // namespace qor::ds
