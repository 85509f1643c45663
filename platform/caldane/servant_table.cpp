// SPDX-License-Identifier: MIT
#include "servant_table.h"

#include <algorithm>
#include <chrono>
#include <mutex>

#include <caldane/servant.h>

namespace {

// Between two looks whether whoever waits for calls may go on waiting.
constexpr std::chrono::milliseconds kLook(50);

}  // namespace

ServantTable::Held ServantTable::find(std::string_view name) const {
    const std::shared_lock lock(mutex);
    const auto found = names.find(name);
    return found != names.end() ? found->second : nullptr;
}

/// What calls hold is a pointer of our own whose last copy tells that they have ended.
ServantTable::Known ServantTable::known(_Caldane_ImplBase& servant) {
    auto use = std::make_shared<Use>();
    const std::shared_future<void> unused = use->ended.get_future().share();
    const auto last_use = [use](_Caldane_ImplBase*) {
        const InCall not_to_wait;  // the servant may end here, and asks to be taken out then
        use->owner.reset();
        use->ended.set_value();
    };
    return {Held(&servant, last_use), use, unused};
}

bool ServantTable::is_ready(const std::shared_future<void>& unused) {
    return unused.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

ServantTable::Names ServantTable::enter(const Names& wanted, _Caldane_ImplBase& servant, const Held& owner) {
    const std::unique_lock lock(mutex);
    const auto [place, fresh] = servants.try_emplace(&servant);
    if (fresh) place->second = known(servant);
    if (owner) place->second.use->owner = owner;
    Names entered;
    for (const std::string& name : wanted) {
        if (names.try_emplace(name, place->second.held).second) entered.push_back(name);
    }
    return entered;
}

void ServantTable::forget(_Caldane_ImplBase& servant, const Names& unwanted) {
    const std::unique_lock lock(mutex);
    for (const std::string& name : unwanted) names.erase(name);
    const bool is_known = std::any_of(
        names.begin(), names.end(), [&servant](const auto& entry) { return entry.second.get() == &servant; });
    if (!is_known) servants.erase(&servant);
}

bool ServantTable::take_out(const _Caldane_ImplBase& servant, bool (*may_wait)()) {
    std::vector<std::shared_future<void>> ends;
    {
        Held dropped;  // behind the lock
        const std::unique_lock lock(mutex);
        std::erase_if(leaving, [](const auto& entry) { return is_ready(entry.second); });
        if (const auto found = servants.find(&servant); found != servants.end()) {
            std::erase_if(names, [&servant](const auto& entry) { return entry.second.get() == &servant; });
            leaving.emplace(&servant, found->second.unused);
            dropped = std::move(found->second.held);
            servants.erase(found);
        }
        const auto [first, last] = leaving.equal_range(&servant);
        for (auto entry = first; entry != last; ++entry) ends.push_back(entry->second);
    }
    return std::all_of(ends.begin(), ends.end(), [may_wait](const std::shared_future<void>& end) {
        while (!InCall::here() && !is_ready(end) && may_wait()) end.wait_for(kLook);
        return is_ready(end);
    });
}

void ServantTable::let_go() {
    std::vector<const _Caldane_ImplBase*> owned;
    {
        const std::shared_lock lock(mutex);
        for (const auto& [servant, entry] : servants) {
            if (entry.use->owner) owned.push_back(servant);
        }
    }
    for (const _Caldane_ImplBase* servant : owned) take_out(*servant, [] { return false; });
}
