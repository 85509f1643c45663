// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <string>

#include "bank.h"

/// The bank itself: accounts in memory, shared by all calls.
class TellerImpl final : public Acme::Bank::POA_Teller {
public:
    TellerImpl();

    /// How often `note` was called.
    int notes() const { return note_count; }

    bool exists(const _Caldane_String& account) override;
    std::int32_t deposit(const _Caldane_String& account, std::int32_t amount) override;
    Acme::Bank::Receipt withdraw(const _Caldane_String& account, std::int32_t amount) override;
    void transfer(const _Caldane_String& source, const _Caldane_String& target, std::int32_t amount,
                  std::int32_t& source_balance, std::int32_t& target_balance) override;
    double convert(double amount, float& rate) override;
    void limits(std::int16_t& a, std::uint16_t& b, std::uint32_t& c, unsigned char& d, char& e,
                bool& f) override;
    void echo(const _Caldane_String& text, _Caldane_String& copy) override;
    void note(const _Caldane_String& text) override;
    std::int32_t sleep(std::int32_t milliseconds) override;

private:
    using Accounts = std::map<std::string, std::int32_t, std::less<>>;

    /// The account of that name; throws UnknownAccount. The lock is held by the caller.
    Accounts::iterator find(const _Caldane_String& name);

    std::mutex mutex;
    Accounts accounts;
    std::atomic<int> note_count = 0;
};
