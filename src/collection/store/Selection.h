#pragma once

#include <optional>
#include <set>
#include <unordered_set>
#include <utility>

#include "foundation/Published.h"
#include "foundation/Uuid.h"

namespace nookery {

/// What is selected in the main list. Main thread.
class Selection {
  public:
    const Published<std::optional<Uuid>>& focus() const { return focus_; }
    const Published<std::set<Uuid>>& all() const { return all_; }

    void setFocus(std::optional<Uuid> id) { focus_.set(id); }
    void set(std::set<Uuid> ids) { all_.set(std::move(ids)); }
    void clear() {
        all_.set({});
        focus_.set(std::nullopt);
    }
    /// Removed memories are not selected any more.
    void forget(const std::unordered_set<Uuid>& ids) {
        all_.update([&](auto& selected) {
            std::erase_if(selected, [&](const Uuid& id) { return ids.contains(id); });
        });
        if (*focus_ && ids.contains(**focus_)) focus_.set(std::nullopt);
    }

  private:
    Published<std::optional<Uuid>> focus_;
    Published<std::set<Uuid>> all_;
};

}  // namespace nookery
