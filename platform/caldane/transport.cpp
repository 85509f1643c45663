// SPDX-License-Identifier: MIT
#include <caldane/transport.h>

#include <utility>

#include "transports.h"

namespace {

thread_local int scopes = 0;                                  // of EndsLater
thread_local _Caldane_Transport_RPC_Client* ended = nullptr;  // a list

}  // namespace

TransportTable& TransportTable::instance() {
    static TransportTable* const table = new TransportTable;
    return *table;
}

_Caldane_Transport_RPC_Client::~_Caldane_Transport_RPC_Client() = default;

void* _Caldane_Transport_RPC_Client::_safe_cast(const void*) {
    return nullptr;
}

void _Caldane_Transport_RPC_Client::_add_ref() {
    references.fetch_add(1, std::memory_order_relaxed);
}

void _Caldane_Transport_RPC_Client::_release() {
    if (references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    if (scopes == 0) {
        delete this;
    } else {
        next_ended = std::exchange(ended, this);
    }
}

_Caldane_Transport_RPC_Client::EndsLater::EndsLater() {
    ++scopes;
}

_Caldane_Transport_RPC_Client::EndsLater::~EndsLater() {
    if (--scopes > 0) return;
    while (ended != nullptr) delete std::exchange(ended, ended->next_ended);
}

void _Caldane_Transport_RPC_Client::invalidate() {
    valid_.store(false, std::memory_order_release);
}

bool _Caldane_Transport_RPC_Client::usable() {
    return true;
}

_IOP_IOR* _Caldane_Transport_RPC_Client::object_ior(const _Caldane_Object& object) {
    return object._ior();
}

_Caldane_Transport_RPC_Server::~_Caldane_Transport_RPC_Server() = default;

void* _Caldane_Transport_RPC_Server::_safe_cast(const void*) {
    return nullptr;
}

std::int32_t _Caldane_Transport_RPC_Server::listen_at(const _Caldane_String&, _Caldane_Boolean) {
    return -4;
}

void _Caldane_Transport_ServerFrame::finished(_SOA_Call&) {}

_Caldane_Transport_Info::~_Caldane_Transport_Info() = default;

_IOP_Profile _Caldane_Transport_Info::profile_of_url(const _IOP_IOR&) {
    return _IOP_Profile();
}

_Caldane_String _Caldane_Transport_Info::why_unbound(const _Caldane_Object&) {
    return _Caldane_String();
}

void* _Caldane_Transport_Info::_safe_cast(const void*) {
    return nullptr;
}

_IOP_IOR* _Caldane_Transport_Info::object_ior(const _Caldane_Object& object) {
    return object._ior();
}

_Caldane_Transport_Info::Registration::Registration(_Caldane_Transport_Info* info) : info_(info) {
    if (info == nullptr) return;
    TransportTable& table = TransportTable::instance();
    const std::lock_guard lock(table.mutex);
    table.transports.push_back(info);
}

_Caldane_Transport_Info::Registration::~Registration() {
    {
        TransportTable& table = TransportTable::instance();
        const std::lock_guard lock(table.mutex);
        std::erase(table.transports, info_);
    }
    delete info_;
}
