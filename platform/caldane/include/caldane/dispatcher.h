// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

/// The worker threads of the process. Tasks start in the order in which they came.
///
/// The pool keeps few threads while tasks are short. When tasks wait and every worker is blocked it grows, up
/// to the property `dispatcher_threads` (256), and it shrinks again when workers find nothing to do for a
/// while. Safe for any thread.
class Dispatcher {
public:
    Dispatcher() = delete;

    using Function = void (*)(void*);

    /// Has a worker call `function(argument)` and returns at once. What the task throws ends with the task.
    static void new_task(Function function, void* argument);

    /// Tasks that no worker has begun.
    [[nodiscard]] static std::size_t waiting() noexcept;
    /// Tasks that have begun and not ended.
    [[nodiscard]] static std::size_t running() noexcept;
    /// Threads of the pool.
    [[nodiscard]] static std::size_t workers() noexcept;

    /// The most threads that the pool may have: `dispatcher_threads`.
    [[nodiscard]] static std::size_t most_workers();

    /// Waits until no task waits or runs, at most `seconds`; true if that came. Not from within a task.
    [[nodiscard]] static bool drain(double seconds);

    /// Drains, at most `seconds`, and ends the idle threads; true if all threads have ended. Later tasks
    /// start the pool anew. Not from within a task.
    static bool stop(double seconds);
};
