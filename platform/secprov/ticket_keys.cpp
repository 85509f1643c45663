// SPDX-License-Identifier: MIT
#include "ticket_keys.h"

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <algorithm>

bool TicketKeys::current(Clock::time_point now, Key& key) {
    const std::lock_guard lock(mutex);
    if (!newest.used || now - newest.born >= kPeriod) {
        Slot fresh{{}, now, true};
        if (RAND_bytes(fresh.key.name.data(), static_cast<int>(fresh.key.name.size())) != 1 ||
            RAND_priv_bytes(fresh.key.cipher.data(), static_cast<int>(fresh.key.cipher.size())) != 1 ||
            RAND_priv_bytes(fresh.key.mac.data(), static_cast<int>(fresh.key.mac.size())) != 1)
            return false;
        before = newest;
        newest = fresh;
        OPENSSL_cleanse(&fresh, sizeof fresh);
    }
    key = newest.key;
    return true;
}

TicketKeys::Found TicketKeys::find(const unsigned char* name, Clock::time_point now, Key& key) {
    const std::lock_guard lock(mutex);
    for (const Slot* const slot : {&newest, &before}) {
        const auto age = now - slot->born;
        if (!slot->used || age >= 2 * kPeriod) continue;
        if (!std::equal(slot->key.name.begin(), slot->key.name.end(), name)) continue;
        key = slot->key;
        return age < kPeriod ? Found::current : Found::old;
    }
    return Found::none;
}

TicketKeys::~TicketKeys() {
    OPENSSL_cleanse(&newest, sizeof newest);
    OPENSSL_cleanse(&before, sizeof before);
}
