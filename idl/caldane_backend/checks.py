# SPDX-License-Identifier: MIT
"""Refuses what is legal IDL but has no form on the wire."""
from omniidl import idlast, idltype

from .diagnostics import IdlError, message
from .types import REFUSED


class Checks:
    """Collects every fault, those of included files as well, each with the place of the word that is at fault."""

    def __init__(self, source: str):
        self.source = source
        self.faults: dict[str, None] = {}

    def check(self, declarations) -> None:
        self.scope(declarations)
        if self.faults:
            raise IdlError(list(self.faults))

    def fault(self, decl, near: str, reason: str) -> None:
        self.faults[message(decl.file(), decl.line(), near, reason)] = None

    def type(self, idl_type, decl) -> None:
        if isinstance(idl_type, idltype.Sequence):
            self.type(idl_type.seqType(), decl)
            return
        near, reason = REFUSED.get(idl_type.kind(), ('', ''))
        if reason:
            self.fault(decl, near or idl_type.name(), reason)

    def declaration(self, decl) -> None:
        if isinstance(decl, idlast.Module):
            self.scope(decl.definitions())
        elif isinstance(decl, idlast.Interface):
            self.interface(decl)
        elif isinstance(decl, (idlast.Struct, idlast.Exception)):
            self.distinct([declarator for member in decl.members() for declarator in member.declarators()])
            for member in decl.members():
                self.declared_inside(member, member.memberType())
                self.type(member.memberType(), member)
        elif isinstance(decl, idlast.Union):
            self.declared_inside(decl, decl.switchType())
            self.type(decl.switchType(), decl)
            self.distinct([case.declarator() for case in decl.cases()])
            for case in decl.cases():
                self.declared_inside(case, case.caseType())
                self.type(case.caseType(), case)
        elif isinstance(decl, idlast.Typedef):
            self.declared_inside(decl, decl.aliasType())
            self.type(decl.aliasType(), decl)
        elif isinstance(decl, idlast.Const):
            self.type(decl.constType(), decl)
        elif isinstance(decl, idlast.Native):
            self.fault(decl, 'native', f"the native type '{decl.identifier()}' cannot be carried")
        elif isinstance(decl, (idlast.Value, idlast.ValueAbs, idlast.ValueBox, idlast.ValueForward)):
            reason = f"the valuetype '{decl.identifier()}' cannot be carried; use a struct"
            self.fault(decl, 'valuetype', reason)

    def scope(self, declarations) -> None:
        """All of a file or of a module."""
        self.distinct(named(declarations))
        servants = {'POA_' + decl.identifier() for decl in declarations if isinstance(decl, idlast.Interface)}
        for decl in named(declarations):
            if decl.identifier() in servants:
                name = decl.identifier()
                reason = f"'{name}' is what the servants of the interface '{name.removeprefix('POA_')}' derive from"
                self.fault(decl, name, reason)
        for decl in declarations:
            self.declaration(decl)

    def distinct(self, declarations) -> None:
        """IDL tells no names of one scope apart by case."""
        seen: dict[str, str] = {}
        for decl in declarations:
            name = decl.identifier()
            other = seen.setdefault(name.lower(), name)
            if other != name:
                self.fault(decl, name, f"'{name}' differs from '{other}' in the same scope only by case")

    def declared_inside(self, decl, idl_type) -> None:
        if decl.constrType():
            self.declaration(idl_type.decl())

    def interface(self, decl) -> None:
        if decl.abstract() or decl.local():
            kind = 'abstract' if decl.abstract() else 'local'
            reason = f"the {kind} interface '{decl.identifier()}' cannot be called from elsewhere"
            self.fault(decl, kind, reason)
        self.distinct(named(decl.contents()))
        for part in decl.contents():
            if isinstance(part, idlast.Operation):
                self.operation(part)
            elif isinstance(part, idlast.Attribute):
                self.type(part.attrType(), part)
            else:
                self.declaration(part)

    def operation(self, decl) -> None:
        self.distinct(decl.parameters())
        self.type(decl.returnType(), decl)
        for parameter in decl.parameters():
            self.type(parameter.paramType(), parameter)
        if decl.contexts():
            self.fault(decl, 'context', 'context clauses cannot be carried')


def named(declarations) -> list:
    """Everything that has a name in a scope; enumerators are in that of their enum."""
    found = []
    for decl in declarations:
        if isinstance(decl, (idlast.Typedef, idlast.Attribute)):
            found += decl.declarators()
        else:
            found.append(decl)
        if isinstance(decl, idlast.Enum):
            found += decl.enumerators()
    return found
