#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What each program says of itself, and of a command line that it cannot use: the reason in the first line."""
import os
import socket
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
    ('bank_client', ['-Dcall_timeout=2s', 'http://127.0.0.1:1/bank', 'limits'], "call_timeout is '2s' and has to be a number"),
    ('bank_client', ['-Dproperties=/nowhere', 'http://127.0.0.1:1/bank', 'limits'], '/nowhere: No such file'),
    ('bank_server', ['frog'], '--listen HOST:PORT is wanted'),
    ('bank_server', [], '--listen HOST:PORT is wanted'),
    ('interop_client', ['--nope'], "no option '--nope'"),
    ('soap_tap', ['frog'], "'frog' is not of the form HOST:PORT"),
    ('soap_tap', ['--listen', '127.0.0.1:8x', '127.0.0.1:80'], "'127.0.0.1:8x' is not of the form"),
    ('soapcall', ['http://127.0.0.1:1/x'], 'operation is required'),
    ('caldane-idl', ['--address'], 'usage'),
    ('caldane_cert', ['folder', 'host', '--days', '9'], "'--days' is no name or address"),
    ('caldane_cert', ['--days', 'frog', 'folder', 'host'], "not 'frog'"),
    ('caldane_cert', ['--frog'], 'no option --frog'),
    ('caldane_cert', ['folder', ''], "'' is no name or address"),
    ('caldane_cert', ['folder', 'h' * 65], '64 characters at most'),
    ('caldane_cert', ['--client', 'a/CN=b', 'folder', 'host'], "'a/CN=b' is no name for a client"),
]


def run(name: str, *words: str, folder: str) -> subprocess.CompletedProcess:
    return subprocess.run([os.path.join(BIN, name), *words], capture_output=True, text=True, timeout=60, cwd=folder)


class Usage(unittest.TestCase):
    def test_help_is_no_fault(self):
        for name in sorted({name for name, _, _ in WRONG} | {'interop_server', 'hello_client', 'hello_server'}):
            for option in ('-h', '--help'):
                with self.subTest(name, option=option), tempfile.TemporaryDirectory() as folder:
                    done = run(name, option, folder=folder)
                    self.assertEqual((done.returncode, done.stderr), (DONE, ''))
                    self.assertIn('usage: ', done.stdout.lower())

    def test_a_wrong_command_line_is_told_and_does_nothing(self):
        for name, words, reason in WRONG:
            with self.subTest(name, words=words), tempfile.TemporaryDirectory() as folder:
                done = run(name, *words, folder=folder)
                self.assertEqual((done.returncode, done.stdout), (USAGE, ''))
                self.assertIn(reason, done.stderr.splitlines()[0])
                self.assertEqual(os.listdir(folder), [])


class PortInUse(unittest.TestCase):
    def test_is_told_with_the_address(self):
        with socket.create_server(('127.0.0.1', 0)) as other, tempfile.TemporaryDirectory() as folder:
            taken = '127.0.0.1:%d' % other.getsockname()[1]
            for name, words in (('bank_server', ['--listen', taken]), ('interop_server', ['--listen', taken]),
                                ('soap_tap', ['--listen', taken, '127.0.0.1:1'])):
                with self.subTest(name):
                    done = run(name, *words, folder=folder)
                    self.assertEqual((done.returncode, done.stdout), (1, ''))
                    self.assertRegex(done.stderr, f'^{name}: .* {taken}.*: .* (already )?in use')

    def test_of_the_first_program_too(self):
        with tempfile.TemporaryDirectory() as folder:
            try:
                other = socket.create_server(('127.0.0.1', 8090))
            except OSError:  # somebody else has it: the same to the program
                other = socket.socket()
            with other:
                done = run('hello_server', folder=folder)
        self.assertEqual((done.returncode, done.stdout), (1, ''))
        self.assertIn('hello_server: cannot publish at 127.0.0.1:8090/greeter: the port cannot be bound: it is in use',
                      done.stderr)


class Tap(unittest.TestCase):
    def test_passes_a_reply_on_to_a_client_that_sends_no_more(self):
        with socket.create_server(('127.0.0.1', 0)) as server, \
                subprocess.Popen([os.path.join(BIN, 'soap_tap'), '--listen', '127.0.0.1:0',
                                  '127.0.0.1:%d' % server.getsockname()[1]], stdout=subprocess.PIPE, text=True) as tap:
            port = int(tap.stdout.readline().rsplit(':', 1)[1])
            with socket.create_connection(('127.0.0.1', port), timeout=20) as client:
                client.sendall(b'question')
                client.shutdown(socket.SHUT_WR)
                with server.accept()[0] as behind, behind.makefile('rb') as asked:
                    self.assertEqual(asked.read(), b'question')
                    behind.sendall(b'answer')
                with client.makefile('rb') as answered:
                    self.assertEqual(answered.read(), b'answer')
            tap.kill()
            shown = tap.stdout.read()
        self.assertEqual(shown, '\n--> request\nquestion\n<-- response\nanswer')


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
