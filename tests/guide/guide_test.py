# SPDX-License-Identifier: MIT
"""The guide: its listings are the files they name, its links lead somewhere, its programs run."""
import os
import re
import signal
import subprocess
import sys
import tempfile
import unittest

BUILD, SOURCE = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
BIN = os.path.join(BUILD, 'bin')
DOCS = os.path.join(SOURCE, 'docs')
HELLO = os.path.join(SOURCE, 'examples', 'hello')
LISTING = re.compile(r'<!-- file: (\S+) -->\n```\w*\n(.*?)```\n', re.DOTALL)
LINK = re.compile(r'\]\(([^)#:]+)(?:#[^)]*)?\)')


def run(*words: str, **settings) -> subprocess.CompletedProcess:
    return subprocess.run(words, capture_output=True, text=True, timeout=60, **settings)


def pages() -> list[str]:
    return [os.path.join(folder, name) for folder, _, names in os.walk(DOCS) for name in names if name.endswith('.md')]


class Guide(unittest.TestCase):
    def test_listings_are_the_files(self):
        found = 0
        for page in pages():
            with open(page, encoding='utf-8') as file:
                for name, listing in LISTING.findall(file.read()):
                    with open(os.path.join(SOURCE, name), encoding='utf-8') as shown:
                        text = shown.read().replace('// SPDX-License-Identifier: MIT\n', '')
                    self.assertEqual(listing, text, f'{page}: {name}')
                    found += 1
        self.assertGreater(found, 5)

    def test_links_lead_somewhere(self):
        for page in pages() + [os.path.join(SOURCE, 'README.md')]:
            with open(page, encoding='utf-8') as file:
                for target in LINK.findall(file.read()):
                    self.assertTrue(os.path.exists(os.path.join(os.path.dirname(page), target)), f'{page}: {target}')

    def test_listed_programs_are_short(self):
        for name in ('hello_server.cpp', 'hello_client.cpp'):
            with open(os.path.join(HELLO, name), encoding='utf-8') as file:
                self.assertLessEqual(len([line for line in file if line.strip()]), 25, name)


class OtherLanguages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = subprocess.Popen([os.path.join(BIN, 'hello_server')], stdout=subprocess.PIPE, text=True)
        cls.url = cls.server.stdout.readline().split()[1]
        cls.folder = tempfile.TemporaryDirectory()
        made = run(os.path.join(BIN, 'caldane-idl'), '--wsdl', '--address', cls.url, '-o', cls.folder.name,
                   os.path.join(HELLO, 'hello.idl'))
        assert made.returncode == 0, made.stderr

    @classmethod
    def tearDownClass(cls):
        cls.server.send_signal(signal.SIGTERM)
        cls.server.communicate(timeout=20)
        cls.folder.cleanup()

    def test_each_greets_and_tells_faults(self):
        wsdl = os.path.join(self.folder.name, 'hello.')
        programs = {'hello.php': ['php', wsdl + 'encoded.wsdl'], 'hello.py': ['/usr/bin/python3', wsdl + 'literal.wsdl'],
                    'hello.pl': ['perl', self.url], 'hello.mjs': ['node', self.url], 'hello.sh': ['sh', self.url]}
        self.assertEqual(sorted(programs), sorted(os.listdir(os.path.join(HELLO, 'other_languages'))))
        for program, (interpreter, where) in programs.items():
            path = os.path.join(HELLO, 'other_languages', program)
            with self.subTest(program):
                for name in ('world', 'you & <"me">'):
                    said = run(interpreter, path, where, name)
                    self.assertEqual(said.stdout.rstrip(), f'Hello, {name}!', said.stderr)
                self.assertNotEqual(run(interpreter, path, where, '').returncode, 0)


if __name__ == '__main__':
    unittest.main(verbosity=1)
