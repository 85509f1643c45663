// SPDX-License-Identifier: MIT
#pragma once

#include <secprov/sspi.h>

/// Checks the certificate of the peer of a session that stands: made for a server (`isServerPeer`) of this
/// name or for a client, in date, and with a chain to an authority that is trusted. `checks` is the policy's
/// own field, 0 for all. 0 if the peer is accepted, else a status. Revocation is not looked at.
[[nodiscard]] SECURITY_STATUS validatePeer(CtxtHandle* context, DWORD checks, int isServerPeer,
                                           const char* serverName);
