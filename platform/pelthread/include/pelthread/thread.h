// SPDX-License-Identifier: MIT
#pragma once

/// What a thread can do to itself.
class PEL_Thread {
public:
    /// Gives up the processor for now.
    static void yield();

    /// Sleeps `seconds`, also through signals; zero and less return at once.
    static void delay(double seconds);
};
