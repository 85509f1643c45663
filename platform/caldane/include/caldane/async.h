// SPDX-License-Identifier: MIT
#pragma once

#include <future>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include <caldane/context.h>
#include <caldane/dispatcher.h>
#include <caldane/invoke.h>
#include <caldane/soa.h>

namespace Caldane {

/// A worker's own context, for a call that has only what its caller had set by then: what the worker served
/// before is nothing of the call's, nor the other way round.
class CleanContext {
public:
    explicit CleanContext(const _Caldane_NVList* given) {
        SOA::get_default_context().delete_values("*");
        _Caldane_NamedValue* entry = nullptr;
        for (_Caldane_ULong at = 0; given != nullptr && given->item(at, entry); ++at)
            SOA::get_default_context().set_one_value(entry->name(), entry->value());
    }
    ~CleanContext() { SOA::get_default_context().delete_values("*"); }
    CleanContext(const CleanContext&) = delete;
    CleanContext& operator=(const CleanContext&) = delete;
};

/// Has a worker of the dispatcher do `work`, which owns all that it needs, under the time limit for calls
/// that the calling thread has now, and with the header entries that it has set; those of the reply stay
/// behind. The future gives what it returns, or throws what it threw.
template <class Work>
std::future<std::invoke_result_t<Work&>> run_async(Work work) {
    using Task = std::packaged_task<std::invoke_result_t<Work&>()>;
    std::shared_ptr<const _Caldane_NVList> entries;
    if (SOA::get_default_context().size() > 0) {
        entries.reset(SOA::get_default_context().get_values("*"));
        if (!entries) throw std::bad_alloc();
    }
    auto task = std::make_unique<Task>(
        [work = std::move(work), seconds = CallTimeout::current(), entries = std::move(entries)]() mutable {
            const CallTimeout limit(seconds);
            const CleanContext context(entries.get());
            return work();
        });
    auto result = task->get_future();
    Dispatcher::new_task(
        [](void* given) {
            const std::unique_ptr<Task> own(static_cast<Task*>(given));
            (*own)();
        },
        task.get());
    task.release();
    return result;
}

/// How generated code starts its asynchronous calls. They are templates over this class, so that those which
/// a program does not use cost it no compile time and no code.
struct Async {
    template <class Work>
    static auto start(Work work) {
        return run_async(std::move(work));
    }
};

}  // namespace Caldane
