// SPDX-License-Identifier: MIT
#include <caldane/properties.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <vector>

namespace {

/// Eight bytes at a time, since several names are asked for in each call.
std::uint32_t hash_of(std::string_view key) {
    constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15U;
    std::uint64_t hash = key.size() * kMultiplier;
    const auto mix = [&hash](const char* from, std::size_t count) {
        std::uint64_t piece = 0;
        std::memcpy(&piece, from, count);
        hash = (hash ^ piece) * kMultiplier;
        hash ^= hash >> 32;
    };
    const char* const data = key.data();
    std::size_t done = 0;
    for (; key.size() - done >= 8; done += 8) mix(data + done, 8);
    if (done != key.size()) mix(data + done, key.size() - done);
    return static_cast<std::uint32_t>(hash);
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

constexpr std::string_view kEnvironmentPrefix = "CALDANE_";

}  // namespace

struct _Caldane_Properties::Entry {
    std::string key;
    std::string value;
    std::uint32_t hash;
};

/// Open addressing; never changed once it can be read. Old tables are kept behind the newest, since readers
/// may still look at them.
struct _Caldane_Properties::Table {
    std::vector<const Entry*> slots = std::vector<const Entry*>(16);
    std::size_t count = 0;
    std::vector<std::unique_ptr<const Entry>> kept;
    std::unique_ptr<Table> older;

    std::size_t slot_of(std::string_view key, std::uint32_t hash) const {
        const std::size_t mask = slots.size() - 1;
        std::size_t slot = hash & mask;
        while (slots[slot] != nullptr && (slots[slot]->hash != hash || slots[slot]->key != key)) {
            slot = (slot + 1) & mask;
        }
        return slot;
    }

    void insert(const Entry* entry) {
        slots[slot_of(entry->key, entry->hash)] = entry;
        ++count;
    }
};

_Caldane_Properties::_Caldane_Properties() : table(new Table), newest(const_cast<Table*>(table.load())) {}

_Caldane_Properties::~_Caldane_Properties() {
    // One by one: a chain of many tables must not be freed by recursion.
    std::unique_ptr<Table> current(newest);
    while (current) current = std::move(current->older);
}

const char* _Caldane_Properties::get(std::string_view key) const noexcept {
    const Table* current = table.load(std::memory_order_acquire);
    const Entry* entry = current->slots[current->slot_of(key, hash_of(key))];
    return entry != nullptr ? entry->value.c_str() : nullptr;
}

const char* _Caldane_Properties::get(std::string_view key, const char* fallback) const noexcept {
    const char* value = get(key);
    return value != nullptr ? value : fallback;
}

const char* _Caldane_Properties::get(std::string_view key, const _Caldane_String& fallback) const noexcept {
    const char* value = get(key);
    return value != nullptr ? value : fallback.c_str();
}

double _Caldane_Properties::number(std::string_view key, double fallback) const noexcept {
    const char* value = get(key);
    if (value == nullptr) return fallback;
    char* end = nullptr;
    const double number = std::strtod(value, &end);
    return end != value && *end == '\0' ? number : fallback;
}

/// Publishes a table in which `key` stands for `entry`, or for nothing. The lock is held by the caller.
void _Caldane_Properties::replace(std::string_view key, const Entry* entry) {
    auto next = std::make_unique<Table>();
    std::size_t room = next->slots.size();
    while (room < 2 * (newest->count + 2)) room *= 2;
    next->slots.assign(room, nullptr);
    for (const Entry* old : newest->slots) {
        if (old != nullptr && old->key != key) next->insert(old);
    }
    if (entry != nullptr) {
        next->kept.emplace_back(entry);
        next->insert(entry);
    }
    next->older.reset(newest);
    newest = next.release();
    table.store(newest, std::memory_order_release);
}

void _Caldane_Properties::set(std::string_view key, std::string_view value) {
    const std::lock_guard lock(write_mutex);
    const char* present = get(key);
    if (present != nullptr && value == present) return;
    replace(key, new Entry{std::string(key), std::string(value), hash_of(key)});
}

void _Caldane_Properties::remove(std::string_view key) {
    const std::lock_guard lock(write_mutex);
    if (get(key) != nullptr) replace(key, nullptr);
}

std::string _Caldane_Properties::read_file(const std::string& file_name) {
    std::ifstream file(file_name);
    if (!file) return "cannot read the properties file " + file_name + ": " + std::strerror(errno);
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        const std::string_view text = trimmed(line);
        if (text.empty() || text.front() == '#') continue;
        const std::size_t equals = text.find('=');
        const std::string_view key = trimmed(text.substr(0, equals));
        if (equals == std::string_view::npos || key.empty()) {
            return file_name + " line " + std::to_string(number) + " is not name=value: " + std::string(text);
        }
        set(key, trimmed(text.substr(equals + 1)));
    }
    if (file.bad() || !file.eof()) return "cannot read the properties file " + file_name;
    return {};
}

void _Caldane_Properties::read_environment(const char* const* environment) {
    for (; environment != nullptr && *environment != nullptr; ++environment) {
        const std::string_view text = *environment;
        if (!text.starts_with(kEnvironmentPrefix)) continue;
        const std::size_t equals = text.find('=');
        if (equals == std::string_view::npos || equals == kEnvironmentPrefix.size()) continue;
        set(text.substr(kEnvironmentPrefix.size(), equals - kEnvironmentPrefix.size()),
            text.substr(equals + 1));
    }
}
