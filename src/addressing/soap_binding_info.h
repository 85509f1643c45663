// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>
#include <pelthread/mutex.h>

#include <atomic>
#include <cstdint>

#include "transport/broker.h"

/// An endpoint as references name it: neither resolved nor normalised, so that a host's name and its dotted
/// address are two endpoints.
struct _SOAP_BindingKey {
    _Caldane_String host;
    std::uint16_t port = 0;

    friend bool operator==(const _SOAP_BindingKey& a, const _SOAP_BindingKey& b) {
        return a.port == b.port && a.host == b.host;
    }
};

/// What all profiles of one endpoint share: its client, and with it one connection.
///
/// Counts the profiles that hold it and goes with the last. Found through a registry for the process between
/// STAGE_INIT and STAGE_SHUTDOWN; outside of that a record stands alone.
class _SOAP_BindingInfo {
public:
    PEL_HEAP_OBJECT
    _SOAP_BindingInfo(const _SOAP_BindingInfo&) = delete;
    _SOAP_BindingInfo& operator=(const _SOAP_BindingInfo&) = delete;

    /// The record of `key`, made if needed, with one reference added, which is the caller's; null when memory
    /// ends.
    [[nodiscard]] static _SOAP_BindingInfo* lookup(const _SOAP_BindingKey& key);

    /// Drops one reference. The last one invalidates and releases the client and deletes the record.
    void release();

    /// Takes over the caller's reference on `client` (may be null) and releases the client held before, if
    /// that is another one. Takes no lock: the caller sees to it that one thread at a time does this.
    void set_client(_Caldane_Transport_RPC_Client* client);

    /// Null if there is none yet; no reference is added.
    _Caldane_Transport_RPC_Client* client() const { return pd_client.load(std::memory_order_acquire); }
    _Caldane_String host() const { return pd_key.host; }
    std::uint16_t port() const { return pd_key.port; }

    /// Profiles that hold this record.
    std::int32_t references() const { return pd_ref_cnt.load(std::memory_order_relaxed); }

private:
    explicit _SOAP_BindingInfo(const _SOAP_BindingKey& key) : pd_key(key) {}
    ~_SOAP_BindingInfo() = default;
    void end();

    std::atomic<std::int32_t> pd_ref_cnt{0};
    std::atomic<_Caldane_Transport_RPC_Client*> pd_client{nullptr};
    _SOAP_BindingKey pd_key;
};

/// The registry of records: a hash table that grows with them, since a hostile message may name many
/// endpoints. It does not own the records. Each operation takes the registry's own mutex.
class _SOAP_BindingTable {
public:
    PEL_HEAP_OBJECT
    _SOAP_BindingTable() = default;
    ~_SOAP_BindingTable();
    _SOAP_BindingTable(const _SOAP_BindingTable&) = delete;
    _SOAP_BindingTable& operator=(const _SOAP_BindingTable&) = delete;

    /// The place of the record's pointer, or null. Valid until the entry is removed.
    _SOAP_BindingInfo** find(const _SOAP_BindingKey& key);
    /// Adds an entry; false when memory ends.
    [[nodiscard]] bool add(const _SOAP_BindingKey& key, _SOAP_BindingInfo* info);
    /// Removes the entry of `key` if it stands for `info`.
    void remove(const _SOAP_BindingKey& key, const _SOAP_BindingInfo* info);
    int count();

private:
    struct Entry;

    static constexpr std::uint32_t kFirstLists = 64;

    Entry*& list_of(std::uint32_t hash) { return lists[hash & (list_count - 1)]; }
    void grow();

    Entry* first_lists[kFirstLists] = {};
    Entry** lists = first_lists;
    std::uint32_t list_count = kFirstLists;  // a power of two
    std::uint32_t entry_count = 0;
    PEL_Mutex mutex;
};

/// Makes registry and mutex at STAGE_INIT and ends them at STAGE_SHUTDOWN.
void soap_binding_stage(Caldane::Stage stage);

/// The registry; null outside of these stages.
_SOAP_BindingTable* soap_binding_table();
