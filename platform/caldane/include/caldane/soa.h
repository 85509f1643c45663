// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string_view>

#include <caldane/context.h>
#include <caldane/object.h>
#include <caldane/peer.h>
#include <caldane/properties.h>
#include <caldane/string.h>

class _Caldane_ImplBase;

/// The object adapter and what belongs to the process as a whole.
namespace SOA {

/// The process's properties; valid as long as the process.
_Caldane_Properties& getProperties();

/// The context of the calling thread.
_Caldane_Context& get_default_context();

/// A text that names this process's endpoint, for logs of people: host name and process id.
const _Caldane_String& endpoint();

/// Counts what there is only so much of. Safe for any thread, without a lock.
class ResourceCounter {
public:
    explicit ResourceCounter(std::int64_t limit) : limit_(limit) {}
    ResourceCounter(const ResourceCounter&) = delete;
    ResourceCounter& operator=(const ResourceCounter&) = delete;

    /// True if a unit may be had now.
    [[nodiscard]] bool available() const { return in_use() < limit(); }
    /// Takes a unit; false when none is left.
    [[nodiscard]] bool acquire();
    /// Gives one back; nothing if none is taken.
    void release();

    [[nodiscard]] std::int64_t in_use() const { return used.load(std::memory_order_relaxed); }
    [[nodiscard]] std::int64_t limit() const { return limit_.load(std::memory_order_relaxed); }
    /// A new limit; units beyond it stay taken.
    void limit(std::int64_t value) { limit_.store(value, std::memory_order_relaxed); }

private:
    std::atomic<std::int64_t> used{0};
    std::atomic<std::int64_t> limit_;
};

/// Open sockets of the process. The limit is the property `socket_limit`, else the system's limit of open
/// files less a reserve of 64.
ResourceCounter& socketResource();

/// Makes `servant` reachable under `address` (host:port/path, port 0 for one that the system chooses), known
/// to the adapter as `key`. The servant stays the caller's and must live until `withdraw` has given true or
/// `run` has ended. Throws Caldane::SetupError, which names the address and the reason; nothing is left
/// behind then, and the same may be tried again.
void publish(_Caldane_ImplBase& servant, std::string_view key, std::string_view address, bool secure = false);

/// The same for a servant that the adapter keeps, besides its other owners: until it is withdrawn, or the
/// broker is shut down, and its last call has ended.
void publish(const std::shared_ptr<_Caldane_ImplBase>& servant, std::string_view key,
             std::string_view address, bool secure = false);

/// Takes a servant away: later calls find no object. Waits for the calls that are in it, and gives true when
/// they have ended: then the servant is used no more. In a call, of this servant or of another, it does not
/// wait, since calls could wait for each other; it gives false then, as it does once the servers have ended
/// and the time for that is over.
bool withdraw(const _Caldane_ImplBase& servant);

/// The reference of a published servant, nil if it is not published.
_Caldane_Object reference(const _Caldane_ImplBase& servant);

/// Serves what was published until `stop`, SIGINT or SIGTERM; then accepts no more, lets running calls end
/// (10 s at most) and returns. Once a process.
void run();

/// Ends `run`; from any thread, also ahead of `run`.
void stop();

}  // namespace SOA
