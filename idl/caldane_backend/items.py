# SPDX-License-Identifier: MIT
"""The types of IDL, one class a construct.

Each writes its class into the header and its description into the source.
"""
from omniidl import idltype

from . import names
from .layout import WIDTH, Lines, literal
from .types import Needs, Place, initialiser, is_boolean


class Item:
    """A piece of the header that stands in a namespace."""
    registered = False

    def __init__(self, context, decl):
        self.context = context
        self.types = context.types
        self.decl = decl
        self.scoped = tuple(decl.scopedName())
        self.namespace = self.types.namespace(self.scoped)
        self.name = self.types.class_name(self.scoped)
        self.place = Place(self.namespace)

    def needs(self) -> Needs:
        return Needs(self.types)

    def forward(self) -> str:
        return f'class {self.name};'

    def header(self, out: Lines) -> None:
        raise NotImplementedError

    def source(self, out: Lines) -> None:
        """Nothing for most."""

    def document(self, out: Lines, decl=None) -> None:
        out.document(self.context.comments.take(decl or self.decl))

    def type_info(self) -> str:
        """The id, the name on the wire and the namespace."""
        local = self.scoped[len(self.namespace):]
        if self.scoped[:-1] in self.types.interfaces:
            local = self.scoped[-1:]
        constant = self.context.namespace_constant(self.scoped, self.namespace)
        return f'{{{literal(self.decl.repoId())}, {literal(".".join(local))}, {constant}}}'

    def aliases(self, out: Lines, nested) -> None:
        """The types declared inside, under their own names."""
        for scoped in nested:
            out.add(f'using {names.cxx(scoped[-1])} = {self.types.class_name(scoped)};')
        out.gap()

    def special_members(self, out: Lines) -> None:
        """Copies, moves and the end: declared here and defined once, or each use would bring its own code."""
        name = self.name
        out.add(f'{name}();', f'{name}(const {name}& _other);', f'{name}({name}&& _other) noexcept;',
                f'{name}& operator=(const {name}& _other);', f'{name}& operator=({name}&& _other) noexcept;',
                f'~{name}() override;')

    def special_definitions(self, out: Lines) -> None:
        name = self.name
        out.add(f'{name}::{name}() = default;', f'{name}::{name}(const {name}& _other) = default;',
                f'{name}::{name}({name}&& _other) noexcept = default;',
                f'{name}& {name}::operator=(const {name}& _other) = default;',
                f'{name}& {name}::operator=({name}&& _other) noexcept = default;',
                f'{name}::~{name}() = default;')
        out.gap()

    def info_signature(self, kind: str) -> str:
        return f'const _Caldane_{kind}Info& {self.name}::_info() {{'


class Typedef(Item):
    def __init__(self, context, decl, alias_type):
        super().__init__(context, decl)
        self.alias_type = alias_type

    def needs(self) -> Needs:
        return Needs(self.types).mention(self.alias_type)

    def forward(self) -> str:
        return ''

    def line(self, place: Place) -> str:
        spelled = self.types.array(self.alias_type, self.decl.sizes(), place)
        return f'using {names.cxx(self.scoped[-1])} = {spelled};'

    def header(self, out: Lines) -> None:
        self.document(out)
        out.add(self.line(self.place))


class Constant(Item):
    def needs(self) -> Needs:
        return Needs(self.types).value(self.decl.constType())

    def forward(self) -> str:
        return ''

    def line(self, place: Place, storage: str) -> str:
        kind = self.decl.constType().unalias().kind()
        if kind == idltype.tk_string:
            spelled = 'std::string_view'
        elif kind == idltype.tk_enum:
            spelled = self.types.stored(self.decl.constType(), place) + '::_Value'
        else:
            spelled = self.types.by_value(self.decl.constType(), place)
        name = names.cxx(self.scoped[-1])
        return f'{storage} constexpr {spelled} {name} = {self.value(kind, place)};'

    def value(self, kind: int, place: Place) -> str:
        value = self.decl.value()
        if kind == idltype.tk_string:
            return literal(value)
        if kind == idltype.tk_boolean:
            return 'true' if value else 'false'
        if kind == idltype.tk_char:
            code = ord(value) & 255
            if value in "'\\":
                return f"'\\{value}'"
            return f"'{value}'" if 32 <= code < 127 else f"'\\{code:03o}'"
        if kind == idltype.tk_enum:
            enum = self.types.stored(self.decl.constType(), place)
            return f'{enum}::{names.cxx(value.identifier())}'
        if kind in (idltype.tk_float, idltype.tk_double):
            return repr(float(value)) + ('F' if kind == idltype.tk_float else '')
        if value == -2147483648:
            return '-2147483647 - 1'
        return f'{value}U' if kind == idltype.tk_ulong else str(value)

    def header(self, out: Lines) -> None:
        self.document(out)
        out.add(self.line(self.place, 'inline'))


class Enum(Item):
    registered = True

    def members(self) -> list[str]:
        return [names.cxx(member.identifier()) for member in self.decl.enumerators()]

    def header(self, out: Lines) -> None:
        self.document(out)
        out.add(f'class {self.name} final : public _Caldane_Enum<{self.name}> {{', 'public:')
        out.depth += 1
        comments = [self.context.comments.take(member) for member in self.decl.enumerators()]
        if any(comments):
            out.add('enum _Value : _Caldane_ULong {')
            out.depth += 1
            for member, text in zip(self.members(), comments):
                out.document(text)
                out.add(member + ',')
            out.depth -= 1
            out.add('};')
        else:
            out.wrapped('enum _Value : _Caldane_ULong { ', self.members(), ' };')
        out.gap()
        out.add(f'{self.name}(_Value _initial = {self.members()[0]}) : _Caldane_Enum(_initial) {{}}',
                'operator _Value() const { return static_cast<_Value>(_Caldane_Enum::value_); }', '',
                'static const _Caldane_EnumInfo& _info();')
        out.depth -= 1
        out.add('};')

    def source(self, out: Lines) -> None:
        out.add(self.info_signature('Enum'))
        out.depth += 1
        out.wrapped('static constexpr std::string_view _members[] = {',
                    [literal(member.identifier()) for member in self.decl.enumerators()], '};')
        out.wrapped('static constexpr _Caldane_EnumInfo _description(', [self.type_info(), '_members'], ');')
        out.add('return _description;')
        out.depth -= 1
        out.add('}')


class Member:
    """One declarator of a struct or exception."""

    def __init__(self, decl, idl_type):
        self.decl = decl
        self.type = idl_type
        self.sizes = decl.sizes()
        self.wire_name = decl.identifier()
        self.name = names.cxx(self.wire_name)


def members_of(decl) -> list[Member]:
    return [Member(declarator, member.memberType())
            for member in decl.members() for declarator in member.declarators()]


class Struct(Item):
    base, kind, registered = '_Caldane_Struct', 'Struct', True

    def __init__(self, context, decl, nested=()):
        super().__init__(context, decl)
        self.members = members_of(decl)
        self.nested = nested
        self.inside = Place(self.namespace, self.scoped)

    def needs(self) -> Needs:
        needs = Needs(self.types)
        for member in self.members:
            needs.value(member.type)
        needs.named.extend(self.nested)
        return needs

    def member_type(self, member: Member) -> str:
        return self.types.array(member.type, member.sizes, self.inside)

    def constructors(self, out: Lines) -> None:
        if not self.members:
            return
        if self.is_flat():
            out.add(f'{self.name}() = default;')
        else:
            self.special_members(out)
        explicit = 'explicit ' if len(self.members) == 1 else ''
        named = list(zip(self.members, names.parameters([member.name for member in self.members])))
        given = [f'{self.member_type(member)} {parameter}' for member, parameter in named]
        taken = [f'{member.name}({parameter})' if self.is_plain(member) else
                 f'{member.name}(std::move({parameter}))' for member, parameter in named]
        head = f'{explicit}{self.name}('
        line = f'{head}{", ".join(given)}) : {", ".join(taken)} {{}}'
        if 4 * out.depth + len(line) <= WIDTH:
            out.add(line)
        else:
            out.wrapped(head, given, ')')
            out.depth += 1
            joined = ', '.join(taken)
            if 4 * out.depth + len(joined) + 5 <= WIDTH:
                out.add(f': {joined} {{}}')
            else:
                out.add(*((': ' if index == 0 else '  ') + part + (' {}' if index == len(taken) - 1 else ',')
                          for index, part in enumerate(taken)))
            out.depth -= 1

    def is_flat(self) -> bool:
        """Nothing but numbers and the like: what the compiler makes of it by itself is a few moves."""
        return all(self.is_plain(member) for member in self.members)

    @staticmethod
    def is_plain(member: Member) -> bool:
        return bool(initialiser(member.type, member.sizes))

    def header(self, out: Lines) -> None:
        self.document(out)
        out.add(f'class {self.name} final : public {self.base}<{self.name}> {{', 'public:')
        out.depth += 1
        self.head(out)
        self.aliases(out, self.nested)
        self.constructors(out)
        out.gap()
        for member in self.members:
            self.document(out, member.decl)
            out.add(f'{self.member_type(member)} {member.name}{initialiser(member.type, member.sizes)};')
        out.gap()
        out.add('static const _Caldane_StructInfo& _info();')
        out.depth -= 1
        out.add('};')

    def head(self, out: Lines) -> None:
        """What comes first in the class."""

    def source(self, out: Lines) -> None:
        if not self.is_flat():
            self.special_definitions(out)
        out.add(self.info_signature('Struct'))
        out.depth += 1
        arguments = [self.type_info()]
        if self.members:
            out.add('static constexpr _Caldane_Member _members[] = {')
            out.depth += 1
            for member in self.members:
                out.add(f'_Caldane_member<&{self.name}::{member.name}>({literal(member.wire_name)}),')
            out.depth -= 1
            out.add('};')
            arguments.append('_members')
        out.wrapped('static constexpr _Caldane_StructInfo _description(', arguments, ');')
        out.add('return _description;')
        out.depth -= 1
        out.add('}')


class Exception(Struct):
    base = '_Caldane_UserException'

    def head(self, out: Lines) -> None:
        out.add('PEL_HEAP_OBJECT')


class Union(Item):
    registered = True

    def __init__(self, context, decl, nested=()):
        super().__init__(context, decl)
        self.nested = nested
        self.inside = Place(self.namespace, self.scoped)
        self.cases = decl.cases()

    def needs(self) -> Needs:
        needs = Needs(self.types).value(self.decl.switchType())
        for case in self.cases:
            needs.value(case.caseType())
        needs.whole.extend(self.nested)
        return needs

    def member_type(self, case, place: Place, hoisted: bool = False) -> str:
        return self.types.array(case.caseType(), case.declarator().sizes(), place, hoisted)

    def header(self, out: Lines) -> None:
        self.document(out)
        given = [self.name, self.types.stored(self.decl.switchType(), self.place, True)]
        given += [self.member_type(case, self.place, True) for case in self.cases]
        out.wrapped(f'class {self.name} final : public _Caldane_Union<', given, '> {')
        out.add('public:')
        out.depth += 1
        self.aliases(out, self.nested)
        for index, case in enumerate(self.cases):
            self.accessors(out, index, case)
        out.gap()
        out.add('static const _Caldane_UnionInfo& _info();')
        out.depth -= 1
        out.add('};')

    def accessors(self, out: Lines, index: int, case) -> None:
        declarator = case.declarator()
        name = names.cxx(declarator.identifier(), names.UNION_NAMES)
        spelled = self.member_type(case, self.inside)
        text = self.context.comments.take(case) + self.context.comments.take(declarator)
        out.document(text)
        out.add(f'const {spelled}* {name}() const {{ return get<{index}>(); }}')
        if not declarator.sizes() and is_boolean(case.caseType()):
            out.add(f'void {name}(bool value) {{ set<{index}>(static_cast<_Caldane_Boolean>(value)); }}')
        else:
            setter = self.types.member_setter(spelled, case.caseType(), declarator.sizes())
            out.add(f'void {name}({setter} value) {{ set<{index}>(value); }}')

    def labels(self) -> tuple[list[tuple[int, int]], int | None]:
        """Pairs of a discriminator's number and the index of its member; the index of the default member."""
        pairs, default = [], None
        for index, case in enumerate(self.cases):
            for label in case.labels():
                if label.default():
                    default = index
                else:
                    pairs.append((self.label_number(label), index))
        return pairs, default

    @staticmethod
    def label_number(label) -> int:
        value = label.value()
        if hasattr(value, 'value'):
            return value.value()
        number = ord(value) if isinstance(value, str) else int(value)
        return number - (1 << 32) if number > 0x7FFFFFFF else number

    def source(self, out: Lines) -> None:
        pairs, default = self.labels()
        out.add(self.info_signature('Union'))
        out.depth += 1
        out.wrapped('static constexpr std::string_view _members[] = {',
                    [literal(case.declarator().identifier()) for case in self.cases], '};')
        arguments = [self.type_info(), '_members']
        if pairs:
            numbers = ['-2147483647 - 1' if label == -2147483648 else str(label) for label, _ in pairs]
            out.wrapped('static constexpr _Caldane_Case _cases[] = {',
                        [f'{{{number}, {member}}}' for number, (_, member) in zip(numbers, pairs)], '};')
            arguments.append('_cases')
        if default is not None:
            arguments.append(str(default))
        out.wrapped('static constexpr _Caldane_UnionInfo _description(', arguments, ');')
        out.add('return _description;')
        out.depth -= 1
        out.add('}')
