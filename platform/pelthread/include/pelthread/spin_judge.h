// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

/// Says whether a thread that has nothing to do is to look for work for a moment before it sleeps, by how
/// often that found some of late. A look that finds something saves a change of thread; one that finds
/// nothing costs several times that, taken from whoever could have used the processor. Any thread may call at
/// any time; threads that meet may lose one another's look, which does not matter.
class PEL_SpinJudge {
public:
    bool is_worth_it() {
        if (score.load(std::memory_order_relaxed) > 0) return true;
        // Now and then one look finds out whether times have changed.
        return skipped.fetch_add(1, std::memory_order_relaxed) % kTryAfter == kTryAfter - 1;
    }

    void looked(bool found) {
        const int before = score.load(std::memory_order_relaxed);
        const int after = found ? before + kGain : before - kLoss;
        score.store(after < 0 ? 0 : after > kMost ? kMost : after, std::memory_order_relaxed);
    }

private:
    static constexpr int kGain = 1;  // three looks of four have to find something
    static constexpr int kLoss = 3;
    static constexpr int kMost = 30;
    static constexpr unsigned kTryAfter = 16;

    std::atomic<int> score = kMost;
    std::atomic<unsigned> skipped = 0;
};
