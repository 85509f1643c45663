// SPDX-License-Identifier: MIT
#include <caldane/ior.h>

#include <memory>
#include <new>

#include <caldane/object.h>
#include <caldane/transport.h>

#include "bound_call.h"
#include "transports.h"

namespace {

/// The call that this thread is in, innermost first.
thread_local const _Caldane_BoundCall* current_call = nullptr;

/// What the transports would reach the object at a URL through. Nothing is bound by it: the endpoint may have
/// a client already, with a connection.
std::vector<_IOP_Profile> profiles_of(const _IOP_IOR& ior) {
    const BindingLock lock;
    std::vector<_IOP_Profile> profiles;
    for (_Caldane_Transport_Info* transport : TransportTable::instance().transports) {
        const _IOP_Profile made = transport->profile_of_url(ior);
        if (!made.valid()) continue;
        const _IOP_Profile own(made->tag(), made->data());
        if (own.valid()) profiles.push_back(own);
    }
    return profiles;
}

}  // namespace

_Caldane_BoundCall::_Caldane_BoundCall(_IOP_IOR& ior, const _IOP_Profile& bound)
    : ior_(ior), profile_(bound), outer(current_call) {
    current_call = this;
}

_Caldane_BoundCall::~_Caldane_BoundCall() {
    current_call = outer;
}

_IOP_Profile _Caldane_BoundCall::last_bound(const _IOP_IOR& ior) {
    const std::lock_guard lock(ior.bound_mutex);
    return ior.bound;
}

void _Caldane_BoundCall::remember(_IOP_IOR& ior, const _IOP_Profile& profile) {
    _IOP_Profile previous = profile;
    const std::lock_guard lock(ior.bound_mutex);
    std::swap(previous, ior.bound);
}

const _IOP_Profile* _Caldane_BoundCall::find(const _IOP_IOR& ior) {
    for (const _Caldane_BoundCall* call = current_call; call != nullptr; call = call->outer) {
        if (&call->ior_ == &ior) return &call->profile_;
    }
    return nullptr;
}

_IOP_IOR* _IOP_IOR::generate(const _Caldane_String& type_id, const _IOP_ProfileList& profile_list) {
    auto* ior = new _IOP_IOR;
    if (ior == nullptr) return nullptr;
    ior->type_id_ = type_id;
    profile_list.copy_to(ior->profiles_);
    return ior;
}

_IOP_IOR* _IOP_IOR::from_url(const _Caldane_String& url) {
    auto* ior = new _IOP_IOR;
    if (ior == nullptr) return nullptr;
    ior->url_ = url;
    ior->setSecurity(static_cast<_Caldane_Boolean>(std::string_view(url).starts_with("https:")));
    return ior;
}

void _IOP_IOR::_add_ref() noexcept {
    references.fetch_add(1, std::memory_order_relaxed);
}

void _IOP_IOR::_release() noexcept {
    if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

const std::vector<_IOP_Profile>& _IOP_IOR::handed_on() const {
    if (!profiles_.empty() || url_.is_null() || BindingLock::held()) return profiles_;
    try {
        std::call_once(url_looked_at, [this] { url_profiles = profiles_of(*this); });
    } catch (const std::bad_alloc&) {
        // Tried again the next time.
    }
    return url_profiles;
}

_IOP_ProfileList _IOP_IOR::getProfileList() const {
    _IOP_ProfileList list;
    for (const _IOP_Profile& profile : handed_on()) list.append(profile);
    return list;
}

_IOP_Profile _IOP_IOR::bound_profile() const {
    const _IOP_Profile* own = _Caldane_BoundCall::find(*this);
    return own != nullptr ? *own : _Caldane_BoundCall::last_bound(*this);
}

_Caldane_String _IOP_IOR::location() const {
    if (!location_.is_null()) return location_;
    if (!url_.is_null()) return url_;
    for (const _IOP_Profile& profile : profiles_) {
        const _IOP_OctetSeq body = profile.data();
        if (body.view().find("://") != std::string_view::npos) return body.as_string();
    }
    return _Caldane_String();
}
