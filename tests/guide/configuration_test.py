#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Holds docs/configuration.md against the table of settings, as -help prints it, and the table against the code:
every property that is read has a row, with the default that it has, and none has one that nobody reads.
Arguments: source folder, a program of ours."""
import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(sys.argv[1])
PROGRAM = sys.argv[2]

READS = re.compile(r'(?:[pP]roperties(?:\(\))?\.(?:get|number)|_property|setting)\(\s*(?:oper, )?"(\w+)"'
                   r'|property \+= "(\w+)"')
LOOKS_LIKE_ONE = re.compile(r'"((?:SOAP|ZOLT)_[A-Z0-9_]+)"')
ROW = re.compile(r'^    -D(<?[\w<>]+?)(?:=<(.*)>)?\n +.*\n +(?:(.*); )?default: (.*)$', re.MULTILINE)

# Where a default stands that is not taken from the table.
DEFAULTS = {
    'call_timeout': ('platform/caldane/invoke.cpp', r'"call_timeout", (\d+)'),
    'dispatcher_threads': ('platform/caldane/worker_monitor.cpp', r'kDefaultLimit = (\d+)'),
    'SOAP_MAX_BODY': ('src/marshal/in_envelope.cpp', r'kDefaultMaxBody = (\d+)LL << 20'),
    'SOAP_READ_TIMEOUT': ('src/server/read_timeout.cpp', r'kDefault = (\d+)'),
    'SOAP_HANDSHAKE_TIMEOUT': ('src/addressing/secure_options.cpp', r'kHandshakeSeconds = (\d+)'),
    'ZOLT_SSL_PROTO': ('src/addressing/secure_options.h', r'protocol = (\d+)'),
    'ZOLT_SSL_VENDOR': ('src/addressing/secure_options.h', r'vendor = (\d+)'),
}
IN_BYTES = {'SOAP_MAX_BODY': 1 << 20}


def help_of(*options: str) -> subprocess.CompletedProcess:
    return subprocess.run([PROGRAM, *options, '-help'], capture_output=True, text=True, timeout=60)


def table() -> dict[str, tuple[str, str, str]]:
    """By name: the unit or form, the range of a number, and the default."""
    rows = ROW.findall(help_of().stdout.split('All properties')[1])
    return {name.replace('<oper>', 'OPERATION'): rest for name, *rest in rows}


def sources() -> list[pathlib.Path]:
    return [path for folder in ('src', 'platform') for path in (ROOT / folder).rglob('*')
            if path.suffix in ('.h', '.cpp') and not path.name.endswith('settings.h')]


def read_in_code() -> set[str]:
    found = set()
    for path in sources():
        text = path.read_text(encoding='utf-8')
        for whole, suffix in READS.findall(text):
            name = whole or suffix
            found.add('OPERATION' + name if name.startswith('_') else name)
        found.update(LOOKS_LIKE_ONE.findall(text))
    return found


def told() -> dict[str, tuple[str, str]]:
    """By name: what the value is, and the default."""
    text = (ROOT / 'docs/configuration.md').read_text(encoding='utf-8')
    rows = re.findall(r'^\| `(\w+)` \| ([^|]*) \| ([^|]*) \|', text, re.MULTILINE)
    return {name: (value, default) for name, value, default in rows}


class Configuration(unittest.TestCase):
    def test_what_is_read_has_a_row_and_the_other_way_round(self):
        self.assertEqual(read_in_code(), set(table()))
        code = ''.join(path.read_text(encoding='utf-8') for path in sources())
        for name, (file, pattern) in DEFAULTS.items():
            if f'setting("{name}")' in code:
                continue
            with self.subTest(name):
                found = re.search(pattern, (ROOT / file).read_text(encoding='utf-8'))
                self.assertIsNotNone(found, f'{pattern} is not in {file}')
                self.assertEqual(int(found[1]) * IN_BYTES.get(name, 1), int(table()[name][2]))

    def test_the_document_tells_each_row(self):
        rows, documented = table(), told()
        self.assertEqual(set(rows), set(documented))
        for name, (unit, numbers, default) in rows.items():
            value, told_default = documented[name]
            with self.subTest(name):
                self.assertEqual(value == 'flag', unit == '')
                if numbers:
                    self.assertIn(unit, value)
                if default.isdigit():
                    self.assertIn(default, re.findall(r'\d+', told_default))

    def test_a_number_that_is_none_is_refused_by_name(self):
        numbers = [name for name, (_, numbers, _) in table().items() if numbers]
        self.assertGreater(len(numbers), 5)
        for name in numbers:
            with self.subTest(name):
                done = help_of(f'-D{name}=10MB')
                self.assertEqual((done.returncode, done.stdout), (1, ''))
                self.assertRegex(done.stderr, f"{name} is '10MB' and has to be a (whole )?number of .*\\d")


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
