// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

#include "transport/broker.h"

namespace soap_test {

/// A client that carries nothing and tells how many references it has.
class CountingClient final : public _Caldane_Transport_RPC_Client {
public:
    _Caldane_Boolean invoke(_Caldane_OutboundCall&) override { return _Caldane_FALSE; }
    void _add_ref() override {
        ++references;
        _Caldane_Transport_RPC_Client::_add_ref();
    }
    void _release() override {
        --references;
        _Caldane_Transport_RPC_Client::_release();
    }

    std::atomic<int> references{1};
};

}  // namespace soap_test
