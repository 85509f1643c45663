# SPDX-License-Identifier: MIT
"""Names of IDL as names of C++."""

KEYWORDS = frozenset('''
alignas alignof and and_eq asm auto bitand bitor bool break case catch char char8_t char16_t char32_t class co_await
co_return co_yield compl concept const const_cast consteval constexpr constinit continue decltype default delete do
double dynamic_cast else enum explicit export extern false float for friend goto if inline int long mutable namespace
new noexcept not not_eq nullptr operator or or_eq private protected public register reinterpret_cast requires return
short signed sizeof static static_assert static_cast struct switch template this thread_local throw true try typedef
typeid typename union unsigned using virtual void volatile wchar_t while xor xor_eq
'''.split())

# Names that headers of the C library define as macros.
MACROS = frozenset('''
NULL EOF TRUE FALSE BUFSIZ EDOM ERANGE HUGE_VAL INFINITY NAN assert errno stdin stdout stderr major minor makedev
linux unix signals INT_MAX INT_MIN LONG_MAX LONG_MIN
'''.split())

# Functions of the base of a union class, which those of a member of the same name would hide or clash with.
UNION_NAMES = frozenset((
    'active', 'active_from', 'active_index', 'active_member', 'demarshal_member', 'discriminator',
    'discriminator_type', 'get', 'getProperty', 'is_nil', 'member_name', 'property', 'repository_id', 'select',
    'select_from', 'set', 'setProperty', 'type_name', 'type_namespace'))


def cxx(name: str, taken: frozenset[str] = frozenset()) -> str:
    """The name itself, with `_cxx_` before it where C++ or a macro has another meaning for it."""
    return '_cxx_' + name if name in KEYWORDS or name in MACROS or name in taken else name


def unlike(name: str, others: list[str]) -> str:
    """A local name that none of the others hides."""
    while name in others:
        name += '_'
    return name


def qualified(scope: list[str]) -> str:
    return '::'.join(cxx(part) for part in scope)
