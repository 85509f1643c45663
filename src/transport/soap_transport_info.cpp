// SPDX-License-Identifier: MIT
#include "transport/soap_transport_info.h"

#include <string>

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
    const _IOP_IOR* const ior = object_ior(object);
    if (ior == nullptr) return profile;
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

void soap_transport_stage(Caldane::Stage stage) {
    if (stage == Caldane::STAGE_INIT && registration == nullptr)
        registration = new _Caldane_Transport_Info::Registration(new _SOAP_Transport_Info);
    if (stage == Caldane::STAGE_SHUTDOWN) {
        delete registration;
        registration = nullptr;
    }
}
