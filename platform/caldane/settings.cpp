// SPDX-License-Identifier: MIT
#include <caldane/settings.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <mutex>
#include <optional>
#include <vector>

#include <caldane/exceptions.h>
#include <caldane/soa.h>

namespace Caldane {

namespace {

// Static objects of libraries come and go here, before `main` and behind it.
constinit std::mutex tables_mutex;
constinit SettingTable* tables = nullptr;

template <class Number>
std::optional<double> all_of(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return {};
    return static_cast<double>(number);
}

std::optional<double> number_in(const Setting& setting, std::string_view text) {
    const std::optional<double> number =
        setting.kind == Setting::Kind::WHOLE ? all_of<long long>(text) : all_of<double>(text);
    // Written so that "nan" is outside.
    if (!number || !(*number >= setting.least && *number <= setting.most) || !std::isfinite(*number))
        return {};
    return number;
}

std::string shown(double number) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, number, std::chars_format::fixed).ptr;
    return std::string(text, end);
}

std::string range_of(const Setting& setting) {
    if (setting.most == Setting::kNoEnd) return shown(setting.least) + " or more";
    return "from " + shown(setting.least) + " to " + shown(setting.most);
}

void print_row(std::FILE* out, const Setting& setting) {
    const bool is_number = setting.kind == Setting::Kind::NUMBER || setting.kind == Setting::Kind::WHOLE;
    std::string text = "    -D" + std::string(setting.name);
    if (setting.kind != Setting::Kind::FLAG) text += "=<" + std::string(setting.unit) + ">";
    text += "\n                  " + std::string(setting.help) + "\n                  ";
    if (is_number) text += range_of(setting) + "; ";
    text += "default: ";
    text += setting.otherwise_text.empty() ? shown(setting.otherwise) : std::string(setting.otherwise_text);
    std::fprintf(out, "%s\n", text.c_str());
}

}  // namespace

std::string Setting::complaint(std::string_view value) const {
    if ((kind != Kind::NUMBER && kind != Kind::WHOLE) || number_in(*this, value)) return {};
    return std::string(kind == Kind::WHOLE ? "a whole number of " : "a number of ") + std::string(unit) +
           ", " + range_of(*this);
}

bool Setting::is_set() const {
    return text() != nullptr;
}

const char* Setting::text() const {
    return SOA::getProperties().get(name);
}

double Setting::number() const {
    const char* const value = text();
    return value != nullptr ? number_in(*this, value).value_or(otherwise) : otherwise;
}

SettingTable::SettingTable(std::span<const Setting> rows) : rows_(rows) {
    const std::lock_guard lock(tables_mutex);
    next_ = tables;
    tables = this;
}

SettingTable::~SettingTable() {
    const std::lock_guard lock(tables_mutex);
    SettingTable** place = &tables;
    while (*place != this) place = &(*place)->next_;
    *place = next_;
}

void SettingTable::check(const _Caldane_Properties& properties) {
    const std::lock_guard lock(tables_mutex);
    for (const SettingTable* table = tables; table != nullptr; table = table->next_) {
        for (const Setting& setting : table->rows_) {
            const char* const value = properties.get(setting.name);
            const std::string complaint = value != nullptr ? setting.complaint(value) : std::string();
            if (complaint.empty()) continue;
            throw SetupError("the property " + std::string(setting.name) + " is '" + value +
                             "' and has to be " + complaint);
        }
    }
}

void SettingTable::print(std::FILE* out) {
    const std::lock_guard lock(tables_mutex);
    std::vector<const Setting*> all;
    for (const SettingTable* table = tables; table != nullptr; table = table->next_) {
        for (const Setting& setting : table->rows_) all.push_back(&setting);
    }
    std::sort(all.begin(), all.end(), [](const Setting* a, const Setting* b) { return a->name < b->name; });
    std::fputs(
        "  All properties; the environment (CALDANE_name) and a file (-Dproperties=<file>) set them too\n",
        out);
    for (const Setting* setting : all) print_row(out, *setting);
    std::fputs("\n", out);
}

}  // namespace Caldane
