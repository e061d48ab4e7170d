#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "foundation/ThreadCheck.h"

namespace nookery {

/// Keeps an observer attached while it lives. Destroying or resetting it detaches the observer;
/// it may outlive what it observes.
class Subscription {
  public:
    Subscription() = default;
    explicit Subscription(std::shared_ptr<void> observer) : observer_(std::move(observer)) {}

    void reset() { observer_.reset(); }

  private:
    std::shared_ptr<void> observer_;
};

/// A value that announces each change to its observers. Confined to one thread (the main one, for
/// the store's state). Observers are called after the change, in the order they subscribed, and
/// may subscribe and unsubscribe while being called.
template <typename T>
class Published {
  public:
    using Observer = std::function<void(const T&)>;

    Published() = default;
    explicit Published(T initial) : value_(std::move(initial)) {}
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;

    const T& get() const {
        thread_.demand();
        return value_;
    }
    const T& operator*() const { return get(); }
    const T* operator->() const { return &get(); }

    void set(T value) {
        thread_.demand();
        value_ = std::move(value);
        announce();
    }

    /// Changes the value in place and announces once, however much `change` did.
    template <typename Change>
    void update(Change&& change) {
        thread_.demand();
        std::forward<Change>(change)(value_);
        announce();
    }

    /// Changes the value in place; the observers see it when the next change is announced.
    template <typename Change>
    void updateQuietly(Change&& change) {
        thread_.demand();
        std::forward<Change>(change)(value_);
    }

    /// Const: whoever may read the value may also observe it.
    [[nodiscard]] Subscription subscribe(Observer observer) const {
        thread_.demand();
        auto held = std::make_shared<Observer>(std::move(observer));
        observers_.push_back(held);
        return Subscription(held);
    }

  private:
    void announce() {
        std::erase_if(observers_, [](const auto& observer) { return observer.expired(); });
        const auto current = observers_;
        for (const auto& weak : current) {
            if (const auto observer = weak.lock()) (*observer)(value_);
        }
    }

    ThreadCheck thread_;
    T value_{};
    mutable std::vector<std::weak_ptr<Observer>> observers_;
};

}  // namespace nookery
