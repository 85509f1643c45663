// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace Caldane {

/// Who frees what an operation is given.
enum Ownership : std::int32_t {
    OWNERSHIP_COPY = 0,  ///< the callee copies; the caller keeps its own
    OWNERSHIP_TAKE = 1,  ///< the callee takes the object over and frees it
};

/// The steps of a process's life at which installed callbacks are called; one passes over those that it does
/// not know.
enum Stage : std::int32_t {
    STAGE_INIT = 0,
    STAGE_SHUTDOWN = 1,
    STAGE_USAGE = 2,
    STAGE_REOPEN = 3,  ///< files that are written on are opened anew: their names may stand for others now
};

using StageCallback = void (*)(Stage stage);

/// Remembers a function to be called at each stage; may be called from static initialisers. The callbacks
/// run in the order of installing. 1, or 0 for a null function or when memory ends.
int installCallback(StageCallback callback);

/// Calls all installed callbacks in order.
void runCallbacks(Stage stage);

}  // namespace Caldane
