// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>
#include <vector>

#include <caldane/transport.h>

/// The transports that are registered now, in the order of their registration.
///
/// The mutex is the broker's binding mutex too: it is held while a client is looked up, bound or unbound, so
/// that a client cannot go between being found and being referenced. Nothing under it touches the network: a
/// client that ends meanwhile says its goodbye behind the lock.
struct TransportTable {
    static TransportTable& instance();

    std::mutex mutex;
    std::vector<_Caldane_Transport_Info*> transports;
};

/// The binding mutex, held. A transport that is asked to bind may ask a reference for its profiles, which
/// must not start a binding of its own: `held()` tells that this thread is in one.
class BindingLock {
public:
    BindingLock() : guard(TransportTable::instance().mutex) { here = true; }
    BindingLock(const BindingLock&) = delete;
    BindingLock& operator=(const BindingLock&) = delete;
    ~BindingLock() { here = false; }

    static bool held() { return here; }

private:
    static inline thread_local bool here = false;

    const _Caldane_Transport_RPC_Client::EndsLater ends_later;
    std::lock_guard<std::mutex> guard;
};
