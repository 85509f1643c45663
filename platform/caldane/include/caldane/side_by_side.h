// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <iosfwd>

namespace Caldane {

/// How long calls took that were made side by side.
struct CallTimes {
    using Duration = std::chrono::steady_clock::duration;

    std::size_t calls = 0;  ///< that were made to their end
    Duration in_all{};
    Duration least{}, middle{}, most_of_100{}, longest{};  ///< `most_of_100`: 99 of 100 took no longer

    [[nodiscard]] double per_second() const;
};

/// One line: "1000 calls, 5400 a second; least 10.1 ms, middle 10.2 ms, 99 % within 11.0 ms, longest 12.3
/// ms".
std::ostream& operator<<(std::ostream& out, const CallTimes& times);

/// Makes `call` so many times, by so many threads (1 or more) side by side, and gives the times. What a call
/// throws ends all and is thrown again here. The calls of several threads to one endpoint share connections:
/// the property SOAP_CLIENT_CONNECTIONS is set to the number of threads unless it is set already.
CallTimes call_side_by_side(std::size_t threads, std::size_t calls, const std::function<void()>& call);

/// Takes `--threads N` out of a program's arguments: N, or 0 where it is not there. Throws SetupError where N
/// is not a number from 1 to 10,000.
std::size_t take_threads(int& argc, char** argv);

}  // namespace Caldane
