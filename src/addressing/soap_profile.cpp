// SPDX-License-Identifier: MIT
#include "addressing/soap_profile.h"

#include <cassert>
#include <string>

namespace {

/// The object key of a profile made from parts is a CDR encapsulation of its texts.
class KeyStream final : public _IOP_SequenceOutStream {
public:
    using _IOP_SequenceOutStream::_IOP_SequenceOutStream;
};

constexpr _Caldane_ULong kFirstKeySize = 256;

}  // namespace

const std::int32_t _SOAP_Profile::type_mark = 0;

_SOAP_Profile::_SOAP_Profile(const _Caldane_String& host, std::uint16_t port, const _IOP_OctetSeq& data,
                             _Caldane_ULong tag)
    : _IOP_ProfileBase(tag),
      pd_binding(_SOAP_BindingInfo::lookup({host, port})),
      pd_local(false),
      pd_data(data) {}

_SOAP_Profile::_SOAP_Profile(const _Caldane_String& host, std::uint16_t port, const _Caldane_String& impl,
                             const _Caldane_String& path, _Caldane_ULong tag)
    : _IOP_ProfileBase(tag),
      pd_binding(_SOAP_BindingInfo::lookup({host, port})),
      pd_local(true),
      pd_impl(impl),
      pd_path(path) {}

_SOAP_Profile::~_SOAP_Profile() {
    if (pd_binding != nullptr) pd_binding->release();
}

_IOP_OctetSeq _SOAP_Profile::data() const {
    if (!pd_local) return pd_data;
    std::string url = scheme_of_tag(tag());
    url += std::string_view(host());
    url += ':';
    url += std::to_string(port());
    url += '/';
    url += pd_path.view();
    return _IOP_OctetSeq(_Caldane_String(url));
}

_Caldane_Transport_RPC_Client* _SOAP_Profile::binding() {
    assert(pd_binding != nullptr && "pd_binding");
    return pd_binding->client();
}

void _SOAP_Profile::unbind() {
    pd_binding->set_client(nullptr);
}

const void* _SOAP_Profile::_safe_cast(const void* type) const {
    return type == &type_mark ? this : nullptr;
}

void* _SOAP_Profile::_safe_cast(const void* type) {
    return type == &type_mark ? this : nullptr;
}

void _SOAP_Profile::set_binding(_Caldane_Transport_RPC_Client* client) {
    assert(pd_binding != nullptr && "pd_binding");
    pd_binding->set_client(client);
}

_IOP_OctetSeq _SOAP_Profile::object_key() const {
    if (!pd_local) return pd_data;
    KeyStream key(kFirstKeySize);
    if (!key.marshal(static_cast<const _Caldane_TxType&>(pd_impl)) ||
        !key.marshal(static_cast<const _Caldane_TxType&>(pd_path)))
        return _IOP_OctetSeq();
    return key.octet_sequence();
}

_SOAP_Profile* _SOAP_Profile::narrow(_IOP_Profile& profile) {
    return profile.valid() ? static_cast<_SOAP_Profile*>(profile->_safe_cast(&type_mark)) : nullptr;
}

const _SOAP_Profile* _SOAP_Profile::narrow(const _IOP_Profile& profile) {
    return profile.valid() ? static_cast<const _SOAP_Profile*>(profile->_safe_cast(&type_mark)) : nullptr;
}

_IOP_Profile _SOAP_Profile::make_profile(const _Caldane_String& path, const _Caldane_String& impl,
                                         const _Caldane_String& host, std::uint16_t port,
                                         _Caldane_Transport_RPC_Client* client, _Caldane_ULong tag) {
    auto* const profile = new _SOAP_Profile(host, port, impl, path, tag);
    if (profile == nullptr || !profile->valid()) {
        delete profile;
        if (client != nullptr) client->_release();
        return _IOP_Profile();
    }
    if (client != nullptr) profile->set_binding(client);
    return profile->create_handle();
}
