// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <limits>
#include <span>
#include <string>
#include <string_view>

class _Caldane_Properties;

namespace Caldane {

/// What is known of one property: its name, the values that it takes, its default, and a line of help.
///
/// A setting is a constant row of a table; the value itself stands in `SOA::getProperties()` and is looked up
/// when it is asked for. The name `<oper>_X` stands for one property an operation, which has no value here.
struct Setting {
    enum class Kind { FLAG, TEXT, NUMBER, WHOLE };

    static constexpr double kNoEnd = std::numeric_limits<double>::infinity();

    std::string_view name;
    Kind kind;
    std::string_view unit;  ///< of a number; of a text its form, such as HOST:PORT
    double otherwise;       ///< the number that holds where the property is not set
    double least, most;     ///< the numbers that it takes
    std::string_view help;
    /// Where the default is not a number that stands here, the words for it.
    std::string_view otherwise_text;

    /// Counts by its presence, also with an empty value.
    static consteval Setting flag(std::string_view name, std::string_view help) {
        return {name, Kind::FLAG, "", 0, 0, 0, help, "off"};
    }
    static consteval Setting text(std::string_view name, std::string_view form, std::string_view otherwise,
                                  std::string_view help) {
        return {name, Kind::TEXT, form, 0, 0, 0, help, otherwise};
    }
    /// A decimal number, fractions allowed.
    static consteval Setting number(std::string_view name, std::string_view unit, double otherwise,
                                    double least, double most, std::string_view help) {
        return {name, Kind::NUMBER, unit, otherwise, least, most, help, ""};
    }
    static consteval Setting whole(std::string_view name, std::string_view unit, double otherwise,
                                   double least, double most, std::string_view help,
                                   std::string_view otherwise_text = "") {
        return {name, Kind::WHOLE, unit, otherwise, least, most, help, otherwise_text};
    }

    /// What the property has to be, such as "a whole number of bytes, 0 or more"; empty where `value` is
    /// that.
    [[nodiscard]] std::string complaint(std::string_view value) const;

    [[nodiscard]] bool is_set() const;
    /// The value, null if it is not set.
    [[nodiscard]] const char* text() const;
    /// The value; `otherwise` where it is not set or is no number that the setting takes.
    [[nodiscard]] double number() const;
};

/// The row of that name. As a constant: a name that has no row does not compile.
consteval const Setting& setting_in(std::span<const Setting> rows, std::string_view name) {
    for (const Setting& row : rows) {
        if (row.name == name) return row;
    }
    throw "no setting has this name";
}

/// Makes a table known to the process for as long as the object lives. Meant for static objects of the
/// libraries that read the properties; the rows must live as long.
class SettingTable {
public:
    explicit SettingTable(std::span<const Setting> rows);
    ~SettingTable();
    SettingTable(const SettingTable&) = delete;
    SettingTable& operator=(const SettingTable&) = delete;

    /// Throws SetupError for the first number among the known properties that is none.
    static void check(const _Caldane_Properties& properties);
    /// All known properties with help, by name.
    static void print(std::FILE* out);

private:
    std::span<const Setting> rows_;
    SettingTable* next_;
};

}  // namespace Caldane
