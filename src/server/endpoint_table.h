// SPDX-License-Identifier: MIT
#pragma once

#include <rusk/hash_tbl.h>

#include <cstdint>

#include "transport/broker.h"

/// Which object is reached under which address of this process: from "PORT/PATH", the path without its
/// leading
/// "/", to the object's key. Entries stay for the life of the process. Safe for any thread.
using EndpointTable = RUSK_LockedHashTbl<_Caldane_String, _Caldane_String>;

/// The one table; made by the library's static initialisers.
EndpointTable& endpoint_table();

/// The last character, as a signed byte; 0 for the empty key. Keys that differ in the case of their last
/// letter are therefore different keys, although `compare_endpoints` ignores case.
std::uint32_t hash_endpoint(_Caldane_String key);

/// 0 for keys that are equal without regard to case. A null key, whose text memory did not suffice for,
/// equals none.
int compare_endpoints(_Caldane_String a, _Caldane_String b);
