#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Holds docs/configuration.md against the code: every property that is read is told, with the default that it
has, and none is told that nobody reads. Arguments: source folder, a program of ours."""
import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(sys.argv[1])
PROGRAM = sys.argv[2]

READS = re.compile(r'(?:[pP]roperties(?:\(\))?\.(?:get|number)|_property)\(\s*(?:oper, )?"(\w+)"|property \+= "(\w+)"')
LOOKS_LIKE_ONE = re.compile(r'"((?:SOAP|ZOLT)_[A-Z0-9_]+)"')

# Where the number stands that holds when a numeric property is not set.
DEFAULTS = {
    'call_timeout': ('platform/caldane/invoke.cpp', r'"call_timeout", (\d+)'),
    'dispatcher_threads': ('platform/caldane/worker_monitor.cpp', r'kDefaultLimit = (\d+)'),
    'socket_limit': ('platform/caldane/soa.cpp', r'kReserve\w* = (\d+)'),
    'SOAP_MAX_BODY': ('src/marshal/in_envelope.cpp', r'kDefaultMaxBody = (\d+)LL << 20'),
    'SOAP_READ_TIMEOUT': ('src/server/read_timeout.cpp', r'kDefault = (\d+)'),
    'SOAP_HANDSHAKE_TIMEOUT': ('src/addressing/secure_options.cpp', r'kHandshakeSeconds = (\d+)'),
    'ZOLT_SSL_PROTO': ('src/addressing/secure_options.h', r'protocol = (\d+)'),
    'ZOLT_SSL_VENDOR': ('src/addressing/secure_options.h', r'vendor = (\d+)'),
}
IN_BYTES = {'SOAP_MAX_BODY': 1 << 20}


def sources() -> list[pathlib.Path]:
    return [path for folder in ('src', 'platform') for path in (ROOT / folder).rglob('*')
            if path.suffix in ('.h', '.cpp')]


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
    def test_what_is_read_is_told_and_the_other_way_round(self):
        self.assertEqual(read_in_code(), set(told()))

    def test_numbers_have_the_defaults_that_are_told(self):
        numeric = {name for name, (value, _) in told().items() if re.match(r'seconds|number|bytes', value)}
        self.assertEqual(numeric, set(DEFAULTS))
        for name, (file, pattern) in DEFAULTS.items():
            with self.subTest(name):
                found = re.search(pattern, (ROOT / file).read_text(encoding='utf-8'))
                self.assertIsNotNone(found, f'{pattern} is not in {file}')
                number = int(found[1]) * IN_BYTES.get(name, 1)
                self.assertIn(str(number), re.findall(r'\d+', told()[name][1]))

    def test_what_help_tells_is_told(self):
        shown = subprocess.run([PROGRAM, '-help'], capture_output=True, text=True, timeout=60).stdout
        names = {name.replace('<oper>', 'OPERATION') for name in re.findall(r'-D(<?[\w<>]+?)(?=[=\s])', shown)}
        self.assertTrue(names)
        self.assertLessEqual(names, set(told()) | {'name', 'properties'})


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
