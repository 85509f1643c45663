# SPDX-License-Identifier: MIT
"""IDL types as C++ types: how they are spelled, passed, stored, and what must be known of them where."""
import dataclasses

from omniidl import idlast, idltype

from . import names

STORED = {
    idltype.tk_short: 'std::int16_t', idltype.tk_long: 'std::int32_t', idltype.tk_ushort: 'std::uint16_t',
    idltype.tk_ulong: 'std::uint32_t', idltype.tk_float: 'float', idltype.tk_double: 'double',
    idltype.tk_boolean: '_Caldane_Boolean', idltype.tk_char: 'char', idltype.tk_octet: 'unsigned char',
    idltype.tk_any: '_Caldane_Any', idltype.tk_void: 'void',
}
PRIMITIVES = frozenset((idltype.tk_short, idltype.tk_long, idltype.tk_ushort, idltype.tk_ulong,
                        idltype.tk_float, idltype.tk_double, idltype.tk_boolean, idltype.tk_char,
                        idltype.tk_octet))

# What has no form on the wire: how it is written in IDL, and what to tell.
REFUSED = {
    idltype.tk_longlong: ('long long', 'the type long long cannot be carried; use double or string'),
    idltype.tk_ulonglong: ('unsigned long long',
                           'the type unsigned long long cannot be carried; use double or string'),
    idltype.tk_longdouble: ('long double', 'the type long double cannot be carried; use double'),
    idltype.tk_wchar: ('wchar', 'the type wchar cannot be carried; use string'),
    idltype.tk_wstring: ('wstring', 'the type wstring cannot be carried; use string'),
    idltype.tk_fixed: ('fixed', 'the type fixed cannot be carried; use xsd::decimal, double or string'),
    idltype.tk_TypeCode: ('TypeCode', 'the type TypeCode cannot be carried; an any tells the type of its value'),
    idltype.tk_Principal: ('Principal', 'the type Principal cannot be carried'),
    idltype.tk_value: ('', 'valuetypes cannot be carried; use a struct'),
    idltype.tk_value_box: ('', 'valuetypes cannot be carried; use a struct'),
    idltype.tk_native: ('', 'native types cannot be carried'),
    idltype.tk_abstract_interface: ('', 'abstract interfaces cannot be carried'),
    idltype.tk_local_interface: ('', 'references to local interfaces cannot be carried'),
}


@dataclasses.dataclass(frozen=True)
class Place:
    """Where a type is spelled: in a namespace, perhaps inside the class of an interface or struct."""
    namespace: tuple[str, ...]
    owner: tuple[str, ...] = ()

    def inside(self, scope: tuple[str, ...]) -> bool:
        return bool(self.owner) and self.owner == scope


class Types:
    """Knows of each scope whether it is a module or an interface, and which names may hide a type inside a class."""

    def __init__(self, modules: set[tuple[str, ...]], interfaces: set[tuple[str, ...]], parts: set[str]):
        self.modules = modules
        self.interfaces = interfaces
        self.hiding = names.BASE_NAMES | parts

    def namespace(self, scoped: tuple[str, ...]) -> tuple[str, ...]:
        """The modules that a declaration stands in."""
        depth = len(scoped) - 1
        while depth > 0 and scoped[:depth] not in self.modules:
            depth -= 1
        return scoped[:depth]

    def class_name(self, scoped: tuple[str, ...]) -> str:
        """The name of a type's class in its namespace. Types inside of others stand beside them."""
        local = scoped[len(self.namespace(scoped)):]
        return names.cxx(local[0]) if len(local) == 1 else '_' + '_'.join(local)

    def scoped_name(self, scoped: tuple[str, ...], place: Place, hoisted: bool = False) -> str:
        if place.inside(scoped[:-1]) and not hoisted:
            return names.cxx(scoped[-1])
        namespace = self.namespace(scoped)
        prefix = ''
        if namespace != place.namespace or scoped[-1] in self.hiding:
            prefix = '::' + ''.join(names.cxx(part) + '::' for part in namespace)
        if scoped[:-1] in self.interfaces and not hoisted:
            return prefix + self.class_name(scoped[:-1]) + '::' + names.cxx(scoped[-1])
        return prefix + self.class_name(scoped)

    def stored(self, idl_type, place: Place, hoisted: bool = False) -> str:
        """The type of a member or element."""
        kind = idl_type.kind()
        if kind in STORED:
            return STORED[kind]
        if isinstance(idl_type, idltype.String):
            return f'_Caldane_BoundedString<{idl_type.bound()}>' if idl_type.bound() else '_Caldane_String'
        if isinstance(idl_type, idltype.Sequence):
            bound = f', {idl_type.bound()}' if idl_type.bound() else ''
            return f'_Caldane_Sequence<{self.stored(idl_type.seqType(), place, hoisted)}{bound}>'
        if is_object(idl_type):
            return '_Caldane_Object'
        return self.scoped_name(tuple(idl_type.decl().scopedName()), place, hoisted)

    def array(self, idl_type, sizes: list[int], place: Place, hoisted: bool = False) -> str:
        spelled = self.stored(idl_type, place, hoisted)
        for size in reversed(sizes):
            spelled = f'_Caldane_Array<{spelled}, {size}>'
        return spelled

    def by_value(self, idl_type, place: Place) -> str:
        """The type of a result, an out parameter or a constant."""
        if is_boolean(idl_type):
            return 'bool'
        return self.stored(idl_type, place)

    def parameter(self, idl_type, place: Place, is_in: bool, is_out: bool) -> str:
        spelled = self.by_value(idl_type, place)
        if is_out:
            return spelled + '&'
        return spelled if is_primitive(idl_type) else f'const {spelled}&'

    def member_setter(self, spelled: str, idl_type, sizes: list[int]) -> str:
        return spelled if not sizes and is_primitive(idl_type) else f'const {spelled}&'


def is_primitive(idl_type) -> bool:
    bare = idl_type.unalias()
    return bare.kind() in PRIMITIVES


def is_object(idl_type) -> bool:
    """IDL's own `Object`, which no declaration brings."""
    return idl_type.decl() is None or idl_type.scopedName() == ['CORBA', 'Object']


def is_boolean(idl_type) -> bool:
    return idl_type.unalias().kind() == idltype.tk_boolean


def initialiser(idl_type, sizes: list[int]) -> str:
    """What stands behind the name of a member."""
    if sizes or not is_primitive(idl_type):
        return ''
    return '{}' if is_boolean(idl_type) else ' = 0'


class Needs:
    """What must stand ahead of a piece of C++: whole definitions, and names alone."""

    def __init__(self, types: Types) -> None:
        self.types = types
        self.whole: list[tuple[str, ...]] = []
        self.named: list[tuple[str, ...]] = []

    def value(self, idl_type) -> 'Needs':
        """An object of the type."""
        self.visit(idl_type, True)
        return self

    def mention(self, idl_type) -> 'Needs':
        """The type in a signature, or as element of a sequence."""
        self.visit(idl_type, False)
        return self

    def visit(self, idl_type, whole: bool) -> None:
        if isinstance(idl_type, idltype.Sequence):
            self.visit(idl_type.seqType(), False)
        elif isinstance(idl_type, idltype.Declared) and not is_object(idl_type):
            decl = idl_type.decl()
            scoped = tuple(decl.scopedName())
            if scoped[:-1] in self.types.interfaces:
                self.whole.append(scoped[:-1])
            if isinstance(decl, idlast.Declarator):
                self.whole.append(scoped)
                if whole:
                    self.visit(decl.alias().aliasType(), True)
            else:
                (self.whole if whole else self.named).append(scoped)
