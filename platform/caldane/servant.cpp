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

const Caldane::ServantOperation* Caldane::OperationTable::find(std::string_view name) const {
    const auto found = std::lower_bound(sorted.begin(), sorted.end(), name,
                                        [](const ServantOperation& operation, std::string_view text) {
                                            return std::string_view(operation.name) < text;
                                        });
    return found != sorted.end() && found->name == name ? &*found : nullptr;
}
