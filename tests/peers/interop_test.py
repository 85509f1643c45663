# SPDX-License-Identifier: MIT
"""Every kind of value between our own programs, and between ours and PHP's SOAP client and server."""
import itertools
import os
import socket
import subprocess
import time
import unittest

import bank

HERE = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'interop')
ENCODED = '-DSOAP_ENABLE_RPC_ENCODER'
CHUNKED = '-DSOAP_CLIENT_CHUNKING'
LATIN1 = '--latin1'

# PHP writes -0 as 0, and its two-dimensional arrays have rows of one length.
BEYOND_PHP = ('echoFloat.minus_zero', 'echoDouble.minus_zero', 'echo2DStringArray.uneven',
              'echo2DStringArray.empty_rows')


def interop_client(*arguments):
    return bank.Result(subprocess.run([os.path.join(bank.BIN, 'interop_client'), *arguments], capture_output=True,
                                      text=True, errors='replace', timeout=120))


class PhpServer:
    """interop/server.php in PHP's own web server."""

    def __init__(self):
        for _ in range(5):
            with socket.create_server(('127.0.0.1', 0)) as free:
                self.port = free.getsockname()[1]
            self.process = subprocess.Popen(['php', '-S', f'127.0.0.1:{self.port}', os.path.join(HERE, 'server.php')],
                                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            if self.answers():
                return
        raise RuntimeError('php does not listen')

    def answers(self) -> bool:
        deadline = time.monotonic() + 20
        while time.monotonic() < deadline and self.process.poll() is None:
            try:
                socket.create_connection(('127.0.0.1', self.port), timeout=1).close()
                return True
            except OSError:
                time.sleep(0.05)
        return False

    def stop(self):
        self.process.kill()
        self.process.wait()


class OurPrograms(unittest.TestCase):
    def test_every_case_in_every_mode(self):
        for text in ([], [LATIN1]):
            server = bank.Server(*text, program='interop_server')
            for style, chunking in itertools.product(([], [ENCODED]), ([], [CHUNKED])):
                with self.subTest(options=text + style + chunking):
                    done = interop_client(*style, *chunking, *text, server.url)
                    self.assertEqual(done.code, 0, [line for line in done.out.splitlines() if line[:4] != 'PASS'])
                    self.assertRegex(done.out, r'PASS echoString\.empty\n(.*\n)*[2-9]\d\d passed, 0 failed\n$')
            self.assertEqual(server.stop(), 0)

    def test_a_case_that_fails_is_told(self):
        server = bank.Server()
        done = interop_client(server.url, '--case', 'echoInteger.ordinary')
        self.assertRegex(done.out, r"^FAIL echoInteger\.ordinary: got system exception .*\n0 passed, 1 failed\n$")
        self.assertEqual(done.code, 1)
        server.stop()

    def test_exit_codes(self):
        url = 'http://127.0.0.1:1/interop'
        for arguments, code in (([], 64), ([url, '--case'], 64), ([url, '--case', 'nope'], 64), (['--nope'], 64),
                                ([url, 'more'], 64), ([url], 2), (['nonsense'], 2), (['-help'], 0)):
            with self.subTest(arguments=arguments):
                self.assertEqual(interop_client(*arguments).code, code)


class Php(unittest.TestCase):
    def test_its_client_against_our_server(self):
        server = bank.Server(program='interop_server')
        done = subprocess.run(['php', os.path.join(HERE, 'client.php'), server.url], capture_output=True, text=True,
                              timeout=120)
        server.stop()
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertRegex(done.stdout, r'\n\d\d passed, 0 failed\n$')

    def test_our_client_against_its_server(self):
        names = interop_client('--list').out.splitlines()
        names = [name for name in names[:names.index('echoKind.first')] if name not in BEYOND_PHP]
        chosen = [word for name in names for word in ('--case', name)]
        server = PhpServer()
        try:
            done = interop_client(ENCODED, f'http://127.0.0.1:{server.port}/interop', *chosen)
        finally:
            server.stop()
        self.assertEqual(done.code, 0, [line for line in done.out.splitlines() if line[:4] != 'PASS'])


if __name__ == '__main__':
    bank.main()
