# SPDX-License-Identifier: MIT
"""From the parsed file to header and source."""
import os

from omniidl import idlast, idltype

from .checks import Checks
from .comments import Comments, children
from .interfaces import Skeleton, Stub, operations_of
from .items import Constant, Enum, Exception, Item, Struct, Typedef, Union
from .layout import Lines, literal
from .names import qualified
from .namespaces import Namespaces
from .options import Options
from .types import Types


def names_of_parts(declarations) -> set[str]:
    """Of members, operations, attributes and parameters: whatever is no type, but stands in a class."""
    found: set[str] = set()
    for decl in declarations:
        if isinstance(decl, (idlast.Member, idlast.Attribute)):
            found.update(declarator.identifier() for declarator in decl.declarators())
        elif isinstance(decl, idlast.UnionCase):
            found.add(decl.declarator().identifier())
        elif isinstance(decl, idlast.Operation):
            found.update([decl.identifier()], (parameter.identifier() for parameter in decl.parameters()))
        else:
            found |= names_of_parts(children(decl))
    return found


class Generator:
    """One IDL file; also the context of its items."""

    def __init__(self, tree, options: Options):
        self.options = options
        self.comments = Comments(tree)
        self.ids: dict[tuple[str, ...], str] = {}
        self.modules: set[tuple[str, ...]] = set()
        self.interfaces: set[tuple[str, ...]] = set()
        self.scan(tree.declarations())
        self.types = Types(self.modules, self.interfaces, names_of_parts(tree.declarations()))
        self.namespaces = Namespaces(options.pragmas, self.ids)
        self.constants: dict[tuple[str, ...], str] = {}
        self.module_comments: dict[tuple[str, ...], list[str]] = {}
        self.items: dict[tuple[str, ...], Item] = {}
        Checks(options.source).check(tree.declarations())
        self.collect(tree.declarations())

    def scan(self, declarations) -> None:
        """The modules and interfaces, those of included files as well."""
        for decl in declarations:
            if isinstance(decl, idlast.Module):
                self.modules.add(tuple(decl.scopedName()))
                self.ids[tuple(decl.scopedName())] = decl.repoId()
                self.scan(decl.definitions())
            elif isinstance(decl, idlast.Interface):
                self.interfaces.add(tuple(decl.scopedName()))
                self.ids[tuple(decl.scopedName())] = decl.repoId()

    def collect(self, declarations) -> None:
        """An item for each declaration of the main file, those inside of others ahead of them."""
        for decl in declarations:
            if not decl.mainFile():
                continue
            if isinstance(decl, idlast.Module):
                text = self.comments.take(decl)
                self.module_comments.setdefault(tuple(decl.scopedName()), []).extend(text)
                self.collect(decl.definitions())
            elif isinstance(decl, idlast.Typedef):
                self.nested([decl])
                for declarator in decl.declarators():
                    self.enter(Typedef(self, declarator, decl.aliasType()))
            elif isinstance(decl, idlast.Const):
                self.enter(Constant(self, decl))
            elif isinstance(decl, idlast.Enum):
                self.enter(Enum(self, decl))
            elif isinstance(decl, (idlast.Struct, idlast.Exception)):
                kind = Struct if isinstance(decl, idlast.Struct) else Exception
                self.enter(kind(self, decl, self.nested(decl.members())))
            elif isinstance(decl, idlast.Union):
                self.enter(Union(self, decl, self.nested_in_union(decl)))
            elif isinstance(decl, idlast.Interface):
                self.collect_interface(decl)

    def collect_interface(self, decl) -> None:
        inner = [part for part in decl.contents()
                 if not isinstance(part, (idlast.Typedef, idlast.Const, idlast.Operation, idlast.Attribute))]
        nested = [tuple(part.scopedName()) for part in inner
                  if isinstance(part, (idlast.Struct, idlast.Exception, idlast.Union, idlast.Enum))]
        for part in decl.contents():
            if isinstance(part, idlast.Typedef):
                nested += self.nested([part])
        stub = Stub(self, decl, nested)
        self.enter(stub)
        for part in stub.parts:
            self.items[part.scoped] = stub
        self.collect(inner)
        self.items[stub.scoped + ('POA',)] = Skeleton(self, decl)

    def nested(self, members) -> list[tuple[str, ...]]:
        """The types declared by members or typedefs in passing."""
        found = []
        for member in members:
            idl_type = getattr(member, 'memberType', None) or member.aliasType
            if member.constrType():
                decl = idl_type().decl()
                self.collect([decl])
                found.append(tuple(decl.scopedName()))
        return found

    def nested_in_union(self, union) -> list[tuple[str, ...]]:
        declared = [union.switchType().decl()] if union.constrType() else []
        declared += [case.caseType().decl() for case in union.cases() if case.constrType()]
        self.collect(declared)
        return [tuple(decl.scopedName()) for decl in declared]

    def enter(self, item: Item) -> None:
        self.items[item.scoped] = item

    def namespace_constant(self, scoped: tuple[str, ...], namespace: tuple[str, ...]) -> str:
        """The name of the constant that holds the XML namespace of a type."""
        scope = scoped[:-1]
        while scope not in self.interfaces and scope != namespace:
            scope = scope[:-1]
        if scope in self.interfaces:
            return self.items[scope].constant('namespace')
        self.constants[namespace] = self.namespaces.of(namespace)
        return '_namespace'

    def ordered(self) -> list[tuple[str, Item]]:
        """Pairs of ('forward' or 'whole', item) in an order that a C++ compiler accepts."""
        result: list[tuple[str, Item]] = []
        begun: set[int] = set()
        named: set[int] = set()

        def emit(item: Item) -> None:
            if id(item) in begun:
                return
            begun.add(id(item))
            needs = item.needs()
            for scoped in needs.whole:
                if scoped in self.items and self.items[scoped] is not item:
                    emit(self.items[scoped])
            for scoped in needs.named:
                other = self.items.get(scoped)
                if other is not None and other is not item and not ({id(other)} & (named | done)):
                    named.add(id(other))
                    result.append(('forward', other))
            result.append(('whole', item))
            done.add(id(item))

        done: set[int] = set()
        for item in self.items.values():
            emit(item)
        return result

    def write(self) -> None:
        order = self.ordered()
        header = self.header_text(order)
        source = self.source_text([item for how, item in order if how == 'whole'])
        for path, text in ((self.options.header_path, header), (self.options.source_path, source)):
            with open(path, 'w', encoding='utf-8') as file:
                file.write(text)

    def preamble(self) -> list[str]:
        return ['// SPDX-License-Identifier: MIT',
                '// Generated by caldane-idl from '
                f'{os.path.basename(self.options.source)}: changes belong there.']

    def header_text(self, order) -> str:
        body = Lines()
        space: tuple[str, ...] | None = ()
        before = ''
        for how, item in order:
            if item.namespace != space:
                self.close(body, space)
                space = item.namespace
                self.open(body, space)
                before = ''
            kind = 'line' if isinstance(item, (Typedef, Constant)) else 'class'
            kind = 'forward' if how == 'forward' else kind
            if kind == 'class' or kind != before:
                body.gap()
            if how == 'forward':
                body.add(item.forward())
            else:
                item.header(body)
            before = kind
        # Behind all classes: their parameters have to be whole.
        for item in (item for how, item in order if how == 'whole' and isinstance(item, Stub)):
            if item.namespace != space:
                self.close(body, space)
                space = item.namespace
                self.open(body, space)
            item.asynchronous_definitions(body)
        self.close(body, space)
        out = Lines()
        out.add(*self.preamble(), '#pragma once', '')
        used = [('<future>', 'std::future<'), ('<string_view>', 'std::string_view'),
                ('<tuple>', 'std::tuple<'), ('<utility>', 'std::move(')]
        standard = ['<cstdint>'] + [name for name, mark in used if mark in body.text()]
        out.add(*(f'#include {name}' for name in standard), '', '#include <caldane/caldane.h>', '')
        if self.options.includes:
            out.add(*(f'#include "{name}"' for name in self.options.includes), '')
        if self.comments.file:
            out.document(self.comments.file, '//')
            out.add('')
        return out.text() + ('\n' + body.text() if body.lines else '')

    def open(self, out: Lines, space: tuple[str, ...]) -> None:
        if not space:
            return
        out.gap()
        for depth in range(1, len(space) + 1):
            out.document(self.module_comments.pop(space[:depth], []))
        out.add(f'namespace {qualified(list(space))} {{', '')

    @staticmethod
    def close(out: Lines, space: tuple[str, ...] | None) -> None:
        if space:
            out.gap()
            out.add(f'}}  // namespace {qualified(list(space))}')

    def source_text(self, items: list[Item]) -> str:
        out = Lines()
        out.add(*self.preamble(), f'#include "{self.options.header_name}"', '')
        spaces = list(dict.fromkeys(item.namespace for item in items))
        for space in spaces:
            self.source_of(out, space, [item for item in items if item.namespace == space])
        return out.text()

    def source_of(self, out: Lines, space: tuple[str, ...], items: list[Item]) -> None:
        body = Lines()
        for item in items:
            body.gap()
            item.source(body)
        if not body.lines:
            return
        self.open(out, space)
        out.gap()
        out.add('namespace {', '')
        if space in self.constants:
            out.add(f'constexpr std::string_view _namespace = {literal(self.constants[space])};')
        for item in items:
            if isinstance(item, Stub):
                out.add(f'constexpr char {item.constant("id")}[] = {literal(item.decl.repoId())};')
                uri = self.namespaces.of(item.scoped)
                if operations_of(item.decl) or self.holds_types(item):
                    out.add(f'constexpr char {item.constant("namespace")}[] = {literal(uri)};')
        self.registration(out, items)
        out.add('', '}  // namespace', '')
        out.lines.extend(body.lines)
        self.close(out, space)
        out.add('')

    def holds_types(self, stub: Stub) -> bool:
        return any(item.registered and item.scoped[:len(stub.scoped)] == stub.scoped
                   for item in self.items.values())

    @staticmethod
    def registration(out: Lines, items: list[Item]) -> None:
        types = [f'{item.name}::_type()' for item in items if item.registered]
        interfaces = [f'{item.name}::_interface()' for item in items if isinstance(item, Stub)]
        if types:
            out.gap()
            out.add('// What an any may bring is found by its name.')
            out.wrapped('const _Caldane_TypeRegistration _types(', types, ');')
        if interfaces:
            out.gap()
            out.add('// What a reference refers to is found by its id.')
            out.wrapped('const Caldane::InterfaceRegistration _interfaces(', interfaces, ');')
