// SPDX-License-Identifier: MIT
#include "addressing/soap_profile_factory.h"

#include <cassert>

#include "addressing/profile_tags.h"
#include "addressing/soap_profile.h"
#include "addressing/url.h"

namespace {

enum Mode : std::int32_t { kPlain = 0, kBoth = 1, kSecureOnly = 2 };

Mode configured_mode() {
    const _Caldane_Properties& properties = SOA::getProperties();
    if (properties.get("ZOLT_SSL_ONLY") != nullptr) return kSecureOnly;
    return properties.get("ZOLT_SSL") != nullptr ? kBoth : kPlain;
}

_SOAP_ProfileFactory* factory = nullptr;

}  // namespace

_SOAP_ProfileFactory::_SOAP_ProfileFactory() {
    const Mode mode = configured_mode();
    if (mode >= kBoth) {
        register_factory(TAG_INTERNET_SOAPS_RPC, this);
        register_factory(TAG_INTERNET_SOAPS_DOC, this);
    }
    if (mode <= kBoth) {
        register_factory(TAG_INTERNET_SOAP_RPC, this);
        register_factory(TAG_INTERNET_SOAP_DOC, this);
    }
}

_IOP_ProfileBase* _SOAP_ProfileFactory::create(_Caldane_ULong tag, const _IOP_OctetSeq& data) {
    assert(tag == TAG_INTERNET_SOAP_RPC || tag == TAG_INTERNET_SOAP_DOC || tag == TAG_INTERNET_SOAPS_RPC ||
           tag == TAG_INTERNET_SOAPS_DOC);
    UrlParts parts;
    if (!split_url(data.view(), parts)) return nullptr;
    auto* profile = new _SOAP_Profile(_Caldane_String(parts.host), parts.port, data, tag);
    if (profile != nullptr && !profile->valid()) {
        delete profile;
        profile = nullptr;
    }
    return profile;
}

void soap_profile_factory_stage(Caldane::Stage stage) {
    if (stage == Caldane::STAGE_INIT && factory == nullptr) factory = new _SOAP_ProfileFactory;
    if (stage == Caldane::STAGE_SHUTDOWN) {
        delete factory;
        factory = nullptr;
    }
}
