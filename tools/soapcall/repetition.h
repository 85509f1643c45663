// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <ostream>
#include <vector>

/// Times of calls that are repeated: a bar while they run, a summary at the end.
class Repetition {
public:
    using Clock = std::chrono::steady_clock;

    /// `bar` may be null: none is drawn.
    Repetition(std::size_t count, std::ostream* bar) : count_(count), bar_(bar) { times_.reserve(count); }

    void add(Clock::duration time);
    /// Calls a second, and the least, middle, 90th and 99th of a hundred, and longest time.
    void summarise(std::ostream& out);

private:
    void draw();

    std::size_t count_;
    std::ostream* bar_;
    int drawn_ = -1;  ///< per cent
    std::vector<Clock::duration> times_;
    Clock::time_point begun_ = Clock::now();
};
