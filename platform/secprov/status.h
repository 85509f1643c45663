// SPDX-License-Identifier: MIT
#pragma once

#include <secprov/types.h>

/// The status that fits what OpenSSL reported last on this thread.
SECURITY_STATUS status_of_openssl_error();

/// Runs `action`, which gives a status; memory that ends on the way is a status as well.
template <class Action>
SECURITY_STATUS guarded(Action action);

/// Keeps the error for the caller's GetLastError; gives FALSE.
BOOL fail_with(DWORD error);

#include <new>

template <class Action>
SECURITY_STATUS guarded(Action action) {
    try {
        return action();
    } catch (const std::bad_alloc&) {
        return SEC_E_INSUFFICIENT_MEMORY;
    }
}
