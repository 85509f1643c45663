// SPDX-License-Identifier: MIT
#pragma once

#include <caldane/settings.h>

/// The properties that the transport reads: one row each, and no other place for their names and defaults.
/// Broker and transport show and check them by this table; `docs/configuration.md` is held against it.
inline constexpr Caldane::Setting kTransportSettings[] = {
    Caldane::Setting::flag("SOAP_CLIENT_CHUNKING", "send requests chunked"),
    Caldane::Setting::whole("SOAP_CLIENT_CONNECTIONS", "connections", 1, 1, 10000,
                            "how many a client keeps to an endpoint for calls side by side"),
    Caldane::Setting::whole("SOAP_CONNECT_ATTEMPTS", "attempts", 10, 1, 1e6,
                            "how often a client tries to connect, a second apart"),
    Caldane::Setting::number("SOAP_CONNECT_TIMEOUT", "seconds", 10, 0, 1e6,
                             "give up one attempt to connect after so long; 0: when the system does"),
    Caldane::Setting::flag("SOAP_ENABLE_RPC_ENCODER", "make calls in SOAP section 5 encoding"),
    Caldane::Setting::number("SOAP_HANDSHAKE_TIMEOUT", "seconds", 10, 0, 1e6,
                             "fail a TLS handshake that takes longer; 0: no limit"),
    Caldane::Setting::whole("SOAP_IDLE_TIMEOUT", "seconds", 60, 0, 1e6,
                            "close a server's connection on which no request begins for longer; 0: never"),
    Caldane::Setting::whole("SOAP_MAX_ATTRIBUTES", "attributes", 1000, 0, 1e6,
                            "the most attributes of one tag that is read; 0: no limit"),
    Caldane::Setting::whole("SOAP_MAX_BODY", "bytes", 256 << 20, 0, Caldane::Setting::kNoEnd,
                            "the largest body that is read; 0: no limit"),
    Caldane::Setting::whole("SOAP_MAX_BUFFERED", "bytes", 256 << 20, 0, Caldane::Setting::kNoEnd,
                            "what may wait in memory with a server's connections; 0: no limit"),
    Caldane::Setting::whole("SOAP_MAX_CONNECTIONS_PER_PEER", "connections", 0, 0, 1e9,
                            "how many one address may have with a server; 0: no limit"),
    Caldane::Setting::whole("SOAP_MAX_DEPTH", "elements", 5000, 0, 1e6,
                            "how deep elements may be nested that are read; 0: no limit"),
    Caldane::Setting::flag("SOAP_PROXY_CONNECT", "ask the proxy for a tunnel to the endpoint"),
    Caldane::Setting::number("SOAP_READ_TIMEOUT", "seconds", 30, 0, 1e6,
                             "close a server's connection on which nothing moves for so long; 0: never"),
    Caldane::Setting::whole("SOAP_STREAM_BODY", "bytes", 1 << 20, 0, Caldane::Setting::kNoEnd,
                            "larger requests are read by a worker as they come; 0: none are"),
    Caldane::Setting::text("SOAP_TLS_RESUMPTION", "on|off", "on", "take up earlier TLS sessions with a peer"),
    Caldane::Setting::flag("SOAP_TLS_WEAK_CIPHERS",
                           "also use ciphers without forward secrecy or authenticated encryption"),
    Caldane::Setting::text("SOAP_TRACE", "file", "none", "append all that connections carry to the file"),
    Caldane::Setting::flag("SOAP_UTF8_TEXT", "texts are UTF-8 and not one byte a character"),
    Caldane::Setting::flag("ZOLT_SSL", "understand references to secure endpoints besides plain ones"),
    Caldane::Setting::flag("ZOLT_SSL_CLIENT_AUTH", "demand a certificate of each client"),
    Caldane::Setting::text("ZOLT_SSL_EXACT_USR", "subject", "none",
                           "the certificate to show, by its subject"),
    Caldane::Setting::flag("ZOLT_SSL_NO_SERVER_AUTH", "do not check who the server is"),
    Caldane::Setting::flag("ZOLT_SSL_ONLY", "understand references to secure endpoints alone"),
    // What is no number counts as 0 in these two, and is not refused.
    Caldane::Setting::text("ZOLT_SSL_PROTO", "number", "0", "the TLS protocol; 0: the provider's default"),
    Caldane::Setting::text("ZOLT_SSL_USR", "part of a subject", "none", "the certificate to show"),
    Caldane::Setting::text("ZOLT_SSL_VENDOR", "number", "2", "the kind of security provider"),
    Caldane::Setting::text("default_SOAPAction", "action", "the operation's name", "the SOAPAction of calls"),
    Caldane::Setting::text("<oper>_ATTRIBUTE", "raw text", "none", "text for the start tag of one operation"),
    Caldane::Setting::text("<oper>_SOAPAction", "action", "default_SOAPAction", "that of one operation"),
    Caldane::Setting::text("proxy", "host:port", "none", "the proxy that clients connect to"),
};

/// The row of that name; one that is not in the table does not compile.
consteval const Caldane::Setting& setting(std::string_view name) {
    return Caldane::setting_in(kTransportSettings, name);
}
