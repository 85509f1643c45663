// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/mutex.h>

#include <cstdint>

#include "addressing/profile_tags.h"
#include "addressing/soap_binding_info.h"
#include "transport/broker.h"

/// This transport's profile: where an object lives, in which encoding it takes calls (the tag says that), and
/// the link to the endpoint's client. Its body is the object's URL.
///
/// Held by `_IOP_Profile` handles, which may be on any thread; only `pd_mutex`, which is for binding a
/// client, is ever locked.
class _SOAP_Profile final : public _IOP_ProfileBase {
public:
    /// From a stored body; see `valid`.
    _SOAP_Profile(const _Caldane_String& host, std::uint16_t port, const _IOP_OctetSeq& data,
                  _Caldane_ULong tag);
    /// From parts: `path` without its leading "/".
    _SOAP_Profile(const _Caldane_String& host, std::uint16_t port, const _Caldane_String& impl,
                  const _Caldane_String& path, _Caldane_ULong tag);
    ~_SOAP_Profile() override;

    /// The URL.
    _IOP_OctetSeq data() const override;
    /// Null if no client is bound; no reference is added.
    _Caldane_Transport_RPC_Client* binding() override;
    /// Releases the client.
    void unbind() override;
    const void* _safe_cast(const void* type) const override;
    void* _safe_cast(const void* type) override;
    /// Null for a profile from a stored body.
    _Caldane_String impl_text() const override { return pd_impl; }
    /// Without the leading "/"; null for a profile from a stored body.
    _Caldane_String path_text() const override { return pd_path; }
    /// Made from parts, and not from a stored body.
    bool is_local() const { return pd_local; }

    /// Binds `client`, whose reference is taken over.
    void set_binding(_Caldane_Transport_RPC_Client* client);
    _Caldane_String host() const { return pd_binding->host(); }
    std::uint16_t port() const { return pd_binding->port(); }
    /// A stored body as it is; else name and path in CDR.
    _IOP_OctetSeq object_key() const;
    /// Guards the moment of binding.
    PEL_Mutex& mutex() { return pd_mutex; }
    /// False where memory ended in the constructor: only the destructor may follow then.
    bool valid() const { return pd_binding != nullptr && (!pd_local || !pd_path.is_null()); }

    /// The profile behind a handle if it is one of this transport, else null.
    static _SOAP_Profile* narrow(_IOP_Profile& profile);
    static const _SOAP_Profile* narrow(const _IOP_Profile& profile);

    /// A new profile from parts, with `client` bound, whose reference is taken over (null for none); an
    /// invalid handle when memory ends.
    static _IOP_Profile make_profile(const _Caldane_String& path, const _Caldane_String& impl,
                                     const _Caldane_String& host, std::uint16_t port,
                                     _Caldane_Transport_RPC_Client* client, _Caldane_ULong tag);

    /// Its address is the class's type mark.
    static const std::int32_t type_mark;

private:
    PEL_Mutex pd_mutex;
    _SOAP_BindingInfo* pd_binding;
    bool pd_local;
    _Caldane_String pd_impl;
    _Caldane_String pd_path;
    _IOP_OctetSeq pd_data;
};
