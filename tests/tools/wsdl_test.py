# SPDX-License-Identifier: MIT
"""The WSDL that caldane-idl writes: valid, and of use to four independent readers and to our own."""
import json
import os
import tempfile
import unittest

import xmlschema.extras.wsdl
import zeep

import tools

STYLES = ('encoded', 'literal')
SCHEMAS = os.path.join(os.path.dirname(xmlschema.__file__), 'schemas', 'WSDL')

PHP = '''
$bank = new SoapClient($argv[1], ["cache_wsdl" => 0]);
echo json_encode([$bank->withdraw("alice", 1)->account, $bank->transfer("alice", "bob", 0)["target_balance"] > 0,
                  count($bank->__getFunctions())]);
'''


class LocalSchemas(zeep.Transport):
    """Nothing is fetched: the one schema that is known by its address alone is here."""

    def load(self, url: str) -> bytes:
        path = url if os.path.exists(url) else os.path.join(SCHEMAS, 'soap-encoding.xsd')
        with open(path, 'rb') as file:
            return file.read()


class Wsdl(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = tools.Server('bank_server')
        cls.folder = tempfile.TemporaryDirectory()
        for idl in (tools.BANK_IDL, tools.INTEROP_IDL, tools.SHAPES_IDL, tools.EVERY_IDL):
            done = tools.program('caldane-idl', '--wsdl', '--address', cls.server.url, '-o', cls.folder.name, idl)
            assert done.returncode == 0, done.stderr

    @classmethod
    def tearDownClass(cls):
        cls.server.stop()
        cls.folder.cleanup()

    def path(self, name: str, style: str) -> str:
        return os.path.join(self.folder.name, f'{name}.{style}.wsdl')

    def each(self):
        for name in ('bank', 'interop', 'shapes', 'every_construct'):
            for style in STYLES:
                with self.subTest(name=name, style=style):
                    yield self.path(name, style)

    def test_is_valid_by_the_schemas_of_wsdl_and_soap(self):
        for path in self.each():
            document = xmlschema.extras.wsdl.Wsdl11Document(path, validation='strict')
            self.assertTrue(document.bindings)

    def test_loads_in_other_toolkits(self):
        for path in self.each():
            self.assertTrue(zeep.Client(path, transport=LocalSchemas()).wsdl.services)
            made = tools.run('wsdl2h', '-o', os.devnull, path)
            self.assertEqual(made.returncode, 0, made.stderr)
            # A wsdl2h that cannot go on says so and ends well.
            self.assertNotIn('rror', made.stderr.replace('0 errors', ''))

    def test_php_calls_by_it(self):
        for style in STYLES:
            done = tools.run('php', '-r', PHP, '--', self.path('bank', style))
            self.assertEqual(done.stdout, '["alice",true,9]', done.stdout + done.stderr)

    def test_zeep_calls_by_it(self):
        for style in STYLES:
            service = zeep.Client(self.path('bank', style), transport=LocalSchemas()).service
            self.assertEqual(service.withdraw('alice', 1)['mood'], 'CALM')
            self.assertEqual(service.echo('Grüße'), 'Grüße')

    def test_says_what_the_idl_says(self):
        def shape(path: str) -> list:
            """What a client must know of each operation, with the names of types replaced by the types."""
            done = tools.program('caldane-idl', '--describe', path)
            self.assertEqual(done.returncode, 0, done.stderr)
            description = json.loads(done.stdout)
            types = {entry['scoped']: entry for entry in description['types']}
            seen: list[str] = []

            def plain(idl_type):
                if not isinstance(idl_type, dict):
                    return idl_type
                if 'named' in idl_type:
                    entry = types[idl_type['named']]
                    if entry['kind'] == 'alias':
                        return plain(entry['type'])
                    if entry['id'] in seen:
                        return entry['id']
                    seen.append(entry['id'])
                    whole = [entry['kind'], entry['id'], entry['namespace'],
                             entry['members'] if entry['kind'] == 'enum' else
                             [[part['name'], plain(part['type']), part.get('labels')]
                              for part in entry.get('members', entry.get('branches'))]]
                    seen.pop()
                    return whole
                # Bounds stay with the server, encoded arrays do not tell them.
                return {key: plain(value) for key, value in idl_type.items() if key not in ('bound', 'string')}

            return [[operation['name'], operation['oneway'], operation['namespace'], plain(operation['result']),
                     [[part['name'], part['direction'], plain(part['type'])] for part in operation['parameters']],
                     [plain({'named': raised}) for raised in operation['raises']]]
                    for interface in description['interfaces'] if interface['main'] for operation in interface['operations']]

        for name, idl in (('bank', tools.BANK_IDL), ('interop', tools.INTEROP_IDL), ('shapes', tools.SHAPES_IDL)):
            for style in STYLES:
                with self.subTest(name=name, style=style):
                    self.assertEqual(shape(self.path(name, style)), shape(idl))

    def test_soapcall_calls_by_it(self):
        for style in STYLES:
            done = tools.program('soapcall', '--' + style, '--wsdl', self.path('bank', style), self.server.url, 'limits')
            self.assertEqual(json.loads(done.stdout)['c'], 4294967295, done.stderr)

    def test_faulty_files_are_told(self):
        foreign = ('<definitions xmlns="http://schemas.xmlsoap.org/wsdl/"><portType name="P"><operation name="x"/>'
                   '</portType></definitions>')
        cases = {'<a/>': 'root element', '<a': ':1:', '': ':1:', foreign: 'not as caldane-idl writes it'}
        for text, message in cases.items():
            path = os.path.join(self.folder.name, 'faulty.wsdl')
            with open(path, 'w', encoding='utf-8') as file:
                file.write(text)
            done = tools.program('caldane-idl', '--describe', path)
            self.assertEqual(done.returncode, 1)
            self.assertIn('faulty.wsdl' + (':1:1: the ' if message == 'root element' else ''), done.stderr)
            self.assertIn(message, done.stderr)
            self.assertEqual(done.stdout, '')


if __name__ == '__main__':
    tools.main()
