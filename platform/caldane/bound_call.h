// SPDX-License-Identifier: MIT
#pragma once

#include <caldane/ior.h>

/// Says for its scope through which profile this thread's call on a reference goes, whatever other threads
/// bind meanwhile; and keeps with the reference what was bound last.
class _Caldane_BoundCall {
public:
    _Caldane_BoundCall(_IOP_IOR& ior, const _IOP_Profile& bound);
    ~_Caldane_BoundCall();
    _Caldane_BoundCall(const _Caldane_BoundCall&) = delete;
    _Caldane_BoundCall& operator=(const _Caldane_BoundCall&) = delete;

    /// The profile of this thread's call on `ior`, null if it is in none.
    static const _IOP_Profile* find(const _IOP_IOR& ior);

    static _IOP_Profile last_bound(const _IOP_IOR& ior);
    static void remember(_IOP_IOR& ior, const _IOP_Profile& profile);

private:
    const _IOP_IOR& ior_;
    const _IOP_Profile& profile_;
    const _Caldane_BoundCall* outer;
};
