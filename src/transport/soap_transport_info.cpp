// SPDX-License-Identifier: MIT
#include "transport/soap_transport_info.h"

#include <vqsys/text.h>

#include <string>
#include <string_view>

#include "addressing/profile_tags.h"
#include "addressing/soap_profile.h"
#include "addressing/url.h"
#include "client/soap_client.h"
#include "server/soap_server.h"

namespace {

// Hundredths of a second lie between call and answer.
constexpr std::int32_t kRoundTripMagnitude = -2;

_Caldane_Transport_Info::Registration* registration = nullptr;

_Caldane_ULong tag_for(bool secure) {
    const bool encoder = SOA::getProperties().get("SOAP_ENABLE_RPC_ENCODER") != nullptr;
    if (encoder) return secure ? TAG_INTERNET_SOAPS_RPC : TAG_INTERNET_SOAP_RPC;
    return secure ? TAG_INTERNET_SOAPS_DOC : TAG_INTERNET_SOAP_DOC;
}

bool is_own(_Caldane_ULong tag) {
    return tag == TAG_INTERNET_SOAP_RPC || tag == TAG_INTERNET_SOAP_DOC || tag == TAG_INTERNET_SOAPS_RPC ||
           tag == TAG_INTERNET_SOAPS_DOC;
}

bool is_encoded(_Caldane_ULong tag) {
    return tag == TAG_INTERNET_SOAP_RPC || tag == TAG_INTERNET_SOAPS_RPC;
}

constexpr char kNeedsSsl[] =
    "the reference leads to a secure endpoint, and those are understood with the property ZOLT_SSL alone";
constexpr char kOnlySsl[] =
    "the reference leads to an endpoint without TLS, and the property ZOLT_SSL_ONLY rules those out";
constexpr char kNeedsEncoder[] =
    "the object takes encoded calls alone, and those are made with the property SOAP_ENABLE_RPC_ENCODER";
constexpr char kNeedsLiteral[] =
    "the object takes literal calls alone, and the property SOAP_ENABLE_RPC_ENCODER rules those out";
constexpr char kNoUrl[] =
    "the URL is none of this transport's: http://host:port/path, or https, without blanks or '#' ahead of "
    "the path and without control characters";

/// A reference from a message is marked as secure by "https:" in small letters alone. Spelled otherwise it
/// must not be called in the clear either.
bool names_secure_endpoint(const _IOP_IOR& ior) {
    constexpr std::string_view kSecure = "https://";
    for (_IOP_ProfileIter entries = ior.profiles(); const _IOP_Profile* entry = entries.current();
         entries.next()) {
        if (!is_own(entry->tag())) continue;
        const _IOP_OctetSeq body = entry->data();
        if (vqOSstricmp(std::string(body.view().substr(0, kSecure.size())).c_str(), kSecure.data()) == 0)
            return true;
    }
    return false;
}

/// Sees to it that the profile's endpoint has a client.
void bind_client(_SOAP_Profile& profile) {
    const PEL_Lock guard(profile.mutex());
    if (profile.binding() != nullptr) return;
    std::string address(profile.host().view());
    address += ':';
    address += std::to_string(profile.port());
    profile.set_binding(new _SOAP_Transport_Client(_Caldane_String(address)));
}

}  // namespace

_IOP_Profile _SOAP_Transport_Info::bind_profile(const _Caldane_Object& object, std::int32_t) {
    _IOP_Profile profile;
    _IOP_IOR* const ior = object_ior(object);
    if (ior == nullptr) return profile;
    if (!ior->isSecure() && ior->url().is_null() && names_secure_endpoint(*ior))
        ior->setSecurity(_Caldane_TRUE);
    const _Caldane_ULong tag = tag_for(ior->isSecure());
    for (_IOP_ProfileIter entries = ior->profiles(tag); entries.current(profile); entries.next()) {
        if (_SOAP_Profile* const own = _SOAP_Profile::narrow(profile)) {
            bind_client(*own);
            return profile;
        }
    }
    return ior->url().is_null() ? profile : made_of_url(ior->url(), tag, Client::fresh);
}

_IOP_Profile _SOAP_Transport_Info::profile_of_url(const _IOP_IOR& ior) {
    if (ior.url().is_null()) return _IOP_Profile();
    return made_of_url(ior.url(), tag_for(ior.isSecure()), Client::none);
}

_IOP_Profile _SOAP_Transport_Info::made_of_url(const _Caldane_String& url, _Caldane_ULong tag,
                                               Client client) {
    UrlParts parts;
    if (!split_url(url.view(), parts)) return _IOP_Profile();
    const _Caldane_String authority(parts.authority);
    auto* const fresh = client == Client::fresh ? new _SOAP_Transport_Client(authority) : nullptr;
    return _SOAP_Profile::make_profile(_Caldane_String(parts.path), authority, _Caldane_String(parts.host),
                                       parts.port, fresh, tag);
}

const _Caldane_String& _SOAP_Transport_Info::transport_name() {
    static const _Caldane_String name("SOAP1.1", -1, Caldane::OWNERSHIP_COPY);
    return name;
}

_Caldane_CallInfo& _SOAP_Transport_Info::default_call_info() {
    static _Caldane_CallInfo info;
    static bool metric_is_set = false;
    if (!metric_is_set) {
        metric_is_set = true;
        if (auto* const metric = _Caldane_PerformanceMetric::lookup_or_add(info))
            metric->rtt_magnitude(kRoundTripMagnitude);
    }
    return info;
}

_Caldane_Transport_RPC_Server* _SOAP_Transport_Info::server() {
    static _Caldane_Transport_RPC_Server* const only = new _SOAP_Transport_Server;
    return only;
}

void _SOAP_Transport_Info::ignored_notification(std::int32_t) {}

_Caldane_String _SOAP_Transport_Info::why_unbound(const _Caldane_Object& object) {
    const _IOP_IOR* const ior = object_ior(object);
    if (ior == nullptr) return _Caldane_String();
    if (!ior->url().is_null()) return _Caldane_String::constant(kNoUrl);
    const _Caldane_ULong wanted = tag_for(ior->isSecure());
    const _Caldane_ULong other_style = is_encoded(wanted) ? wanted + 1 : wanted - 1;
    const char* reason = nullptr;
    for (_IOP_ProfileIter entries = ior->profiles(); const _IOP_Profile* entry = entries.current();
         entries.next()) {
        if (entry->tag() == wanted)  // and no profile of this transport was made of it
            return _Caldane_String::constant(ior->isSecure() ? kNeedsSsl : kOnlySsl);
        if (entry->tag() == other_style) reason = is_encoded(wanted) ? kNeedsLiteral : kNeedsEncoder;
    }
    return reason != nullptr ? _Caldane_String::constant(reason) : _Caldane_String();
}

void soap_transport_stage(Caldane::Stage stage) {
    if (stage == Caldane::STAGE_INIT && registration == nullptr)
        registration = new _Caldane_Transport_Info::Registration(new _SOAP_Transport_Info);
    if (stage == Caldane::STAGE_SHUTDOWN) {
        delete registration;
        registration = nullptr;
    }
}
