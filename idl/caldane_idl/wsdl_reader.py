# SPDX-License-Identifier: MIT
"""The description (see `caldane_backend.description`) of a WSDL file that caldane-idl made."""
import xml.etree.ElementTree as ElementTree

from caldane_backend.wsdl import BASIC, CALDANE, SOAP, SOAP_ENC, SPECIAL, WSDL, XSD

FROM_XSD = {form.split(':')[1]: idl for idl, form in BASIC.items() if form != 'xsd:anyType'} | {'anyType': 'any'}
OCTETS = {'sequence': 'octet', 'bound': 0}


class WsdlError(Exception):
    """The file is no WSDL, or says what caldane-idl does not write; told as it is."""


def tag(namespace: str, name: str) -> str:
    return f'{{{namespace}}}{name}'


class WsdlReader:
    def __init__(self, path: str):
        self.path = path
        self.prefixes: dict[str, str] = {}
        try:
            for _, (prefix, uri) in ElementTree.iterparse(path, ['start-ns']):
                self.prefixes[prefix] = uri
            self.root = ElementTree.parse(path).getroot()
        except ElementTree.ParseError as error:
            line, column = error.position
            raise WsdlError(f'{path}:{line}:{column + 1}: {str(error).split(":")[0]}') from None
        if self.root.tag != tag(WSDL, 'definitions'):
            raise WsdlError(f'{path}:1:1: the root element is not WSDL\'s "definitions"')
        self.types: dict[tuple[str, str], dict] = {}
        self.exceptions: dict[tuple[str, str], str] = {}

    def description(self) -> dict:
        try:
            return self.read()
        except (AttributeError, IndexError, KeyError, TypeError, ValueError):
            # Anything may be missing or in another place where somebody else wrote it.
            raise WsdlError(f'{self.path}: this is WSDL, but not as caldane-idl writes it') from None

    def read(self) -> dict:
        for schema in self.root.iter(tag(XSD, 'schema')):
            namespace = schema.get('targetNamespace', '')
            self.exceptions |= {(namespace, element.get('name')): '' for element in schema.findall(tag(XSD, 'element'))}
        for schema in self.root.iter(tag(XSD, 'schema')):
            for definition in schema:
                if definition.tag in (tag(XSD, 'complexType'), tag(XSD, 'simpleType')):
                    self.enter(schema.get('targetNamespace', ''), definition)
        types = list(self.types.values()) + [self.special(name) for name in SPECIAL]
        return {'types': types, 'interfaces': [self.interface(part) for part in self.root.iter(tag(WSDL, 'portType'))]}

    @staticmethod
    def special(scoped: str) -> dict:
        name = scoped.split('::')[1]
        value = {'base64Binary': OCTETS, 'hexBinary': OCTETS, 'dateTime': 'long', 'decimal': {'string': 0}}[name]
        return {'kind': 'struct', 'scoped': scoped, 'name': name, 'id': f'IDL:xsd/{name}:1.0', 'namespace': XSD,
                'members': [{'name': 'value', 'type': value}]}

    def qualified(self, text: str) -> tuple[str, str]:
        prefix, _, name = text.rpartition(':')
        if prefix not in self.prefixes:
            raise WsdlError(f"{self.path}: the prefix of '{text}' is not declared")
        return self.prefixes[prefix], name

    @staticmethod
    def scoped(namespace: str, name: str) -> str:
        return f'{{{namespace}}}{name}'

    def enter(self, namespace: str, definition) -> None:
        name = definition.get('name')
        entry = {'scoped': self.scoped(namespace, name), 'name': name, 'namespace': namespace,
                 'id': definition.get(tag(CALDANE, 'id'), f'IDL:{name}:1.0')}
        restriction = definition.find(f'.//{tag(XSD, "restriction")}')
        sequence = definition.find(tag(XSD, 'sequence'))
        if definition.tag == tag(XSD, 'simpleType'):
            members = [value.get('value') for value in definition.iter(tag(XSD, 'enumeration'))]
            entry |= {'kind': 'enum', 'members': members} if members else {'kind': 'alias', 'type': 'char'}
        elif restriction is not None:
            entry |= {'kind': 'alias', 'type': self.soap_array(restriction)}
        elif sequence is None:
            raise WsdlError(f"{self.path}: the type '{name}' is none that caldane-idl writes")
        elif sequence.find(tag(XSD, 'choice')) is not None:
            entry |= self.union(sequence)
        elif [element.get('name') for element in sequence] == ['item'] and sequence[0].get('maxOccurs'):
            entry |= {'kind': 'alias', 'type': self.items(sequence[0])}
        else:
            kind = 'exception' if (namespace, name) in self.exceptions else 'struct'
            entry |= {'kind': kind, 'members': [self.named(element) for element in sequence]}
        self.types[namespace, name] = entry

    def soap_array(self, restriction) -> dict:
        attribute = restriction.find(tag(XSD, 'attribute'))
        form = '' if attribute is None else attribute.get(tag(WSDL, 'arrayType'), '')
        element, _, length = form.rstrip(']').rpartition('[')
        if length:
            return {'array': self.type(element), 'length': int(length)}
        return {'sequence': self.type(element), 'bound': 0}

    def items(self, item) -> dict:
        element, least, most = self.type(item.get('type')), item.get('minOccurs', '0'), item.get('maxOccurs')
        if most != 'unbounded' and least == most:
            return {'array': element, 'length': int(most)}
        return {'sequence': element, 'bound': 0 if most == 'unbounded' else int(most)}

    def union(self, sequence) -> dict:
        discriminator = sequence[0]
        branches = [{**self.named(element), 'labels': [int(word) for word in element.get(tag(CALDANE, 'labels'), '').split()]}
                    for element in sequence.find(tag(XSD, 'choice'))]
        return {'kind': 'union', 'discriminator': self.named(discriminator)['type'], 'branches': branches}

    def named(self, element) -> dict:
        told, length = element.get(tag(CALDANE, 'idl')), element.get(tag(CALDANE, 'length'))
        if length:
            return {'name': element.get('name'), 'type': {'array': 'octet', 'length': int(length)}}
        return {'name': element.get('name'), 'type': told or self.type(element.get('type', ''))}

    def type(self, text: str):
        namespace, name = self.qualified(text)
        if namespace == SOAP_ENC and name == 'base64':
            return OCTETS
        if namespace != XSD:
            return {'named': self.scoped(namespace, name)}
        if f'xsd::{name}' in SPECIAL:
            return {'named': f'xsd::{name}'}
        if name == 'string':
            return {'string': 0}
        if name not in FROM_XSD:
            raise WsdlError(f"{self.path}: the type '{text}' is none that caldane-idl writes")
        return FROM_XSD[name]

    def message(self, reference) -> list:
        name = self.qualified(reference.get('message'))[1]
        for message in self.root.findall(tag(WSDL, 'message')):
            if message.get('name') == name:
                return list(message)
        raise WsdlError(f"{self.path}: there is no message '{name}'")

    def interface(self, port_type) -> dict:
        namespaces = self.namespaces(port_type.get('name'))
        operations = [self.operation(operation, namespaces) for operation in port_type.findall(tag(WSDL, 'operation'))]
        return {'scoped': port_type.get('name'), 'name': port_type.get('name'), 'main': True, 'bases': [],
                'id': port_type.get(tag(CALDANE, 'id'), ''), 'namespace': self.root.get('targetNamespace', ''),
                'operations': operations}

    def namespaces(self, port_type: str) -> dict[str, str]:
        """Those of the operations' elements, from the first binding."""
        for binding in self.root.findall(tag(WSDL, 'binding')):
            if self.qualified(binding.get('type'))[1] == port_type:
                return {operation.get('name'): operation.find(f'.//{tag(SOAP, "body")}').get('namespace', '')
                        for operation in binding.findall(tag(WSDL, 'operation'))}
        return {}

    def operation(self, operation, namespaces: dict[str, str]) -> dict:
        output = operation.find(tag(WSDL, 'output'))
        ins = [self.named(part) for part in self.message(operation.find(tag(WSDL, 'input')))]
        outs = [] if output is None else [self.named(part) for part in self.message(output)]
        result = next((part['type'] for part in outs if part['name'] == 'return'), None)
        parts = {part['name']: part for part in ins + outs if part['name'] != 'return'}
        order = operation.get('parameterOrder', '').split() or list(parts)
        taken, given = {part['name'] for part in ins}, {part['name'] for part in outs}
        directions = {name: 'in' if name not in given else 'inout' if name in taken else 'out' for name in parts}
        raises = [self.scoped(*self.qualified(part.get('element')))
                  for fault in operation.findall(tag(WSDL, 'fault')) for part in self.message(fault)]
        return {'name': operation.get('name'), 'oneway': output is None, 'result': result, 'raises': raises,
                'namespace': namespaces.get(operation.get('name'), ''),
                'parameters': [{**parts[name], 'direction': directions[name]} for name in order]}
