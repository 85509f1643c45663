// SPDX-License-Identifier: MIT
#include "teller_impl.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <thread>

using namespace Acme::Bank;

namespace {

constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

/// What `balance` becomes when `amount` is taken from it; throws InsufficientFunds.
std::int32_t take(std::int32_t balance, std::int32_t amount) {
    if (amount < 0) throw InsufficientFunds(balance, "the amount is negative");
    if (amount > balance) throw InsufficientFunds(balance, "the balance does not cover it");
    return balance - amount;
}

/// What `balance` becomes when `amount` is added to it.
std::int32_t add(std::int32_t balance, std::int32_t amount) {
    if (amount < 0 || amount > kMost - balance) throw std::out_of_range("amount");
    return balance + amount;
}

Mood mood_at(std::int32_t balance) {
    if (balance >= 1000) return Mood::CALM;
    return balance > 0 ? Mood::NERVOUS : Mood::ANGRY;
}

}  // namespace

TellerImpl::TellerImpl() : accounts{{"alice", 10000}, {"bob", 5000}} {}

TellerImpl::Accounts::iterator TellerImpl::find(const _Caldane_String& name) {
    const auto found = accounts.find(std::string_view(name));
    if (found == accounts.end()) throw UnknownAccount(name);
    return found;
}

bool TellerImpl::exists(const _Caldane_String& account) {
    const std::lock_guard lock(mutex);
    return accounts.contains(std::string_view(account));
}

std::int32_t TellerImpl::deposit(const _Caldane_String& account, std::int32_t amount) {
    const std::lock_guard lock(mutex);
    const auto found = accounts.find(std::string_view(account));
    if (found != accounts.end()) return found->second = add(found->second, amount);
    const std::int32_t balance = add(0, amount);
    accounts.emplace(std::string_view(account), balance);
    return balance;
}

Receipt TellerImpl::withdraw(const _Caldane_String& account, std::int32_t amount) {
    const std::lock_guard lock(mutex);
    std::int32_t& balance = find(account)->second;
    balance = take(balance, amount);
    Receipt receipt;
    receipt.account = account;
    receipt.amount = amount;
    receipt.balance = balance;
    receipt.mood = mood_at(balance);
    return receipt;
}

void TellerImpl::transfer(const _Caldane_String& source, const _Caldane_String& target, std::int32_t amount,
                          std::int32_t& source_balance, std::int32_t& target_balance) {
    const std::lock_guard lock(mutex);
    std::int32_t& from = find(source)->second;
    std::int32_t& to = find(target)->second;
    const std::int32_t left = take(from, amount);
    if (&from != &to) {
        to = add(to, amount);
        from = left;
    }
    source_balance = from;
    target_balance = to;
}

double TellerImpl::convert(double amount, float& rate) {
    return amount * static_cast<double>(rate);
}

void TellerImpl::limits(std::int16_t& a, std::uint16_t& b, std::uint32_t& c, unsigned char& d, char& e,
                        bool& f) {
    a = std::numeric_limits<std::int16_t>::min();
    b = std::numeric_limits<std::uint16_t>::max();
    c = std::numeric_limits<std::uint32_t>::max();
    d = std::numeric_limits<unsigned char>::max();
    e = '<';
    f = true;
}

void TellerImpl::echo(const _Caldane_String& text, _Caldane_String& copy) {
    copy = text;
}

void TellerImpl::note(const _Caldane_String&) {
    ++note_count;
}

std::int32_t TellerImpl::sleep(std::int32_t milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(std::max(milliseconds, 0)));
    return milliseconds;
}
