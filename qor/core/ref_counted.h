// Objects that count their references, and the pointer that keeps such an object alive.
#pragma once

#include <atomic>
#include <cstdint>

namespace qor {

/// An object that counts the references to it, and knows what to do when the last one goes.
class IRefCounted {
 public:
    virtual void incRef() = 0;
    virtual void decRef() = 0;

 protected:
    constexpr IRefCounted() = default;
    IRefCounted(const IRefCounted&) = default;
    IRefCounted& operator=(const IRefCounted&) = default;
    ~IRefCounted() = default;
};

/// Base of heap objects that delete themselves when the last reference goes. The count starts at 0: the first holder
/// takes the first reference. Counting is safe from several threads at once; the object itself is as safe as it makes
/// itself.
class RefCounted : public IRefCounted {
 public:
    RefCounted() = default;
    RefCounted(const RefCounted&) = delete;
    RefCounted& operator=(const RefCounted&) = delete;

    void incRef() override { references.fetch_add(1, std::memory_order_relaxed); }
    void decRef() override {
        if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }

    virtual ~RefCounted() = default;

 private:
    std::atomic<std::int64_t> references = 0;
};

/// A pointer that holds one reference to its target, or is null.
template <typename T>
class RefersTo {
 public:
    RefersTo() = default;
    RefersTo(T* newTarget) noexcept : target(newTarget) {
        if (target) target->incRef();
    }
    RefersTo(const RefersTo& other) noexcept : RefersTo(other.target) {}
    RefersTo(RefersTo&& other) noexcept : target(other.target) { other.target = nullptr; }

    /// The new target is held before the old one is let go, so that a pointer may be assigned to itself, and an object
    /// may be replaced by one that it alone keeps alive.
    RefersTo& operator=(const RefersTo& other) noexcept {  // NOLINT(bugprone-unhandled-self-assignment,cert-oop54-cpp)
        T* const previous = target;
        if (other.target) other.target->incRef();
        target = other.target;
        if (previous) previous->decRef();
        return *this;
    }

    virtual ~RefersTo() {
        if (target) target->decRef();
    }

    T* get() const { return target; }

 private:
    T* target = nullptr;
};

}  // namespace qor
