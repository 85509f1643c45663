# SPDX-License-Identifier: MIT
"""Text of every language through the bank's programs: all of it comes back exactly, or the call fails."""
import subprocess
import unittest
import urllib.error
import urllib.request

import bank

# All planes, each length of UTF-8, what XML escapes, line ends of every kind, blanks at both ends.
TEXTS = ['\u263a\U0001f600', 'caf\u00e9 \u4e2d\u6587 \u05e9\u05dc\u05d5\u05dd', '\x7f\x80\u07ff\u0800\ud7ff\ue000\ufffd',
         '\U00010000\U0010fffd', ' \r\n\r\t\n ', '<\u00e9>&"\'', 'e\u0301' * 5000]


def post(url: str, body: bytes) -> tuple[int, bytes]:
    request = urllib.request.Request(url, body, {'Content-Type': 'text/xml'})
    try:
        with urllib.request.urlopen(request, timeout=20) as answer:
            return answer.status, answer.read()
    except urllib.error.HTTPError as error:
        return error.code, error.read()


class Unicode(unittest.TestCase):
    server: bank.Server

    @classmethod
    def setUpClass(cls) -> None:
        cls.server = bank.Server()

    @classmethod
    def tearDownClass(cls) -> None:
        cls.server.stop()

    def test_every_text_comes_back(self) -> None:
        for flags in ([], ['-DSOAP_ENABLE_RPC_ENCODER'], ['-DSOAP_CLIENT_CHUNKING']):
            for text in TEXTS:
                with self.subTest(flags=flags, text=text[:20]):
                    run = subprocess.run([f'{bank.BIN}/bank_client', *flags, self.server.url, 'echo', text],
                                         capture_output=True, timeout=60, check=False)
                    self.assertEqual(run.stdout.decode(), f'copy={text}\n', run.stderr)

    def test_utf16_and_references_are_text_like_any_other(self) -> None:
        envelope = bank.ENVELOPE.format('echo', '<text>&#x263A;\U0001f600\u00e9</text>')
        for encoding in ('utf-8', 'utf-16-le', 'utf-16-be'):
            status, answer = post(self.server.url, ('\ufeff' + envelope).encode(encoding))
            self.assertEqual(status, 200, encoding)
            self.assertIn('>\u263a\U0001f600\u00e9<'.encode(), answer, encoding)

    def test_what_is_no_text_fails_at_the_sender(self) -> None:
        run = subprocess.run([f'{bank.BIN}/bank_client', self.server.url, 'echo', b'\xff'], capture_output=True,
                             timeout=60, check=False)
        self.assertEqual(run.returncode, 2)
        self.assertRegex(run.stderr, b'^system exception 1 .*: a parameter holds text that is not UTF-8')

    def test_without_it_nothing_is_checked(self) -> None:
        server = bank.Server('--latin1')
        run = subprocess.run([f'{bank.BIN}/bank_client', '--latin1', server.url, 'echo', b'a\x01'],
                             capture_output=True, timeout=60, check=False)
        server.stop()
        self.assertEqual(run.stdout, b'copy=a\x01\n')


if __name__ == '__main__':
    bank.main()
