# SPDX-License-Identifier: MIT
"""Every byte of the bank's requests, replies and faults, in both styles. The messages stand in messages/ as
they go over the wire, but for two words: DATE for the HTTP date and PORT for the server's port."""
import os
import queue
import re
import socket
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'peers'))
import bank  # noqa: E402

MESSAGES = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'messages')
RECORD = os.environ.get('RECORD_MESSAGES') == '1'  # writes the files anew; read the difference before you keep it

CALLS = {
    'exists': ['alice'], 'deposit': ['carol', '5'], 'withdraw': ['alice', '100'], 'transfer': ['alice', 'bob', '50'],
    'convert': ['12.5', '2'], 'limits': [], 'echo': ['a<b>&"\''], 'note': ['hello'], 'sleep': ['0'],
}
STYLES = {'literal': [], 'encoded': ['-DSOAP_ENABLE_RPC_ENCODER']}


def normal(data, port):
    text = re.sub(rb'Date: \w{3}, \d\d \w{3} \d{4} \d\d:\d\d:\d\d GMT\r\n', b'Date: DATE\r\n', data)
    # A value's namespace prefix is numbered through the life of the process.
    text = re.sub(rb'\bm\d+\b', b'mN', text)
    return text.replace(b':%d' % port, b':PORT')


class ExactBytes(unittest.TestCase):
    def same(self, name, data, port):
        path = os.path.join(MESSAGES, name)
        if RECORD:
            os.makedirs(MESSAGES, exist_ok=True)
            with open(path, 'wb') as file:
                file.write(normal(data, port))
        with open(path, 'rb') as file:
            self.assertEqual(normal(data, port), file.read(), name)

    def recorded_request(self, options, call, name):
        """What the client sends for a call, taken down by a server that answers nothing but an end."""
        taken = queue.Queue()

        def take(connection):
            taken.put(bank.read_request(connection) if '-DSOAP_CLIENT_CHUNKING' not in options
                      else read_chunked(connection))
        server = bank.ScriptedServer(take)
        bank.client(*options, server.url, *call)
        server.close()
        data = taken.get(timeout=20)
        if '-DSOAP_CLIENT_CHUNKING' in options:
            data = self.without_chunks(data)
        self.same(name, data, server.port)

    def without_chunks(self, data):
        """Head and body of a chunked message; how the body was cut is the writer's own affair."""
        head, rest = data.split(b'\r\n\r\n', 1)
        body = b''
        while True:
            size, rest = rest.split(b'\r\n', 1)
            self.assertRegex(size, rb'^(0|[1-9a-f][0-9a-f]*)$')
            length = int(size, 16)
            body += rest[:length]
            self.assertEqual(rest[length:length + 2], b'\r\n')
            rest = rest[length + 2:]
            if length == 0:
                self.assertEqual(rest, b'')
                return head + b'\r\n\r\n' + body

    def test_1_requests(self):
        for style, options in STYLES.items():
            for operation, arguments in CALLS.items():
                with self.subTest(style=style, operation=operation):
                    self.recorded_request(options, [operation, *arguments], f'{operation}.{style}.request')
        self.recorded_request(['-DSOAP_CLIENT_CHUNKING'], ['exists', 'alice'], 'exists.chunked.request')
        self.recorded_request(['-Dexists_SOAPAction=urn:other', '-Dexists_ATTRIBUTE=a="1"'], ['exists', 'alice'],
                              'exists.properties.request')

    def test_2_replies(self):
        for style in STYLES:
            server = bank.Server()
            for operation in CALLS:
                with self.subTest(style=style, operation=operation):
                    with open(os.path.join(MESSAGES, f'{operation}.{style}.request'), 'rb') as file:
                        request = file.read()
                    self.same(f'{operation}.{style}.reply', exchange(server, request), server.address[1])
            server.stop()

    def test_3_faults_and_framing(self):
        envelope = bank.ENVELOPE.format
        unknown = envelope('withdraw', '<a>zoe</a><b>1</b>')
        cases = {
            'user-exception.literal.fault': ('1.1', '', unknown),
            'user-exception.encoded.fault': ('1.1', '', unknown.replace(
                '<e:Envelope', '<e:Envelope e:encodingStyle="http://schemas.xmlsoap.org/soap/encoding/"')),
            'two-members.fault': ('1.1', '', envelope('withdraw', '<a>bob</a><b>2000000000</b>')),
            'unknown-operation.fault': ('1.1', '', envelope('explode', '')),
            'http-1.0-closed.reply': ('1.0', '', envelope('exists', '<a>bob</a>')),
            'http-1.1-closed.reply': ('1.1', 'Connection: close\r\n', envelope('exists', '<a>bob</a>')),
            'http-1.1-kept.reply': ('1.1', 'Connection: KEEP-alive\r\n', envelope('exists', '<a>bob</a>')),
        }
        server = bank.Server()
        for name, (version, headers, body) in cases.items():
            with self.subTest(name):
                request = f'POST /bank HTTP/{version}\r\n{headers}Content-Length: {len(body)}\r\n\r\n{body}'
                self.same(name, exchange(server, request.encode()), server.address[1])
        body = envelope('exists', '<a>bob</a>')
        chunks = ''.join(f'{len(p):x}\r\n{p}\r\n' for p in (body[:1], body[1:50], body[50:])) + '0\r\n\r\n'
        request = f'POST /bank HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n{chunks}'
        self.same('http-1.1-closed.reply', exchange(server, request.encode()), server.address[1])
        server.stop()


def read_chunked(connection):
    data = b''
    while not data.endswith(b'\r\n0\r\n\r\n'):
        piece = connection.recv(4096)
        if not piece:
            return data
        data += piece
    return data


def exchange(server, request):
    """The answer to `request`, read by its length."""
    with socket.create_connection(server.address, timeout=20) as connection:
        connection.sendall(request)
        return bank.read_request(connection)


if __name__ == '__main__':
    bank.main()
