// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <future>
#include <map>
#include <memory>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

class _Caldane_ImplBase;

/// The servants of the process under the names by which requests ask for them.
///
/// A call holds its servant while it uses it, so the table knows when the last one has ended. Names are
/// looked up by many workers at once, and changed seldom.
class ServantTable {
public:
    using Held = std::shared_ptr<_Caldane_ImplBase>;
    using Names = std::vector<std::string>;

    /// Whoever is in this scope is not made to wait by `take_out`: a call that waited for the end of calls
    /// could wait for itself, or for one that waits for it.
    class InCall {
    public:
        InCall() { ++depth; }
        ~InCall() { --depth; }
        InCall(const InCall&) = delete;
        InCall& operator=(const InCall&) = delete;
        static bool here() { return depth > 0; }

    private:
        static inline thread_local int depth = 0;
    };

    /// The servant under a name, to be held no longer than its call; null if there is none.
    Held find(std::string_view name) const;
    /// The same for a look alone.
    const _Caldane_ImplBase* at(std::string_view name) const { return find(name).get(); }

    /// Makes the servant known under those of the names that are free, and gives these. With `owner` the
    /// table keeps it until it is taken out and its last call has ended.
    Names enter(const Names& names, _Caldane_ImplBase& servant, const Held& owner);
    /// Takes names away from a servant whose owner, if it has one, is there besides the table.
    void forget(_Caldane_ImplBase& servant, const Names& names);

    /// Later calls do not find the servant. Waits until the calls that are in it have ended, as long as
    /// `may_wait()` gives true, and not at all in a call; the result tells whether they have.
    bool take_out(const _Caldane_ImplBase& servant, bool (*may_wait)());
    /// Takes out what has an owner, without waiting.
    void let_go();

private:
    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };
    struct Use {
        std::promise<void> ended;
        Held owner;
    };
    struct Known {
        Held held;
        std::shared_ptr<Use> use;
        std::shared_future<void> unused;  // ready when nobody holds it any more
    };

    static Known known(_Caldane_ImplBase& servant);
    static bool is_ready(const std::shared_future<void>& unused);

    mutable std::shared_mutex mutex;
    std::unordered_map<std::string, Held, TextHash, std::equal_to<>> names;
    std::map<const _Caldane_ImplBase*, Known> servants;
    std::multimap<const _Caldane_ImplBase*, std::shared_future<void>> leaving;
};
