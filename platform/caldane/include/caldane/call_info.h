// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

#include <pelthread/memory.h>

#include <caldane/basic.h>
#include <caldane/boolean.h>
#include <caldane/exception_base.h>
#include <caldane/string.h>

class _Caldane_CallInfo;

namespace Caldane {

/// How a user exception that an operation may raise is made and thrown; see `declared`.
struct DeclaredException {
    _Caldane_ExceptionBase* (*make)(const void* type);  ///< a new one, null when memory ends
    void (*raise)(
        const _Caldane_ExceptionBase& stored);  ///< throws a copy if it is of this type, else returns
    bool (*matches)(const _Caldane_ExceptionBase& thrown);
    const void* type = nullptr;  ///< what `make` is given: a type made at run time
};

}  // namespace Caldane

/// What went wrong in a call: the exceptions that its operation declares, and the one that came back.
class _Caldane_CallException {
public:
    _Caldane_CallException() = default;
    ~_Caldane_CallException();
    _Caldane_CallException(const _Caldane_CallException&) = delete;
    _Caldane_CallException& operator=(const _Caldane_CallException&) = delete;

    /// The holder of the call; null when memory ends.
    static _Caldane_CallException* lookup_or_add(const _Caldane_CallInfo& info);

    /// Stores an exception in place of an earlier one: a copy with ownership 0, the heap object itself
    /// with 1.
    void exception(_Caldane_ExceptionBase* thrown, Caldane::Ownership ownership);
    void exception(const _Caldane_ExceptionBase& thrown,
                   Caldane::Ownership ownership = Caldane::Ownership(0));

    /// The same through the call's information; false when memory ends.
    static _Caldane_Boolean exception(const _Caldane_CallInfo& info, _Caldane_ExceptionBase* thrown,
                                      Caldane::Ownership ownership);
    static _Caldane_Boolean exception(const _Caldane_CallInfo& info, const _Caldane_ExceptionBase& thrown,
                                      Caldane::Ownership ownership = Caldane::Ownership(0));

    /// A new exception, the caller's, of the declared type that an element of this name and namespace stands
    /// for; null if the operation declares none. The name is the repository id's part between its colons
    /// with `:` for `/`, without the first component (which is the element's prefix) or with it, or its last
    /// component alone; exact case is tried first. The namespace must be the exception's own where the name
    /// leaves a choice. `kind` 1 means a user exception; others find nothing.
    _Caldane_ExceptionBase* find_exception(const _Caldane_String& name_space, const _Caldane_String& name,
                                           std::int32_t kind);

    /// Says which exceptions the operation declares; the table must outlive the call.
    void declare(const Caldane::DeclaredException* table, std::size_t count);

    /// What was stored, or null.
    const _Caldane_ExceptionBase* stored() const { return stored_; }
    void clear();

private:
    _Caldane_ExceptionBase* stored_ = nullptr;
    const Caldane::DeclaredException* declared = nullptr;
    std::size_t declared_count = 0;
};

/// How far away the other side is, as a power of ten of seconds.
class _Caldane_PerformanceMetric {
public:
    static _Caldane_PerformanceMetric* lookup_or_add(const _Caldane_CallInfo& info);

    /// The magnitude of the time between call and answer: -2 stands for hundredths of a second.
    void rtt_magnitude(std::int32_t value) { magnitude = value; }
    std::int32_t rtt_magnitude() const { return magnitude; }

private:
    std::int32_t magnitude = 0;
};

/// How long a call takes: no time at all for its caller (one-way), or at most so many seconds.
class _Caldane_CallDuration {
public:
    static _Caldane_CallDuration* lookup_or_add(const _Caldane_CallInfo& info);

    /// True for a call that expects no answer.
    static bool is_oneway(const _Caldane_CallInfo& info);
    /// Seconds after which the call is to fail; 0 is no limit.
    static double time_limit(const _Caldane_CallInfo& info);

    /// When the call that this thread makes now is to have ended, all waiting included; `max()` for none.
    static std::chrono::steady_clock::time_point end_of_call();

    void oneway(bool flag) { oneway_ = flag; }
    void limit(double seconds) { limit_ = seconds; }

private:
    bool oneway_ = false;
    double limit_ = 0;
};

/// What a transport can tell about a call beyond its exception. Per call, so any thread's calls are apart.
class _Caldane_CallDiagnostics {
public:
    static _Caldane_CallDiagnostics* lookup_or_add(const _Caldane_CallInfo& info);

    /// Free text on what failed, for people: "connection refused". The last one counts.
    static void describe(const _Caldane_CallInfo& info, const _Caldane_String& text);
    /// What was described; a null string if nothing was.
    static _Caldane_String text(const _Caldane_CallInfo& info);

    /// The transport can prove that no byte of the request reached the server.
    static void not_delivered(const _Caldane_CallInfo& info, bool flag);
    static bool not_delivered(const _Caldane_CallInfo& info);

    /// The kind of the failure of a call that is left by an exception which says less; -1, the default, for
    /// none.
    static void kind(const _Caldane_CallInfo& info, std::int32_t known);
    static std::int32_t kind(const _Caldane_CallInfo& info);

private:
    _Caldane_String text_;
    std::int32_t kind_ = -1;
    bool not_delivered_ = false;
};

/// The information of one call: a bag to which the broker's features attach themselves on demand.
///
/// A copy shares what is attached, also what is attached later, so that an exception stored through the copy
/// is seen by the owner of the original. One thread at a time per object; copies may be on several threads.
class _Caldane_CallInfo {
public:
    _Caldane_CallInfo() noexcept = default;
    _Caldane_CallInfo(const _Caldane_CallInfo& other) noexcept;
    _Caldane_CallInfo& operator=(const _Caldane_CallInfo& other) noexcept;
    ~_Caldane_CallInfo();

    struct Features;
    /// What is attached, null if nothing is.
    Features* features() const { return attached; }
    /// The same, made if needed; null when memory ends.
    Features* features_or_add() const noexcept;

private:
    void release() noexcept;
    mutable Features* attached = nullptr;
};
