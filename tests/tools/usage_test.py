#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What each program says of itself, and of a command line that it cannot use: the reason in the first line."""
import os
import subprocess
import sys
import tempfile
import unittest

BIN = sys.argv[1]
DONE, USAGE = 0, 64

# The program, its arguments, and what the first line has to tell.
WRONG = [
    ('bank_client', ['frog'], 'a URL and an operation are missing'),
    ('bank_client', ['-D'], 'the option -D is not'),
    ('bank_client', ['-Dproperties=/nowhere', 'http://127.0.0.1:1/bank', 'limits'], '/nowhere: No such file'),
    ('bank_server', ['frog'], '--listen HOST:PORT is wanted'),
    ('bank_server', [], '--listen HOST:PORT is wanted'),
    ('interop_client', ['--nope'], "no option '--nope'"),
    ('soap_tap', ['frog'], "'frog' is not of the form HOST:PORT"),
    ('soapcall', ['http://127.0.0.1:1/x'], 'operation is required'),
    ('caldane-idl', ['--address'], 'usage'),
    ('caldane_cert', ['folder', 'host', '--days', '9'], "'--days' is no name or address"),
    ('caldane_cert', ['--days', 'frog', 'folder', 'host'], "not 'frog'"),
    ('caldane_cert', ['--frog'], 'no option --frog'),
]


def run(name: str, *words: str, folder: str) -> subprocess.CompletedProcess:
    return subprocess.run([os.path.join(BIN, name), *words], capture_output=True, text=True, timeout=60, cwd=folder)


class Usage(unittest.TestCase):
    def test_help_is_no_fault(self):
        for name in sorted({name for name, _, _ in WRONG} | {'interop_server'}):
            with self.subTest(name), tempfile.TemporaryDirectory() as folder:
                done = run(name, '--help', folder=folder)
                self.assertEqual((done.returncode, done.stderr), (DONE, ''))
                self.assertIn('usage: ', done.stdout.lower())

    def test_a_wrong_command_line_is_told_and_does_nothing(self):
        for name, words, reason in WRONG:
            with self.subTest(name, words=words), tempfile.TemporaryDirectory() as folder:
                done = run(name, *words, folder=folder)
                self.assertEqual((done.returncode, done.stdout), (USAGE, ''))
                self.assertIn(reason, done.stderr.splitlines()[0])
                self.assertEqual(os.listdir(folder), [])


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
