// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "transport/broker.h"

/// Makes this transport's profiles from what stands in object references.
///
/// Which tags it takes is decided when it is made, by the presence of two properties: `ZOLT_SSL_ONLY` the
/// secure ones alone, else `ZOLT_SSL` all of them, else the plain ones.
class _SOAP_ProfileFactory final : public _IOP_ProfileFactory {
public:
    _SOAP_ProfileFactory();

    /// `tag` must be one of this transport. Null for a body that is no URL, or when memory ends. The scheme
    /// of the URL is not compared with the tag.
    _IOP_ProfileBase* create(_Caldane_ULong tag, const _IOP_OctetSeq& data) override;
};

/// Makes the factory at STAGE_INIT and ends it at STAGE_SHUTDOWN.
void soap_profile_factory_stage(Caldane::Stage stage);
