// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

/// Whose turn it is to wait for readable connections: the server's loop, or a worker that has just served
/// one.
///
/// While calls come thick and fast, a worker that is done looks for the next one itself, and the loop need
/// not be woken for each: that saves two changes of thread a call. The loop waits until no worker wants the
/// turn any more, and takes it from a worker whose call takes long. One at a time waits on the wait handle: a
/// worker that has the turn is `looking` then, and cannot lose it.
class WaitTurn {
public:
    /// How often the loop looks after workers that have the turn, and how long a call may keep it.
    static constexpr auto kTick = std::chrono::microseconds(500);

    /// A worker's: takes the turn if nobody has it, to look at once. 0 if it cannot be had, else its number.
    std::uint64_t try_take();
    /// The worker is about to serve a request that it found; the loop may take the turn from now on.
    void serve(std::uint64_t number);
    /// The request is served: true if the turn is still the worker's, who looks again.
    bool look_again(std::uint64_t number);
    /// Gives the turn back, if it is the worker's still. `wake`: nobody else is going to take it soon.
    void give_back(std::uint64_t number, bool wake);

    /// The loop's: waits at most a tick until the turn can be had, and takes it. False if it cannot.
    bool take_for_loop(bool at_once);
    /// The loop lets go of the turn.
    void offer();
    /// No worker gets the turn any more; the loop does not wait.
    void end();

private:
    enum class Owner { nobody, loop, looking_worker, serving_worker };

    std::mutex mutex;
    std::condition_variable changed;
    Owner owner = Owner::nobody;
    std::uint64_t number_ = 0;   ///< of the turn that a worker has or had last
    std::uint64_t progress = 0;  ///< rises with each request served in turn
    std::uint64_t seen = 0;      ///< what the loop saw of it a tick ago
    bool wanted = false;         ///< the loop was called
    bool ended = false;
};
