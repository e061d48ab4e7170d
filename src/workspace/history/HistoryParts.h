#pragma once

#include <vector>

#include "collection/store/CrumbStore.h"
#include "platform/Platform.h"
#include "workspace/history/StepLog.h"
#include "workspace/history/ValueStore.h"

namespace nookery {

/// What the classes of the history work on together; the history owns it. Main thread.
struct HistoryParts {
    HistoryParts(const Platform& services, LibraryLayout places, CrumbStore& library)
        : platform(services), layout(std::move(places)), store(library), log(platform, library) {}

    Platform platform;
    LibraryLayout layout;
    CrumbStore& store;
    StepLog log;
    std::vector<ValueStore*> values;
    CallbackGuard guard;

    /// Throws Error when nothing that is open holds such values.
    ValueStore& valuesOf(ChangedThing thing) const {
        for (ValueStore* each : values) {
            if (each->holds(thing)) return *each;
        }
        throw Error("What this step changed is not open.");
    }
};

}  // namespace nookery
