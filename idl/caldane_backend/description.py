# SPDX-License-Identifier: MIT
"""The types and interfaces of an IDL file as plain data, for programs that learn them while they run.

    {"types": [TYPE...], "interfaces": [INTERFACE...]}

A TYPE has "kind" (struct, exception, union, enum, alias), "scoped" ("Acme::Bank::Receipt"), "name", "id" and
"namespace"; structs and exceptions have "members" of "name" and "type", unions "discriminator" and "branches" of
"name", "type" and "labels" (numbers; none for the default branch), enums "members" (names), aliases "type". The
"type" of anything is the name of a basic type ("long", "any", "Object"), or {"named": SCOPED}, {"string": BOUND},
{"sequence": TYPE, "bound": N}, {"array": TYPE, "length": N}. An INTERFACE has "scoped", "name", "id", "namespace",
"main" (declared in the file itself), "bases" (scoped names) and "operations", those of its bases first: "name",
"oneway", "namespace", "result" (null for void), "parameters" of "name", "direction" (in, out, inout) and "type",
"raises" (scoped names).
"""
import json

from omniidl import idlast, idltype

from .interfaces import Operation, all_operations, bases_of
from .namespaces import Namespaces
from .types import is_object

BASIC = {
    idltype.tk_short: 'short', idltype.tk_long: 'long', idltype.tk_ushort: 'unsigned short',
    idltype.tk_ulong: 'unsigned long', idltype.tk_float: 'float', idltype.tk_double: 'double',
    idltype.tk_boolean: 'boolean', idltype.tk_char: 'char', idltype.tk_octet: 'octet', idltype.tk_any: 'any',
    idltype.tk_objref: 'Object',
}
DIRECTIONS = ('in', 'out', 'inout')


def scoped_text(scoped) -> str:
    return '::'.join(scoped)


class Description:
    """Walks a parsed file, included files as well: what it uses must be known."""

    def __init__(self, tree, namespaces: Namespaces):
        self.namespaces = namespaces
        self.types: list[dict] = []
        self.interfaces: list[dict] = []
        self.visit(tree.declarations())

    def save(self, path: str) -> None:
        with open(path, 'w', encoding='utf-8') as file:
            json.dump({'types': self.types, 'interfaces': self.interfaces}, file, indent=1)

    def visit(self, declarations) -> None:
        for decl in declarations:
            if isinstance(decl, idlast.Module):
                self.visit(decl.definitions())
            elif isinstance(decl, idlast.Interface):
                self.interface(decl)
            elif isinstance(decl, idlast.Typedef):
                self.inner(decl, decl.aliasType())
                for declarator in decl.declarators():
                    self.enter(declarator, 'alias', type=self.sized(decl.aliasType(), declarator.sizes()))
            elif isinstance(decl, idlast.Enum):
                self.enter(decl, 'enum', members=[member.identifier() for member in decl.enumerators()])
            elif isinstance(decl, (idlast.Struct, idlast.Exception)):
                self.record(decl)
            elif isinstance(decl, idlast.Union):
                self.union(decl)

    def inner(self, decl, idl_type) -> None:
        """A type that is declared where it is used."""
        if decl.constrType():
            self.visit([idl_type.decl()])

    def enter(self, decl, kind: str, **content) -> None:
        scoped = tuple(decl.scopedName())
        self.types.append({'kind': kind, 'scoped': scoped_text(scoped), 'name': scoped[-1], 'id': decl.repoId(),
                           'namespace': self.namespaces.of(self.home(scoped)), **content})

    def home(self, scoped: tuple[str, ...]) -> tuple[str, ...]:
        """The module or interface whose namespace a type is in."""
        scope = scoped[:-1]
        while scope and scope not in self.namespaces.ids:
            scope = scope[:-1]
        return scope

    def record(self, decl) -> None:
        for member in decl.members():
            self.inner(member, member.memberType())
        members = [{'name': declarator.identifier(), 'type': self.sized(member.memberType(), declarator.sizes())}
                   for member in decl.members() for declarator in member.declarators()]
        self.enter(decl, 'struct' if isinstance(decl, idlast.Struct) else 'exception', members=members)

    def union(self, decl) -> None:
        self.inner(decl, decl.switchType())
        branches = []
        for case in decl.cases():
            self.inner(case, case.caseType())
            is_default = any(label.default() for label in case.labels())
            labels = [] if is_default else [number_of(label, decl.switchType()) for label in case.labels()]
            branches.append({'name': case.declarator().identifier(), 'labels': labels,
                             'type': self.sized(case.caseType(), case.declarator().sizes())})
        self.enter(decl, 'union', discriminator=self.plain(decl.switchType()), branches=branches)

    def interface(self, decl) -> None:
        self.visit([part for part in decl.contents()
                    if not isinstance(part, (idlast.Const, idlast.Operation, idlast.Attribute))])
        scoped = tuple(decl.scopedName())
        self.interfaces.append({
            'scoped': scoped_text(scoped), 'name': scoped[-1], 'id': decl.repoId(),
            'namespace': self.namespaces.of(scoped),
            'main': bool(decl.mainFile()),
            'bases': [scoped_text(base.scopedName()) for base in bases_of(decl)],
            'operations': [self.operation(operation, owner) for owner, operation in all_operations(decl)]})

    def operation(self, operation: Operation, owner) -> dict:
        return {'name': operation.wire_name, 'oneway': operation.oneway,
                'namespace': self.namespaces.of(tuple(owner.scopedName())),
                'result': None if operation.result is None else self.plain(operation.result),
                'parameters': [{'name': parameter.wire_name, 'direction': DIRECTIONS[parameter.direction],
                                'type': self.plain(parameter.type)} for parameter in operation.parameters],
                'raises': [scoped_text(raised.scopedName()) for raised in operation.raises]}

    def sized(self, idl_type, sizes) -> object:
        result = self.plain(idl_type)
        for size in reversed(sizes or []):
            result = {'array': result, 'length': size}
        return result

    def plain(self, idl_type) -> object:
        if isinstance(idl_type, idltype.String):
            return {'string': idl_type.bound()}
        if isinstance(idl_type, idltype.Sequence):
            return {'sequence': self.plain(idl_type.seqType()), 'bound': idl_type.bound()}
        if isinstance(idl_type, idltype.Declared):
            if is_object(idl_type) or isinstance(idl_type.decl(), (idlast.Interface, idlast.Forward)):
                return 'Object'
            return {'named': scoped_text(idl_type.decl().scopedName())}
        return BASIC[idl_type.kind()]


def number_of(label, switch_type) -> int:
    """A label as the number that travels: of an enum its position, of a char its code."""
    value = label.value()
    kind = switch_type.unalias().kind()
    if kind == idltype.tk_enum:
        return [member.identifier() for member in switch_type.unalias().decl().enumerators()].index(value.identifier())
    if kind == idltype.tk_char:
        code = ord(value)
        return code - 256 if code > 127 else code
    return int(value)
