// SPDX-License-Identifier: MIT
#include "server/wait_turn.h"

std::uint64_t WaitTurn::try_take() {
    const std::lock_guard lock(mutex);
    if (ended || wanted || owner != Owner::nobody) return 0;
    owner = Owner::looking_worker;
    ++progress;
    return ++number_;
}

void WaitTurn::serve(std::uint64_t number) {
    const std::lock_guard lock(mutex);
    if (owner == Owner::looking_worker && number == number_) owner = Owner::serving_worker;
}

bool WaitTurn::look_again(std::uint64_t number) {
    const std::lock_guard lock(mutex);
    if (ended || owner != Owner::serving_worker || number != number_) return false;
    owner = Owner::looking_worker;
    ++progress;
    return true;
}

void WaitTurn::give_back(std::uint64_t number, bool wake) {
    {
        const std::lock_guard lock(mutex);
        if (number != number_ || (owner != Owner::looking_worker && owner != Owner::serving_worker)) return;
        owner = Owner::nobody;
        if (!wake) return;
        wanted = true;
    }
    changed.notify_one();
}

bool WaitTurn::take_for_loop(bool at_once) {
    std::unique_lock lock(mutex);
    if (!at_once) changed.wait_for(lock, kTick, [this] { return wanted || ended; });
    const bool stalled = owner == Owner::serving_worker && progress == seen;
    seen = progress;
    if (!ended && owner != Owner::nobody && !stalled) return false;
    // A worker that is looking ends that within moments and finds the turn gone or the server ended.
    if (owner == Owner::looking_worker) return false;
    owner = Owner::loop;
    wanted = false;
    return true;
}

void WaitTurn::offer() {
    const std::lock_guard lock(mutex);
    if (owner == Owner::loop) owner = Owner::nobody;
}

void WaitTurn::end() {
    {
        const std::lock_guard lock(mutex);
        ended = true;
    }
    changed.notify_one();
}
