// SPDX-License-Identifier: MIT
#pragma once

/// Remembers a system error number for `vqNetErrorText` and gives it back.
int vq_fail(int error_number);

/// The same for a result of `getaddrinfo`; gives a number that is not 0.
int vq_fail_lookup(int lookup_result);
