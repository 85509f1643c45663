// SPDX-License-Identifier: MIT
#pragma once

#include "openssl_handles.h"

/// The authorities that are trusted now: the system's and those in the `root/` folders. What is kept from an
/// earlier call is used again while the files are the same. The caller owns a reference. Throws
/// std::bad_alloc.
TrustHandle trusted_authorities();
