#pragma once

#include <utility>

namespace quorl {

/// Shared pointer to an X that carries its own count (a `numcore::ref_counted`).
template <class X>
class Ptr {
public:
    Ptr() noexcept = default;
    Ptr(X* object) noexcept : object_(object) {
        if (object_)
            object_->__acquire();
    }
    Ptr(const Ptr& other) noexcept : Ptr(other.object_) {}
    Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ~Ptr() {
        if (object_)
            object_->__release();
    }

    Ptr& operator=(const Ptr& other) noexcept { return *this = other.object_; }
    Ptr& operator=(Ptr&& other) noexcept {
        Ptr taken(std::move(other));
        std::swap(object_, taken.object_);
        return *this;
    }
    /// Takes a reference to the new object first and drops the old one then, so that assigning what is held is safe.
    Ptr& operator=(X* object) noexcept {
        Ptr taken(object);
        std::swap(object_, taken.object_);
        return *this;
    }

    X* get() const noexcept { return object_; }
    X& operator*() const noexcept { return *object_; }
    X* operator->() const noexcept { return object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }

private:
    X* object_ = nullptr;
};

} // namespace quorl
