// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <string_view>

#include <caldane/string.h>

/// Named settings of the process: texts under names.
///
/// Reading takes no lock and allocates nothing, so that code may ask at the moment of use. Writing copies the
/// table; what was read before stays valid for the life of the object, which is that of the process. Safe for
/// any thread.
class _Caldane_Properties {
public:
    _Caldane_Properties();
    ~_Caldane_Properties();
    _Caldane_Properties(const _Caldane_Properties&) = delete;
    _Caldane_Properties& operator=(const _Caldane_Properties&) = delete;

    /// The value, terminated by a zero byte, or null if the property is not set; "" counts as set.
    [[nodiscard]] const char* get(std::string_view key) const noexcept;

    /// The value, or `fallback` itself if the property is not set.
    [[nodiscard]] const char* get(std::string_view key, const char* fallback) const noexcept;

    /// The same with the text of `fallback`, which is valid as long as `fallback` is.
    [[nodiscard]] const char* get(std::string_view key, const _Caldane_String& fallback) const noexcept;

    /// The value as a decimal number, or `fallback` if it is not set or no number.
    [[nodiscard]] double number(std::string_view key, double fallback) const noexcept;

    /// Sets or replaces a property. Meant for start-up and for tests: what was replaced is kept.
    void set(std::string_view key, std::string_view value);

    /// Takes a property away; nothing if it is not set.
    void remove(std::string_view key);

    /// Reads `name=value` lines; empty lines and lines that start with `#` are passed over, blanks around
    /// name and value are cut. Gives an empty text, or one that tells what is wrong and where.
    [[nodiscard]] std::string read_file(const std::string& file_name);

    /// Takes over each environment variable `CALDANE_name` as the property `name`.
    void read_environment(const char* const* environment);

private:
    struct Entry;
    struct Table;

    void replace(std::string_view key, const Entry* entry);

    std::mutex write_mutex;
    std::atomic<const Table*> table;
    Table* newest;
};
