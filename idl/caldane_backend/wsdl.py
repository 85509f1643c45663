# SPDX-License-Identifier: MIT
"""WSDL 1.1 of the interfaces of an IDL file, from its description: rpc/encoded or rpc/literal.

Types become XML Schema as they travel: a sequence is a SOAP array in encoded messages and a list of "item"
elements in literal ones, octets are base64 in encoded messages, a union is its discriminator "choice" and one
member. A reference to an object has no element of its own, so its place is told as any type.

What XML Schema cannot say stands in attributes of a namespace of our own, which other readers pass over:
repository ids, the labels of a union's members, and the IDL type where its XML form stands for others too.
"""
from collections import Counter
from xml.sax.saxutils import escape, quoteattr

ENCODED, LITERAL = 'encoded', 'literal'
XSD = 'http://www.w3.org/2001/XMLSchema'
SOAP_ENC = 'http://schemas.xmlsoap.org/soap/encoding/'
SOAP = 'http://schemas.xmlsoap.org/wsdl/soap/'
WSDL = 'http://schemas.xmlsoap.org/wsdl/'
CALDANE = 'urn:caldane:idl'

BASIC = {'short': 'xsd:short', 'long': 'xsd:int', 'unsigned short': 'xsd:unsignedShort',
         'unsigned long': 'xsd:unsignedInt', 'float': 'xsd:float', 'double': 'xsd:double', 'boolean': 'xsd:boolean',
         'octet': 'xsd:unsignedByte', 'any': 'xsd:anyType', 'Object': 'xsd:anyType'}
# Those that share their form with another type.
TOLD = ('Object',)
SPECIAL = {f'xsd::{name}': f'xsd:{name}' for name in ('base64Binary', 'hexBinary', 'dateTime', 'decimal')}


class Document:
    """Lines of XML, indented by their depth."""

    def __init__(self) -> None:
        self.lines = ['<?xml version="1.0" encoding="UTF-8"?>']
        self.stack: list[str] = []

    def tag(self, name: str, attributes: dict[str, str], ending: str) -> None:
        text = ''.join(f' {key}={quoteattr(value)}' for key, value in attributes.items())
        self.lines.append(f'{"  " * len(self.stack)}<{name}{text}{ending}')

    def empty(self, name: str, /, **attributes: str) -> None:
        self.tag(name, renamed(attributes), '/>')

    def open(self, name: str, /, **attributes: str) -> None:
        self.tag(name, renamed(attributes), '>')
        self.stack.append(name)

    def close(self) -> None:
        name = self.stack.pop()
        self.lines.append(f'{"  " * len(self.stack)}</{name}>')

    def text(self, name: str, content: str) -> None:
        self.lines.append(f'{"  " * len(self.stack)}<{name}>{escape(content)}</{name}>')

    def result(self) -> str:
        return '\n'.join(self.lines) + '\n'


def renamed(attributes: dict[str, str]) -> dict[str, str]:
    """Python's names of attributes: `xmlns__m` is `xmlns:m`, `type_` is `type`."""
    return {key.rstrip('_').replace('__', ':'): value for key, value in attributes.items()}


class Schema:
    """The schemas of the types that messages use, one for each namespace, and the names by which they are used."""

    def __init__(self, types: list[dict], style: str, target: str):
        self.style = style
        self.target = target
        self.types = {entry['scoped']: entry for entry in types}
        self.prefixes: dict[str, str] = {target: 'tns'}
        self.wanted: dict[str, dict[str, dict]] = {}
        self.begun: set[str] = set()
        # Types without a name are defined where they are used first, so that schemas need each other one way.
        self.home = target
        self.inside: str | None = None  # the namespace whose type is being defined
        self.needs: dict[str, dict[str, None]] = {}

    def prefix(self, namespace: str) -> str:
        return self.prefixes.setdefault(namespace, f'ns{len(self.prefixes)}')

    def use(self, idl_type) -> str:
        """The qualified name of a type, which is going to be defined if it is not one of XML Schema."""
        if idl_type == 'char':
            return self.define(self.home, 'char', {'kind': 'char'})
        if isinstance(idl_type, str):
            return BASIC[idl_type]
        if 'string' in idl_type:
            return 'xsd:string'
        if 'named' in idl_type:
            return self.use_named(self.types[idl_type['named']])
        return self.use_list(idl_type, None)

    def use_named(self, entry: dict) -> str:
        if entry['scoped'] in SPECIAL:
            return SPECIAL[entry['scoped']]
        if entry['kind'] == 'alias':
            inner = entry['type']
            if isinstance(inner, dict) and ('sequence' in inner or 'array' in inner):
                return self.use_list(inner, entry)
            return self.use(inner)
        return self.define(entry['namespace'], entry['name'], entry)

    def use_list(self, idl_type: dict, alias: dict | None) -> str:
        element = idl_type.get('sequence') or idl_type.get('array')
        if self.style == ENCODED and self.bare(element) == 'octet':
            return 'SOAP-ENC:base64'
        if alias is not None:
            return self.define(alias['namespace'], alias['name'], {**idl_type, 'kind': 'list'})
        inner = self.use(element)
        return self.define(self.home, 'ArrayOf_' + inner.replace(':', '_'), {**idl_type, 'kind': 'list'})

    def bare(self, idl_type):
        while isinstance(idl_type, dict) and 'named' in idl_type and self.types[idl_type['named']]['kind'] == 'alias':
            idl_type = self.types[idl_type['named']]['type']
        return idl_type

    def define(self, namespace: str, name: str, entry: dict) -> str:
        qualified = f'{self.prefix(namespace)}:{name}'
        if self.inside not in (None, namespace):
            self.needs.setdefault(self.inside, {})[namespace] = None
        if qualified not in self.begun:
            self.begun.add(qualified)
            self.wanted.setdefault(namespace, {})[name] = entry
            outer = self.home, self.inside
            self.home = self.inside = namespace
            for part in parts_of(entry):
                self.use(part)
            self.home, self.inside = outer
        return qualified

    def in_order(self) -> list[str]:
        """The namespaces, each behind those that it needs: some readers take schemas as they come."""
        found: list[str] = []
        seen: set[str] = set()

        def visit(namespace: str) -> None:
            if namespace in seen:
                return
            seen.add(namespace)
            for other in self.needs.get(namespace, ()):
                visit(other)
            found.append(namespace)

        for namespace in self.wanted:
            visit(namespace)
        return found

    def write(self, out: Document) -> None:
        if not self.wanted:
            return
        out.open('types')
        for namespace in self.in_order():
            self.home = namespace
            out.open('xsd:schema', targetNamespace=namespace)
            for other in self.needs.get(namespace, ()):
                out.empty('xsd:import', namespace=other)
            if self.style == ENCODED:
                out.empty('xsd:import', namespace=SOAP_ENC)
            for name, entry in self.wanted[namespace].items():
                getattr(self, 'write_' + entry['kind'])(out, name, entry)
            out.close()
        out.close()

    def write_list(self, out: Document, name: str, entry: dict) -> None:
        element = self.use(entry.get('sequence') or entry.get('array'))
        length = entry.get('length')
        out.open('xsd:complexType', name=name)
        if self.style == ENCODED:
            out.open('xsd:complexContent')
            out.open('xsd:restriction', base='SOAP-ENC:Array')
            out.empty('xsd:attribute', ref='SOAP-ENC:arrayType', wsdl__arrayType=f'{element}[{length or ""}]')
            out.close()
            out.close()
        else:
            out.open('xsd:sequence')
            most = length or entry.get('bound') or 'unbounded'
            out.empty('xsd:element', name='item', type_=element, minOccurs=str(length or 0), maxOccurs=str(most))
            out.close()
        out.close()

    def write_char(self, out: Document, name: str, entry: dict) -> None:
        out.open('xsd:simpleType', name=name)
        out.open('xsd:restriction', base='xsd:string')
        out.empty('xsd:length', value='1')
        out.close()
        out.close()

    def described(self, named: dict) -> dict[str, str]:
        """Name and type of a member or part."""
        bare = self.bare(named['type'])
        told = {'caldane__idl': bare} if bare in TOLD else {}
        if self.style == ENCODED and isinstance(bare, dict) and self.bare(bare.get('array')) == 'octet':
            told = {'caldane__length': str(bare['length'])}
        return {'name': named['name'], 'type_': self.use(named['type']), **told}

    def write_struct(self, out: Document, name: str, entry: dict) -> None:
        out.open('xsd:complexType', name=name, caldane__id=entry['id'])
        out.open('xsd:sequence')
        for member in entry['members']:
            out.empty('xsd:element', **self.described(member))
        out.close()
        out.close()

    def write_exception(self, out: Document, name: str, entry: dict) -> None:
        self.write_struct(out, name, entry)
        out.empty('xsd:element', name=name, type_=f'{self.prefix(entry["namespace"])}:{name}')

    def write_enum(self, out: Document, name: str, entry: dict) -> None:
        out.open('xsd:simpleType', name=name, caldane__id=entry['id'])
        out.open('xsd:restriction', base='xsd:string')
        for member in entry['members']:
            out.empty('xsd:enumeration', value=member)
        out.close()
        out.close()

    def write_union(self, out: Document, name: str, entry: dict) -> None:
        discriminator = self.bare(entry['discriminator'])
        # Discriminators other than enums travel as numbers.
        is_enum = isinstance(discriminator, dict)
        out.open('xsd:complexType', name=name, caldane__id=entry['id'])
        out.open('xsd:sequence')
        out.empty('xsd:element', name='choice', type_=self.use(discriminator) if is_enum else 'xsd:unsignedInt',
                  **({} if is_enum else {'caldane__idl': discriminator}))
        out.open('xsd:choice', minOccurs='0')
        for branch in entry['branches']:
            out.empty('xsd:element', **self.described(branch), caldane__labels=' '.join(map(str, branch['labels'])))
        out.close()
        out.close()
        out.close()


def parts_of(entry: dict) -> list:
    """The types that a definition refers to."""
    if entry['kind'] == 'list':
        return [entry.get('sequence') or entry.get('array')]
    if entry['kind'] == 'union':
        discriminator = entry['discriminator']
        return ([discriminator] if isinstance(discriminator, dict) else []) + [b['type'] for b in entry['branches']]
    return [] if entry['kind'] in ('enum', 'char') else [member['type'] for member in entry['members']]


def dotted(scoped: str) -> str:
    return scoped.replace('::', '.')


class Wsdl:
    """One document: the interfaces of the IDL file itself, in one of the two styles."""

    def __init__(self, description: dict, name: str, style: str, address: str):
        self.name = name
        self.style = style
        self.address = address
        self.interfaces = [interface for interface in description['interfaces'] if interface['main']]
        self.target = self.interfaces[0]['namespace'] if self.interfaces else 'urn:' + name
        self.schema = Schema(description['types'], style, self.target)
        simple = Counter(interface['name'] for interface in self.interfaces)
        self.labels = {interface['scoped']: interface['name'] if simple[interface['name']] == 1 else
                       dotted(interface['scoped']) for interface in self.interfaces}
        self.message_names: dict[tuple[str, str, str], str] = {}

    def label(self, interface: dict) -> str:
        """The interface's name, with its modules before it where another one has the same."""
        return self.labels[interface['scoped']]

    def message_name(self, interface: dict, operation: dict, suffix: str = '') -> str:
        """One that no other message has: f may have a response, and fResponse be an operation too."""
        key = (interface['scoped'], operation['name'], suffix)
        if key not in self.message_names:
            name = f'{self.label(interface)}_{operation["name"]}{suffix}'
            while name in self.message_names.values():
                name += '_'
            self.message_names[key] = name
        return self.message_names[key]

    def text(self) -> str:
        messages = [message for interface in self.interfaces for message in self.messages(interface)]
        out = Document()
        out.open('definitions', name=self.name, targetNamespace=self.target, xmlns=WSDL, xmlns__wsdl=WSDL,
                 xmlns__soap=SOAP, xmlns__xsd=XSD, xmlns__caldane=CALDANE, **{'xmlns__SOAP-ENC': SOAP_ENC},
                 **{f'xmlns__{prefix}': namespace for namespace, prefix in self.schema.prefixes.items()})
        self.schema.write(out)
        for name, parts in dict(messages).items():
            out.open('message', name=name)
            for part in parts:
                out.empty('part', **part)
            out.close()
        for interface in self.interfaces:
            self.port_type(out, interface)
            self.binding(out, interface)
        self.services(out)
        out.close()
        return out.result()

    def messages(self, interface: dict) -> list[tuple[str, list[dict]]]:
        found = []
        for operation in interface['operations']:
            parameters = operation['parameters']
            found.append((self.message_name(interface, operation), [self.part(p) for p in parameters if p['direction'] != 'out']))
            if not operation['oneway']:
                result = [] if operation['result'] is None else [{'name': 'return', 'type': operation['result']}]
                found.append((self.message_name(interface, operation, 'Response'),
                              [self.part(p) for p in result + [p for p in parameters if p['direction'] != 'in']]))
            for raised in operation['raises']:
                entry = self.schema.types[raised]
                found.append((dotted(raised),
                              [{'name': entry['name'], 'element': self.schema.use({'named': raised})}]))
        return found

    def part(self, parameter: dict) -> dict[str, str]:
        return self.schema.described(parameter)

    def fault_name(self, operation: dict, raised: str) -> str:
        """The exception's name, with its scope before it where the operation raises another of the same name."""
        simple = [self.schema.types[other]['name'] for other in operation['raises']]
        name = self.schema.types[raised]['name']
        return name if simple.count(name) == 1 else dotted(raised)

    def port_type(self, out: Document, interface: dict) -> None:
        out.open('portType', name=self.label(interface), caldane__id=interface['id'])
        for operation in interface['operations']:
            order = ' '.join(parameter['name'] for parameter in operation['parameters'])
            out.open('operation', name=operation['name'], **({'parameterOrder': order} if order else {}))
            out.empty('input', message='tns:' + self.message_name(interface, operation))
            if not operation['oneway']:
                out.empty('output', message='tns:' + self.message_name(interface, operation, 'Response'))
            for raised in operation['raises']:
                out.empty('fault', name=self.fault_name(operation, raised),
                          message='tns:' + dotted(raised))
            out.close()
        out.close()

    def binding(self, out: Document, interface: dict) -> None:
        out.open('binding', name=self.binding_name(interface), type_='tns:' + self.label(interface))
        out.empty('soap:binding', style='rpc', transport='http://schemas.xmlsoap.org/soap/http')
        encoding = {'encodingStyle': SOAP_ENC} if self.style == ENCODED else {}
        for operation in interface['operations']:
            out.open('operation', name=operation['name'])
            out.empty('soap:operation', soapAction=operation['name'], style='rpc')
            for direction in ['input'] if operation['oneway'] else ['input', 'output']:
                out.open(direction)
                out.empty('soap:body', use=self.style, namespace=operation['namespace'], **encoding)
                out.close()
            for raised in operation['raises']:
                out.open('fault', name=self.fault_name(operation, raised))
                out.empty('soap:fault', name=self.fault_name(operation, raised), use=self.style, **encoding)
                out.close()
            out.close()
        out.close()

    def binding_name(self, interface: dict) -> str:
        return self.label(interface) + self.style.capitalize()

    def services(self, out: Document) -> None:
        for interface in self.interfaces:
            out.open('service', name=self.label(interface) + 'Service')
            out.open('port', name=self.label(interface) + 'Port', binding='tns:' + self.binding_name(interface))
            out.empty('soap:address', location=self.address)
            out.close()
            out.close()
