# SPDX-License-Identifier: MIT
"""Interfaces: the class of references (the stub) and the base of servants (the skeleton)."""
import dataclasses

from omniidl import idlast, idltype

from . import names
from .items import Constant, Item, Typedef
from .layout import WIDTH, Lines, literal
from .types import Needs, Place, is_boolean

IN, OUT, INOUT = range(3)


@dataclasses.dataclass
class Parameter:
    wire_name: str
    type: object
    direction: int
    name: str


@dataclasses.dataclass
class Operation:
    """An operation, or one of the two that an attribute stands for."""
    wire_name: str
    name: str
    result: object
    parameters: list[Parameter]
    raises: list
    oneway: bool
    decl: object
    overloaded: bool = False

    def mentions(self, needs: Needs) -> None:
        for idl_type in [self.result] + [parameter.type for parameter in self.parameters]:
            if idl_type is not None:
                needs.mention(idl_type)

    def result_type(self, types, place: Place) -> str:
        return 'void' if self.result is None else types.by_value(self.result, place)

    def signature(self, types, place: Place) -> list[str]:
        return [f'{types.parameter(p.type, place, p.direction != OUT, p.direction != IN)} {p.name}'
                for p in self.parameters]


def operations_of(decl) -> list[Operation]:
    """Those of the interface itself, in its order."""
    found, taken = [], names.STUB_NAMES | types_within(decl)
    for part in decl.contents():
        if isinstance(part, idlast.Operation):
            found.append(plain_operation(part, taken))
        elif isinstance(part, idlast.Attribute):
            for declarator in part.declarators():
                found.extend(accessors(part, declarator, taken))
    return found


def types_within(decl) -> set[str]:
    """The interface's own name, and those of its types and constants, inherited ones as well."""
    found = {decl.identifier()}
    for part in decl.contents():
        if isinstance(part, idlast.Typedef):
            found.update(declarator.identifier() for declarator in part.declarators())
        elif not isinstance(part, (idlast.Operation, idlast.Attribute)):
            found.add(part.identifier())
    return found.union(*(types_within(base) for base in bases_of(decl)))


def plain_operation(decl, taken: frozenset[str]) -> Operation:
    directions = {(1, 0): IN, (0, 1): OUT, (1, 1): INOUT}
    parameters = [Parameter(p.identifier(), p.paramType(), directions[(int(p.is_in()), int(p.is_out()))],
                            names.cxx(p.identifier(), taken))
                  for p in decl.parameters()]
    result = None if decl.returnType().kind() == idltype.tk_void else decl.returnType()
    return Operation(decl.identifier(), names.cxx(decl.identifier()), result, parameters, decl.raises(),
                     bool(decl.oneway()), decl)


def accessors(attribute, declarator, taken: frozenset[str]) -> list[Operation]:
    name, wire_name = names.cxx(declarator.identifier()), declarator.identifier()
    changeable = not attribute.readonly()
    getter = Operation('_get_' + wire_name, name, attribute.attrType(), [], [], False, declarator, changeable)
    if not changeable:
        return [getter]
    value = Parameter('value', attribute.attrType(), IN, names.cxx('value', taken))
    return [getter, Operation('_set_' + wire_name, name, None, [value], [], False, declarator, True)]


def all_operations(decl) -> list[tuple[object, Operation]]:
    """Each operation with the interface that it comes from: the bases first, none twice."""
    found, seen = [], set()

    def visit(interface) -> None:
        if interface.repoId() in seen:
            return
        seen.add(interface.repoId())
        for base in bases_of(interface):
            visit(base)
        found.extend((interface, operation) for operation in operations_of(interface))

    visit(decl)
    return found


def bases_of(decl) -> list:
    """The interfaces inherited from, typedefs and forward declarations seen through."""
    bases = []
    for base in decl.inherits():
        while isinstance(base, idlast.Declarator):
            base = base.alias().aliasType().decl()
        bases.append(base.fullDecl())
    return bases


class InterfaceItem(Item):
    """What stub and skeleton share."""

    def __init__(self, context, decl):
        super().__init__(context, decl)
        self.operations = operations_of(decl)
        self.bases = bases_of(decl)

    def constant(self, what: str) -> str:
        """The name of a constant in the source; IDL has no names that begin so."""
        return f'_{what}_of_{self.name}'

    def base_name(self, base, prefix: str) -> str:
        scoped = tuple(base.scopedName())
        spelled = self.types.scoped_name(scoped, self.place)
        head, colons, last = spelled.rpartition('::')
        return head + colons + prefix + (scoped[-1] if prefix else last)


class Stub(InterfaceItem):
    def __init__(self, context, decl, nested=()):
        super().__init__(context, decl)
        self.nested = nested
        self.inside = Place(self.namespace, self.scoped)
        self.parts = []
        for part in decl.contents():
            if isinstance(part, idlast.Typedef):
                self.parts.extend(Typedef(context, declarator, part.aliasType())
                                  for declarator in part.declarators())
            elif isinstance(part, idlast.Const):
                self.parts.append(Constant(context, part))

    def needs(self) -> Needs:
        needs = Needs(self.types)
        needs.whole.extend(tuple(base.scopedName()) for base in self.bases)
        needs.named.extend(self.nested)
        for part in self.parts:
            inner = part.needs()
            needs.whole.extend(inner.whole)
            needs.named.extend(inner.named)
        for operation in self.operations:
            operation.mentions(needs)
        needs.whole = [scoped for scoped in needs.whole if scoped != self.scoped and
                       not (scoped[:-1] == self.scoped and scoped not in self.nested)]
        return needs

    def header(self, out: Lines) -> None:
        text = self.context.comments.take(self.decl)
        out.document(text or [f'A reference to an object of the interface {"::".join(self.scoped)}.'])
        bases = [f'public Caldane::Reference<{self.name}>']
        bases += [f'public virtual {self.base_name(base, "")}' for base in self.bases]
        out.wrapped(f'class {self.name} : ', bases, ' {')
        out.add('public:')
        out.depth += 1
        self.declared_types(out)
        if self.bases:
            # Without a move: the classes of a diamond would move their common base twice.
            out.add(f'{self.name}() = default;', f'{self.name}(const {self.name}&) = default;',
                    f'{self.name}& operator=(const {self.name}&) = default;', '')
        for operation in self.operations:
            self.document_operation(out, operation)
            head = f'{operation.result_type(self.types, self.inside)} {operation.name}('
            out.wrapped(head, operation.signature(self.types, self.inside), ') const;')
        out.gap()
        self.asynchronous_declarations(out)
        if self.bases:
            out.add(f'using Caldane::Reference<{self.name}>::_narrow;',
                    f'using Caldane::Reference<{self.name}>::_unchecked_narrow;',
                    f'using Caldane::Reference<{self.name}>::operator->;', '')
        out.add('static const Caldane::Interface& _interface();')
        out.depth -= 1
        out.add('};')

    def asynchronous_declarations(self, out: Lines) -> None:
        declared = [operation for operation in self.operations if self.asynchronous(operation)]
        if not declared:
            return
        out.document(['The same calls, made by a worker thread; '
                      'a future gives the result and the out parameters.'])
        for operation in declared:
            out.add('template <class _Call = Caldane::Async>')
            self.future_function(out, operation, self.inside, '', ') const;')
        out.gap()

    def declared_types(self, out: Lines) -> None:
        self.aliases(out, self.nested)
        for part in self.parts:
            part.document(out)
            storage = ['static'] if isinstance(part, Constant) else []
            out.add(part.line(self.inside, *storage))
        out.gap()

    def document_operation(self, out: Lines, operation: Operation) -> None:
        text = self.context.comments.take(operation.decl)
        if operation.raises:
            thrown = ', '.join(self.exception_name(decl, self.inside) for decl in operation.raises)
            text = text + [f'Throws {thrown}.']
        if operation.oneway:
            text = text + ['Does not wait for an answer.']
        out.document(text)

    def asynchronous(self, operation: Operation) -> str:
        """The name of the function that gives a future; empty where there is nothing to wait for."""
        name = operation.name + '_async'
        taken = any(other.name == name for other in self.operations)
        return '' if operation.oneway or operation.wire_name.startswith('_') or taken else name

    def outcome(self, operation: Operation, place: Place) -> str:
        """What the future gives: the result and the out parameters, as a tuple if there are several."""
        parts = [] if operation.result is None else [self.types.by_value(operation.result, place)]
        parts += [self.types.by_value(p.type, place) for p in operation.parameters if p.direction != IN]
        return 'void' if not parts else parts[0] if len(parts) == 1 else f'std::tuple<{", ".join(parts)}>'

    def given(self, operation: Operation, place: Place) -> list[str]:
        """The parameters that go to the object; what comes back changed is a value of the call's own."""
        return [f'{self.passed(p, place)} {p.name}' for p in operation.parameters if p.direction != OUT]

    def passed(self, parameter: Parameter, place: Place) -> str:
        if parameter.direction == INOUT:
            return self.types.by_value(parameter.type, place)
        return self.types.parameter(parameter.type, place, True, False)

    def future_function(self, out: Lines, operation: Operation, place: Place, prefix: str, tail: str) -> None:
        """Declaration or head of the definition; a type that is too long has lines of its own."""
        outcome = self.outcome(operation, place)
        head = f'{prefix}{self.asynchronous(operation)}('
        given = self.given(operation, self.inside)
        longest = max([len(tail)] + [len(item) + 1 for item in given])
        if 4 * out.depth + len(outcome) + len(head) + 14 + longest <= WIDTH:
            out.wrapped(f'std::future<{outcome}> {head}', given, tail)
            return
        if outcome.startswith('std::tuple<'):
            out.wrapped('std::future<std::tuple<', outcome[len('std::tuple<'):-1].split(', '), '>>')
        else:
            out.add(f'std::future<{outcome}>')
        out.wrapped(head, given, tail)

    def asynchronous_definitions(self, out: Lines) -> None:
        for operation in self.operations:
            if self.asynchronous(operation):
                out.gap()
                self.asynchronous_definition(out, operation)

    def asynchronous_definition(self, out: Lines, operation: Operation) -> None:
        out.add('template <class _Call>')
        self.future_function(out, operation, Place(self.namespace), self.name + '::', ') const {')
        out.depth += 1
        captured = ['_target = *this'] + [p.name for p in operation.parameters if p.direction != OUT]
        changing = any(p.direction == INOUT for p in operation.parameters)
        body = Lines()
        body.depth = out.depth + 1
        self.asynchronous_body(body, operation)
        start = f'return _Call::start([{", ".join(captured)}]{"() mutable" if changing else ""} {{'
        if len(body.lines) == 1 and 4 * out.depth + len(start) + len(body.lines[0].strip()) + 5 <= WIDTH:
            out.add(f'{start} {body.lines[0].strip()} }});')
        else:
            out.wrapped('return _Call::start([', captured, ']() mutable {' if changing else '] {')
            out.lines.extend(body.lines)
            out.add('});')
        out.depth -= 1
        out.add('}')

    def asynchronous_body(self, out: Lines, operation: Operation) -> None:
        place = Place(self.namespace)
        for p in operation.parameters:
            if p.direction == OUT:
                out.add(f'{self.types.by_value(p.type, place)} {p.name}{{}};')
        call, arguments = f'_target.{operation.name}(', [p.name for p in operation.parameters]
        returned = [p.name for p in operation.parameters if p.direction != IN]
        if not returned:
            out.wrapped(('return ' if operation.result is not None else '') + call, arguments, ');')
            return
        if operation.result is not None:
            out.wrapped(f'auto _result = {call}', arguments, ');')
            returned.insert(0, '_result')
        else:
            out.wrapped(call, arguments, ');')
        if len(returned) == 1:
            out.add(f'return {returned[0]};')
        else:
            tuple_type = self.outcome(operation, place)
            made = tuple_type if len(tuple_type) < 60 else 'std::tuple'
            out.wrapped(f'return {made}(', [f'std::move({name})' for name in returned], ');')

    def exception_name(self, decl, place: Place) -> str:
        return self.types.scoped_name(tuple(decl.scopedName()), place)

    def source(self, out: Lines) -> None:
        bases = ['&' + self.base_name(base, '') + '::_interface()' for base in self.bases]
        out.add(f'const Caldane::Interface& {self.name}::_interface() {{')
        out.depth += 1
        if bases:
            out.wrapped('static const Caldane::Interface* const _bases[] = {', bases, '};')
            out.add(f'static const Caldane::Interface _description({self.constant("id")}, _bases);')
        else:
            out.add(f'static constexpr Caldane::Interface _description({self.constant("id")});')
        out.add('return _description;')
        out.depth -= 1
        out.add('}')
        for operation in self.operations:
            out.gap()
            self.definition(out, operation)

    def definition(self, out: Lines, operation: Operation) -> None:
        result = operation.result_type(self.types, Place(self.namespace))
        head = f'{result} {self.name}::{operation.name}('
        out.wrapped(head, operation.signature(self.types, self.inside), ') const {')
        out.depth += 1
        out.wrapped('static const Caldane::Operation _operation(', self.operation_arguments(operation), ');')
        call = 'Caldane::call<' + result + '>('
        arguments = ['*this', '_operation']
        for parameter in operation.parameters:
            how = ('in', 'out', 'inout')[parameter.direction]
            arguments.append(f'Caldane::{how}({literal(parameter.wire_name)}, {parameter.name})')
        out.wrapped(('return ' if operation.result is not None else '') + call, arguments, ');')
        out.depth -= 1
        out.add('}')

    def operation_arguments(self, operation: Operation) -> list[str]:
        arguments = [literal(operation.wire_name), self.constant('namespace')]
        if operation.raises:
            thrown = ', '.join(self.exception_name(decl, self.inside) for decl in operation.raises)
            arguments.append(f'Caldane::raises<{thrown}>')
        if operation.oneway:
            arguments += ([] if operation.raises else ['{}']) + ['Caldane::Operation::ONE_WAY']
        return arguments


class Skeleton(InterfaceItem):
    """Comes behind its stub."""

    def needs(self) -> Needs:
        needs = Needs(self.types)
        needs.whole.append(self.scoped)
        needs.whole.extend(tuple(base.scopedName()) + ('POA',) for base in self.bases)
        for operation in self.operations:
            operation.mentions(needs)
        return needs

    def forward(self) -> str:
        return ''

    @property
    def skeleton(self) -> str:
        return 'POA_' + self.scoped[-1]

    def header(self, out: Lines) -> None:
        out.add(f'/// Base of the servants that references of {self.name} lead to.')
        bases = [f'public virtual {self.base_name(base, "POA_")}' for base in self.bases]
        out.wrapped(f'class {self.skeleton} : ', bases or ['public virtual _Caldane_ImplBase'], ' {')
        out.add('public:')
        out.depth += 1
        place = Place(self.namespace)
        for operation in self.operations:
            head = f'virtual {operation.result_type(self.types, place)} {operation.name}('
            out.wrapped(head, operation.signature(self.types, place), ') = 0;')
        out.gap()
        out.add('const Caldane::OperationTable& _operations() const override;')
        out.depth -= 1
        out.add('};')

    def source(self, out: Lines) -> None:
        out.add(f'const Caldane::OperationTable& {self.skeleton}::_operations() const {{')
        out.depth += 1
        entries = all_operations(self.decl)
        if any(operation.parameters for _, operation in entries):
            out.add('using enum _Caldane_Parameter::Direction;')
        out.add('static const Caldane::OperationTable _table(')
        out.depth += 1
        out.add(f'{self.name}::_interface(),', '{')
        out.depth += 1
        for interface, operation in entries:
            self.entry(out, interface, operation)
        out.depth -= 1
        out.add('});')
        out.depth -= 1
        out.add('return _table;')
        out.depth -= 1
        out.add('}')

    def entry(self, out: Lines, interface, operation: Operation) -> None:
        skeleton = self.base_name(interface, 'POA_')
        function = f'&{skeleton}::{operation.name}'
        if operation.overloaded:
            place = Place(self.namespace)
            given = ', '.join(self.types.parameter(p.type, place, True, False) for p in operation.parameters)
            result = operation.result_type(self.types, place)
            function = f'static_cast<{result} ({skeleton}::*)({given})>({function})'
        arguments = [literal(operation.wire_name)]
        table = []
        if operation.parameters:
            table = [f'{{{literal(p.wire_name)}, {("IN", "OUT", "INOUT")[p.direction]}}}'
                     for p in operation.parameters]
            arguments.append('{' + ', '.join(table) + '}')
        if operation.raises:
            place = Place(self.namespace)
            thrown = [self.types.scoped_name(tuple(decl.scopedName()), place) for decl in operation.raises]
            arguments.append(f'Caldane::raises<{", ".join(thrown)}>')
        if len(table) > 0 and 4 * out.depth + 8 + len(arguments[1]) > WIDTH:
            self.long_entry(out, function, table, arguments)
        else:
            out.wrapped(f'Caldane::method<{function}>(', arguments, '),')

    @staticmethod
    def long_entry(out: Lines, function: str, table: list[str], arguments: list[str]) -> None:
        """The table of parameters takes several lines."""
        out.add(f'Caldane::method<{function}>(')
        out.depth += 1
        out.add(arguments[0] + ',')
        out.wrapped('{', table, '}' + (',' if len(arguments) > 2 else '),'))
        out.add(*(argument + '),' for argument in arguments[2:]))
        out.depth -= 1
