// SPDX-License-Identifier: MIT
#include "addressing/soap_binding_info.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

#include "streams/ref_string.h"

namespace {

// Between STAGE_INIT and STAGE_SHUTDOWN. The mutex comes before the registry's own.
_SOAP_BindingTable* table = nullptr;
PEL_Mutex* table_mutex = nullptr;

/// Holds the mutex if there is one. Profiles that applications keep beyond the shutdown come without.
class OptionalLock {
public:
    OptionalLock() {
        if (table_mutex != nullptr) held.emplace(*table_mutex);
    }

private:
    std::optional<PEL_Lock> held;
};

/// Case counts, as it does when keys are compared: nobody can fill one list with ways to write one host.
std::uint32_t hash_of(const _SOAP_BindingKey& key) {
    constexpr std::uint32_t kSpread = 0x9E3779B1;  // 2^32 divided by the golden ratio
    const std::string_view host = key.host.view();
    return exact_hash(host.data(), host.size()) ^ key.port * kSpread;
}

}  // namespace

struct _SOAP_BindingTable::Entry {
    PEL_HEAP_OBJECT
    _SOAP_BindingKey key;
    std::uint32_t hash;
    _SOAP_BindingInfo* info;
    Entry* next;
};

_SOAP_BindingTable::~_SOAP_BindingTable() {
    for (std::uint32_t i = 0; i < list_count; ++i) {
        while (Entry* const gone = lists[i]) {
            lists[i] = gone->next;
            delete gone;
        }
    }
    if (lists != first_lists) PEL_array_delete(lists);
}

_SOAP_BindingInfo** _SOAP_BindingTable::find(const _SOAP_BindingKey& key) {
    const std::uint32_t hash = hash_of(key);
    const PEL_Lock guard(mutex);
    for (Entry* entry = list_of(hash); entry != nullptr; entry = entry->next) {
        if (entry->hash == hash && entry->key == key) return &entry->info;
    }
    return nullptr;
}

bool _SOAP_BindingTable::add(const _SOAP_BindingKey& key, _SOAP_BindingInfo* info) {
    const std::uint32_t hash = hash_of(key);
    const PEL_Lock guard(mutex);
    if (entry_count >= list_count) grow();
    Entry*& head = list_of(hash);
    Entry* const entry = new Entry{key, hash, info, head};
    if (entry == nullptr) return false;
    head = entry;
    ++entry_count;
    return true;
}

/// Twice the lists; where memory does not suffice, those that are there get longer.
void _SOAP_BindingTable::grow() {
    constexpr std::uint32_t kMostLists = 1U << 30;
    if (list_count >= kMostLists) return;
    const std::uint32_t before = list_count;
    auto** const wider = static_cast<Entry**>(PEL_array_new(2 * sizeof(Entry*) * before));
    if (wider == nullptr) return;
    std::fill_n(wider, 2 * std::size_t{before}, nullptr);
    Entry** const old = std::exchange(lists, wider);
    list_count = 2 * before;
    for (std::uint32_t i = 0; i < before; ++i) {
        while (Entry* const entry = old[i]) {
            old[i] = entry->next;
            Entry*& head = list_of(entry->hash);
            entry->next = head;
            head = entry;
        }
    }
    if (old != first_lists) PEL_array_delete(old);
}

void _SOAP_BindingTable::remove(const _SOAP_BindingKey& key, const _SOAP_BindingInfo* info) {
    const std::uint32_t hash = hash_of(key);
    const PEL_Lock guard(mutex);
    for (Entry** place = &list_of(hash); *place != nullptr; place = &(*place)->next) {
        Entry* const entry = *place;
        if (entry->info != info || !(entry->key == key)) continue;
        *place = entry->next;
        delete entry;
        --entry_count;
        return;
    }
}

int _SOAP_BindingTable::count() {
    const PEL_Lock guard(mutex);
    return static_cast<int>(entry_count);
}

_SOAP_BindingInfo* _SOAP_BindingInfo::lookup(const _SOAP_BindingKey& key) {
    const OptionalLock guard;
    _SOAP_BindingInfo** const found = table != nullptr ? table->find(key) : nullptr;
    _SOAP_BindingInfo* const info = found != nullptr ? *found : new _SOAP_BindingInfo(key);
    if (info == nullptr) return nullptr;
    info->pd_ref_cnt.fetch_add(1, std::memory_order_relaxed);
    // Where the entry cannot be had for want of memory, this record serves its one profile alone.
    if (found == nullptr && table != nullptr) static_cast<void>(table->add(key, info));
    return info;
}

void _SOAP_BindingInfo::release() {
    const _Caldane_Transport_RPC_Client::EndsLater ends_later;
    const OptionalLock guard;
    if (pd_ref_cnt.fetch_sub(1, std::memory_order_acq_rel) == 1) end();
}

void _SOAP_BindingInfo::end() {
    assert(references() == 0 && "pd_ref_cnt == 0");
    if (_Caldane_Transport_RPC_Client* const last = client()) {
        last->invalidate();
        last->_release();
    }
    if (table != nullptr) table->remove(pd_key, this);
    delete this;
}

void _SOAP_BindingInfo::set_client(_Caldane_Transport_RPC_Client* client) {
    _Caldane_Transport_RPC_Client* const before = pd_client.exchange(client, std::memory_order_acq_rel);
    if (before != nullptr && before != client) before->_release();
}

void soap_binding_stage(Caldane::Stage stage) {
    if (stage == Caldane::STAGE_INIT && table == nullptr) {
        table = new _SOAP_BindingTable;
        table_mutex = static_cast<PEL_Mutex*>(PEL_new(sizeof(PEL_Mutex)));
        if (table_mutex != nullptr) new (table_mutex) PEL_Mutex;
    }
    if (stage == Caldane::STAGE_SHUTDOWN) {
        delete table;
        table = nullptr;
        if (table_mutex != nullptr) table_mutex->~PEL_Mutex();
        PEL_delete(table_mutex);
        table_mutex = nullptr;
    }
}

_SOAP_BindingTable* soap_binding_table() {
    return table;
}
