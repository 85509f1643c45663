// SPDX-License-Identifier: MIT
#pragma once

/// Serves a request from the `_SOAP_Connection` that `argument` points to, which was taken from its list and
/// became readable. Afterwards the connection is back in its list or closed; nothing is thrown.
///
/// A worker that is done looks for a moment whether another connection has become readable, and serves that
/// as if it were a task of its own.
void serve_connection(void* argument);
