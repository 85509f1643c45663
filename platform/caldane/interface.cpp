// SPDX-License-Identifier: MIT
#include <caldane/interface.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <shared_mutex>

#include <caldane/invoke.h>
#include <caldane/object.h>

namespace {

/// Every interface that generated code brought, by its id.
struct KnownInterfaces {
    std::shared_mutex mutex;
    std::map<std::string_view, const Caldane::Interface*> by_id;
};

// Made at the first use, which may be in a static initialiser, and never destroyed.
KnownInterfaces& known() {
    static KnownInterfaces& instance = *new KnownInterfaces;
    return instance;
}

}  // namespace

bool Caldane::Interface::is_a(std::string_view wanted) const {
    if (wanted == id) return true;
    return std::any_of(bases, bases + base_count,
                       [wanted](const Interface* base) { return base->is_a(wanted); });
}

const Caldane::Interface* Caldane::Interface::find(std::string_view repository_id) {
    const std::shared_lock lock(known().mutex);
    const auto found = known().by_id.find(repository_id);
    return found == known().by_id.end() ? nullptr : found->second;
}

void Caldane::InterfaceRegistration::enter(const Interface& interface) {
    const std::unique_lock lock(known().mutex);
    known().by_id.try_emplace(interface.id, &interface);
}

bool _Caldane_Object::_is_a(std::string_view repository_id) const {
    if (_is_nil()) return false;
    const std::string_view own(ior_->type_id());
    if (own == repository_id) return true;
    const Caldane::Interface* const interface = Caldane::Interface::find(own);
    if (interface != nullptr && interface->is_a(repository_id)) return true;
    static const Caldane::Operation operation("_is_a", "IDL:omg.org/CORBA/Object:1.0");
    return Caldane::call<bool>(*this, operation,
                               Caldane::in("logical_type_id", _Caldane_String(repository_id)));
}

bool _Caldane_Object::_may_be(std::string_view repository_id) const {
    return _is_nil() || ior_->type_id().empty() || _is_a(repository_id);
}
