// SPDX-License-Identifier: MIT
#include <caldane/servant.h>

#include <caldane/soa.h>

_Caldane_ImplBase::~_Caldane_ImplBase() {
    SOA::withdraw(*this);
}

Caldane::OperationTable::OperationTable(const char* interface_id,
                                        std::initializer_list<ServantOperation> operations)
    : interface_id_(interface_id), sorted(operations) {
    std::sort(sorted.begin(), sorted.end(), [](const ServantOperation& a, const ServantOperation& b) {
        return std::string_view(a.name) < std::string_view(b.name);
    });
}

Caldane::OperationTable::OperationTable(const Interface& interface,
                                        std::initializer_list<ServantOperation> operations)
    : OperationTable(interface.id, operations) {
    interface_ = &interface;
}

bool Caldane::OperationTable::is_a(std::string_view repository_id) const {
    return interface_ == nullptr ? repository_id == interface_id_ : interface_->is_a(repository_id);
}

bool _Caldane_ImplBase::_is_a(const _Caldane_String& repository_id) {
    return _operations().is_a(std::string_view(repository_id));
}

const Caldane::ServantOperation* Caldane::OperationTable::find(std::string_view name) const {
    const auto found = std::lower_bound(sorted.begin(), sorted.end(), name,
                                        [](const ServantOperation& operation, std::string_view text) {
                                            return std::string_view(operation.name) < text;
                                        });
    if (found != sorted.end() && found->name == name) return &*found;
    static const ServantOperation is_a =
        method<&_Caldane_ImplBase::_is_a>("_is_a", {{"logical_type_id", _Caldane_Parameter::IN}});
    return name == is_a.name ? &is_a : nullptr;
}
