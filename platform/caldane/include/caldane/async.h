// SPDX-License-Identifier: MIT
#pragma once

#include <future>
#include <memory>
#include <type_traits>
#include <utility>

#include <caldane/dispatcher.h>
#include <caldane/invoke.h>
#include <caldane/soa.h>

namespace Caldane {

/// A worker's own context, empty: what it served before is nothing of the call's, nor the other way round.
class CleanContext {
public:
    CleanContext() { SOA::get_default_context().delete_values("*"); }
    ~CleanContext() { SOA::get_default_context().delete_values("*"); }
    CleanContext(const CleanContext&) = delete;
    CleanContext& operator=(const CleanContext&) = delete;
};

/// Has a worker of the dispatcher do `work`, which owns all that it needs, under the time limit for calls
/// that the calling thread has now. The future gives what it returns, or throws what it threw. Calls to one
/// endpoint share its connection: they take turns.
template <class Work>
std::future<std::invoke_result_t<Work&>> run_async(Work work) {
    using Task = std::packaged_task<std::invoke_result_t<Work&>()>;
    auto task = std::make_unique<Task>([work = std::move(work), seconds = CallTimeout::current()]() mutable {
        const CallTimeout limit(seconds);
        const CleanContext context;
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
