// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>

struct _SOAP_Connection;

/// Connections that became ready together and wait for the worker that found them, which serves them one
/// after the other. To wake another worker costs more than to serve a few short calls, and on a machine whose
/// processors are all busy it only takes the time from somebody else. Where calls have taken long of late,
/// nothing is kept for one worker; where one takes long all of a sudden, the server's loop hands on what
/// waits behind it.
class ReadyBatch {
public:
    /// What waits in a batch is served within about so long.
    static constexpr std::int64_t kMostTime = 150'000;  // nanoseconds

    /// A call took so long. May be called by many threads.
    void note(std::chrono::nanoseconds call);
    /// How many further connections one worker serves within `kMostTime`.
    [[nodiscard]] std::size_t room() const;

    [[nodiscard]] bool calls_are_short() const { return room() > kFew; }

    void put(_SOAP_Connection* connection);
    /// The one that has waited longest, null if there is none.
    _SOAP_Connection* take();

private:
    static constexpr std::size_t kFew = 2;

    std::mutex mutex;
    _SOAP_Connection* first = nullptr;
    _SOAP_Connection* last = nullptr;
    std::atomic<std::int64_t> usual = kMostTime;  ///< how long calls take, in nanoseconds
};
