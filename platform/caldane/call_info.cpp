// SPDX-License-Identifier: MIT
#include <caldane/call_info.h>

#include <string_view>

#include "call_features.h"

_Caldane_CallInfo::_Caldane_CallInfo(const _Caldane_CallInfo& other) noexcept
    : attached(other.features_or_add()) {
    if (attached != nullptr) attached->references.fetch_add(1, std::memory_order_relaxed);
}

_Caldane_CallInfo& _Caldane_CallInfo::operator=(const _Caldane_CallInfo& other) noexcept {
    Features* shared = other.features_or_add();
    if (shared == attached) return *this;
    if (shared != nullptr) shared->references.fetch_add(1, std::memory_order_relaxed);
    release();
    attached = shared;
    return *this;
}

_Caldane_CallInfo::~_Caldane_CallInfo() {
    release();
}

void _Caldane_CallInfo::release() noexcept {
    if (attached != nullptr && attached->references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete attached;
    attached = nullptr;
}

_Caldane_CallInfo::Features* _Caldane_CallInfo::features_or_add() const noexcept {
    if (attached == nullptr) attached = new Features;
    return attached;
}

_Caldane_PerformanceMetric* _Caldane_PerformanceMetric::lookup_or_add(const _Caldane_CallInfo& info) {
    auto* features = info.features_or_add();
    return features != nullptr ? &features->metric : nullptr;
}

_Caldane_CallDuration* _Caldane_CallDuration::lookup_or_add(const _Caldane_CallInfo& info) {
    auto* features = info.features_or_add();
    return features != nullptr ? &features->duration : nullptr;
}

bool _Caldane_CallDuration::is_oneway(const _Caldane_CallInfo& info) {
    return info.features() != nullptr && info.features()->duration.oneway_;
}

double _Caldane_CallDuration::time_limit(const _Caldane_CallInfo& info) {
    return info.features() != nullptr ? info.features()->duration.limit_ : 0;
}

_Caldane_CallDiagnostics* _Caldane_CallDiagnostics::lookup_or_add(const _Caldane_CallInfo& info) {
    auto* features = info.features_or_add();
    return features != nullptr ? &features->diagnostics : nullptr;
}

void _Caldane_CallDiagnostics::describe(const _Caldane_CallInfo& info, const _Caldane_String& text) {
    if (auto* diagnostics = lookup_or_add(info)) diagnostics->text_ = text;
}

_Caldane_String _Caldane_CallDiagnostics::text(const _Caldane_CallInfo& info) {
    return info.features() != nullptr ? info.features()->diagnostics.text_ : _Caldane_String();
}

void _Caldane_CallDiagnostics::not_delivered(const _Caldane_CallInfo& info, bool flag) {
    if (auto* diagnostics = lookup_or_add(info)) diagnostics->not_delivered_ = flag;
}

bool _Caldane_CallDiagnostics::not_delivered(const _Caldane_CallInfo& info) {
    return info.features() != nullptr && info.features()->diagnostics.not_delivered_;
}

void _Caldane_CallDiagnostics::kind(const _Caldane_CallInfo& info, std::int32_t known) {
    if (auto* diagnostics = lookup_or_add(info)) diagnostics->kind_ = known;
}

std::int32_t _Caldane_CallDiagnostics::kind(const _Caldane_CallInfo& info) {
    return info.features() != nullptr ? info.features()->diagnostics.kind_ : -1;
}
