# SPDX-License-Identifier: MIT
"""WSDL 1.1 of the interfaces of an IDL file, from its description: rpc/encoded or rpc/literal.

Types become XML Schema as they travel: a sequence is a SOAP array in encoded messages and a list of "item"
elements in literal ones, octets are base64 in encoded messages, a union is its discriminator "choice" and one
member. A reference to an object has no element of its own, so its place is told as any type.

What XML Schema cannot say stands in attributes of a namespace of our own, which other readers pass over:
repository ids, the labels of a union's members, and the IDL type where its XML form stands for others too.
"""
from xml.sax.saxutils import escape, quoteattr

ENCODED, LITERAL = 'encoded', 'literal'
XSD = 'http://www.w3.org/2001/XMLSchema'
SOAP_ENC = 'http://schemas.xmlsoap.org/soap/encoding/'
SOAP = 'http://schemas.xmlsoap.org/wsdl/soap/'
WSDL = 'http://schemas.xmlsoap.org/wsdl/'
CALDANE = 'urn:caldane:idl'

BASIC = {'short': 'xsd:short', 'long': 'xsd:int', 'unsigned short': 'xsd:unsignedShort',
         'unsigned long': 'xsd:unsignedInt', 'float': 'xsd:float', 'double': 'xsd:double', 'boolean': 'xsd:boolean',
         'octet': 'xsd:unsignedByte', 'any': 'xsd:anyType', 'Object': 'xsd:anyType',
         'TypeCode': 'xsd:anyType'}
# Those that share their form with another type.
TOLD = ('Object', 'TypeCode')
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
        if qualified not in self.begun:
            self.begun.add(qualified)
            self.wanted.setdefault(namespace, {})[name] = entry
            outer, self.home = self.home, namespace
            for part in parts_of(entry):
                self.use(part)
            self.home = outer
        return qualified

    def write(self, out: Document) -> None:
        if not self.wanted:
            return
        out.open('types')
        for namespace, entries in self.wanted.items():
            self.home = namespace
            out.open('xsd:schema', targetNamespace=namespace)
            for other in self.wanted:
                if other != namespace:
                    out.empty('xsd:import', namespace=other)
            if self.style == ENCODED:
                out.empty('xsd:import', namespace=SOAP_ENC)
            for name, entry in entries.items():
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


class Wsdl:
    """One document: the interfaces of the IDL file itself, in one of the two styles."""

    def __init__(self, description: dict, name: str, style: str, address: str):
        self.name = name
        self.style = style
        self.address = address
        self.interfaces = [interface for interface in description['interfaces'] if interface['main']]
        self.target = self.interfaces[0]['namespace'] if self.interfaces else 'urn:' + name
        self.schema = Schema(description['types'], style, self.target)

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
            stem = f'{interface["name"]}_{operation["name"]}'
            parameters = operation['parameters']
            found.append((stem, [self.part(p) for p in parameters if p['direction'] != 'out']))
            if not operation['oneway']:
                result = [] if operation['result'] is None else [{'name': 'return', 'type': operation['result']}]
                found.append((stem + 'Response',
                              [self.part(p) for p in result + [p for p in parameters if p['direction'] != 'in']]))
            for raised in operation['raises']:
                entry = self.schema.types[raised]
                found.append((self.fault_message(raised),
                              [{'name': entry['name'], 'element': self.schema.use({'named': raised})}]))
        return found

    def part(self, parameter: dict) -> dict[str, str]:
        return self.schema.described(parameter)

    @staticmethod
    def fault_message(scoped: str) -> str:
        return scoped.replace('::', '.')

    def port_type(self, out: Document, interface: dict) -> None:
        out.open('portType', name=interface['name'], caldane__id=interface['id'])
        for operation in interface['operations']:
            stem = f'tns:{interface["name"]}_{operation["name"]}'
            order = ' '.join(parameter['name'] for parameter in operation['parameters'])
            out.open('operation', name=operation['name'], **({'parameterOrder': order} if order else {}))
            out.empty('input', message=stem)
            if not operation['oneway']:
                out.empty('output', message=stem + 'Response')
            for raised in operation['raises']:
                out.empty('fault', name=self.schema.types[raised]['name'],
                          message='tns:' + self.fault_message(raised))
            out.close()
        out.close()

    def binding(self, out: Document, interface: dict) -> None:
        out.open('binding', name=self.binding_name(interface), type_='tns:' + interface['name'])
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
                out.open('fault', name=self.schema.types[raised]['name'])
                out.empty('soap:fault', name=self.schema.types[raised]['name'], use=self.style, **encoding)
                out.close()
            out.close()
        out.close()

    def binding_name(self, interface: dict) -> str:
        return interface['name'] + self.style.capitalize()

    def services(self, out: Document) -> None:
        for interface in self.interfaces:
            out.open('service', name=interface['name'] + 'Service')
            out.open('port', name=interface['name'] + 'Port', binding='tns:' + self.binding_name(interface))
            out.empty('soap:address', location=self.address)
            out.close()
            out.close()
