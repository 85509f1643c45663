// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "transport/broker.h"

class _IOP_IOR;

/// The transport's face towards the broker. Belongs to its registration there.
class _SOAP_Transport_Info final : public _Caldane_Transport_Info {
public:
    /// A profile of the object with a client bound: the first of this transport's profiles in the reference
    /// that has the tag for its security and the process's encoding (SOAP_ENABLE_RPC_ENCODER), with the
    /// client that its endpoint has or a new one; or, where the reference has none but knows a URL, a new
    /// profile made from that, with a new client for the endpoint. An invalid one where neither is there.
    /// Does not touch the network. `flags` has no meaning here.
    _IOP_Profile bind_profile(const _Caldane_Object& object, std::int32_t flags) override;
    /// "SOAP1.1".
    const _Caldane_String& transport_name() override;
    _Caldane_CallInfo& default_call_info() override;
    /// The process's server, made at the first call; null if memory ended then.
    _Caldane_Transport_RPC_Server* server() override;
    void ignored_notification(std::int32_t what) override;
    _IOP_Profile profile_of_url(const _IOP_IOR& ior) override;
    /// The property that is missing, or is there and should not be, or that the URL is none.
    _Caldane_String why_unbound(const _Caldane_Object& object) override;

private:
    enum class Client { none, fresh };
    static _IOP_Profile made_of_url(const _Caldane_String& url, _Caldane_ULong tag, Client client);
};

/// Makes the transport known to the broker at STAGE_INIT and takes it back at STAGE_SHUTDOWN.
void soap_transport_stage(Caldane::Stage stage);
