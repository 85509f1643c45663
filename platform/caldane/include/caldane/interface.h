// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

namespace Caldane {

/// What generated code tells of an interface, as constant data: its repository id, which has a terminator,
/// and the interfaces that it inherits from.
struct Interface {
    constexpr explicit Interface(const char* repository_id) : id(repository_id) {}
    template <std::size_t Count>
    constexpr Interface(const char* repository_id, const Interface* const (&inherited)[Count])
        : id(repository_id), bases(inherited), base_count(Count) {}

    /// Whether it has this id, or inherits from one that does.
    bool is_a(std::string_view wanted) const;

    /// The interface of that id in this program, null if none is known. Safe for any thread.
    static const Interface* find(std::string_view repository_id);

    const char* id;
    const Interface* const* bases = nullptr;
    std::size_t base_count = 0;
};

/// Makes interfaces known to `Interface::find` when it is constructed; a constant of generated code. They
/// live as long as the process.
class InterfaceRegistration {
public:
    template <class... Interfaces>
    explicit InterfaceRegistration(const Interfaces&... interfaces) {
        (enter(interfaces), ...);
    }

private:
    static void enter(const Interface& interface);
};

}  // namespace Caldane
