// SPDX-License-Identifier: MIT
#pragma once

struct _SOAP_Connection;
class _SOAP_ConnectionList;

/// Takes the `_SOAP_Connection` that `argument` points to, which became ready, as far as it can be taken
/// without waiting for its peer: through steps of its handshake, a request that is there with its call and
/// reply, or what is still to be sent. Afterwards it waits in its list again or is closed; nothing is thrown.
///
/// A worker that is done looks for a moment whether another connection has become ready, and goes on with
/// that as if it were a task of its own.
void serve_connection(void* argument);

/// Gives the dispatcher what waits for the worker with the turn.
void hand_on_batch(_SOAP_ConnectionList& list);

/// For a connection that the list gave because its time is over: closes it, or has a worker answer what has
/// come, or lets it wait on where its peer is slow but steady. Takes little time.
void expire_connection(_SOAP_Connection* connection);

/// Closes and deletes a connection that no list has.
void end_connection(_SOAP_Connection* connection);
