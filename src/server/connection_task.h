// SPDX-License-Identifier: MIT
#pragma once

/// Serves a request from the `_SOAP_Connection` that `argument` points to, which was removed from its list
/// and became readable. Afterwards the connection is back in its list or closed; nothing is thrown.
///
/// Where the next request is there already, or comes within a few microseconds in which nothing else waits
/// for a worker, it is served at once as if it were a task of its own.
void serve_connection(void* argument);
