// SPDX-License-Identifier: MIT
#pragma once

#include "openssl_handles.h"

/// Has a server's context give tickets and take up the sessions in them, with keys of its own: a ticket is
/// good for this context alone. Throws std::bad_alloc.
void give_tickets(SSL_CTX* context);

/// What the peer sent above its certificate, also where the session takes up an earlier one: a server's
/// ticket keeps it, so that the certificate can be checked again. Throws std::bad_alloc.
CertificatesHandle peer_chain(SSL* session);
