// SPDX-License-Identifier: MIT
#include <caldane/basic.h>

#include <mutex>
#include <new>
#include <vector>

namespace Caldane {

namespace {

struct Callbacks {
    std::mutex mutex;
    std::vector<StageCallback> installed;
};

// Made at the first use and never destroyed: static initialisers install, static destructors may still ask.
Callbacks& callbacks() {
    static Callbacks& instance = *new Callbacks;
    return instance;
}

}  // namespace

int installCallback(StageCallback callback) {
    if (callback == nullptr) return 0;
    Callbacks& all = callbacks();
    const std::lock_guard lock(all.mutex);
    try {
        all.installed.push_back(callback);
    } catch (const std::bad_alloc&) {
        return 0;
    }
    return 1;
}

void runCallbacks(Stage stage) {
    Callbacks& all = callbacks();
    // A callback may install another, which then runs as well: so no iterator, and no lock while it runs.
    for (std::size_t i = 0;; ++i) {
        StageCallback next = nullptr;
        {
            const std::lock_guard lock(all.mutex);
            if (i >= all.installed.size()) return;
            next = all.installed[i];
        }
        next(stage);
    }
}

}  // namespace Caldane
