# SPDX-License-Identifier: MIT
"""Peers that are slow, silent or cut off at any point of a conversation, plain and over TLS alike: each ends as the
limits say, nothing of a conversation gets into another, and nothing is carried out that was not asked for whole."""
import os
import select
import socket
import ssl
import sys
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'peers'))
import bank  # noqa: E402
import https_support as https  # noqa: E402

KEEP = 'Connection: Keep-Alive\r\n'


def post(operation, arguments, headers=''):
    body = bank.ENVELOPE.format(operation, arguments)
    return f'POST /bank HTTP/1.1\r\n{headers}Content-Length: {len(body)}\r\n\r\n{body}'.encode()


def deposit(account, amount, headers=''):
    return post('deposit', f'<a>{account}</a><b>{amount}</b>', headers)


EXISTS = post('exists', '<a>alice</a>', KEEP)
TRUE = b'<return>true</return>'


def replies(connection, count):
    """The text of so many replies, or of those that came before the end."""
    data = b''
    while data.count(b'</SOAP-ENV:Envelope>') < count:
        try:
            piece = connection.recv(65536)
        except (ConnectionError, ssl.SSLError):
            break
        if not piece:
            break
        data += piece
    return data


class Slow:
    """What both kinds of servers have to bear."""

    properties = ('-DSOAP_READ_TIMEOUT=2', '-DSOAP_HANDSHAKE_TIMEOUT=2')

    def tearDown(self):
        self.assertEqual(self.exit_code(), 0)

    def balance(self, account):
        with self.connect() as connection:
            connection.sendall(deposit(account, 0))
            text = replies(connection, 1)
        return int(text.split(b'<return>')[1].split(b'<')[0])

    def ends(self, connection, seconds):
        """Waits for the server's end of the connection; what came before it."""
        connection.settimeout(seconds)
        data = b''
        try:
            while piece := connection.recv(1 << 20):
                data += piece
        except (ConnectionError, ssl.SSLError):
            pass
        return data

    def test_a_request_byte_by_byte(self):
        with self.connect() as connection:
            for byte in EXISTS:
                connection.sendall(bytes([byte]))
            self.assertIn(TRUE, replies(connection, 1))

    def test_a_request_cut_at_every_byte(self):
        request = deposit('cut', 5)
        before = self.balance('cut') if self.has('cut') else 0
        for cut in range(0, len(request), 7):
            with self.connect() as connection:
                connection.sendall(request[:cut])
        with self.connect() as connection:
            connection.sendall(request)
            replies(connection, 1)
        self.assertEqual(self.balance('cut'), before + 5)

    def has(self, account):
        with self.connect() as connection:
            connection.sendall(post('exists', f'<a>{account}</a>'))
            return TRUE in replies(connection, 1)

    def test_requests_behind_each_other(self):
        with self.connect() as connection:
            connection.sendall(b''.join(deposit('row', 1, KEEP) for _ in range(50)))
            text = replies(connection, 50)
        self.assertEqual(text.count(b' 200 OK'), 50)
        numbers = [int(part.split(b'<')[0]) for part in text.split(b'<return>')[1:]]
        self.assertEqual(numbers, list(range(numbers[0], numbers[0] + 50)))

    def test_a_reader_that_stalls_within_a_reply(self):
        """It is cut off. Neither is what it asked for behind that carried out, nor does a reply go into another."""
        large = post('echo', f'<text>{"x" * 16_000_000}</text>', KEEP)
        with self.connect() as connection:
            connection.sendall(large)
            connection.sendall(deposit('stalled', 7, KEEP))
            hung_up = select.poll()
            hung_up.register(connection, 0)
            self.assertTrue(hung_up.poll(15_000), 'a reader that stalls is cut off')
            came = self.ends(connection, 20)
        self.assertNotIn(b'</SOAP-ENV:Envelope>', came)
        self.assertEqual(came.count(b'HTTP/1.1'), 1)
        self.assertFalse(self.has('stalled'))

    def test_a_reader_that_is_slow_and_steady(self):
        with self.connect() as connection:
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 65536)
            connection.sendall(post('echo', f'<text>{"y" * 3_000_000}</text>', KEEP))
            begin, data = time.monotonic(), b''
            while b'</SOAP-ENV:Envelope>' not in data[-200:]:
                data += connection.recv(60_000)
                time.sleep(0.05)
            self.assertGreater(time.monotonic() - begin, 2.2, 'longer than a pause may be')
            connection.sendall(EXISTS)
            self.assertIn(TRUE, replies(connection, 1))

    def test_a_long_call_holds_up_nobody_that_came_with_it(self):
        """While calls are short, one worker takes several of those that come together."""
        sleeps = post('sleep', '<a>700</a>', KEEP)
        connections = [self.connect() for _ in range(8)]
        for slow in range(8):
            for _ in range(100):
                for connection in connections:
                    connection.sendall(EXISTS)
                for connection in connections:
                    replies(connection, 1)
            for number, connection in enumerate(connections):
                connection.sendall(sleeps if number == slow else EXISTS)
            begin = time.monotonic()
            for connection in connections[:slow] + connections[slow + 1:]:
                self.assertIn(TRUE, replies(connection, 1))
            self.assertLess(time.monotonic() - begin, 0.3)
            self.assertIn(b'<return>700<', replies(connections[slow], 1))
        for connection in connections:
            connection.close()

    def test_what_stalls_is_closed_in_time(self):
        for name, sent in (('in the request line', b'POST /ba'), ('in the head', EXISTS[:40]),
                           ('behind the head', EXISTS.split(b'<')[0]), ('in the body', EXISTS[:-20]),
                           ('in a chunk size', b'POST /bank HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n1f')):
            with self.subTest(name), self.connect() as connection:
                connection.sendall(sent)
                begin = time.monotonic()
                self.assertEqual(self.ends(connection, 10), b'')
                self.assertGreater(time.monotonic() - begin, 1.5)
                self.assertLess(time.monotonic() - begin, 4)

    def test_a_server_that_ends_answers_what_had_come(self):
        whole, half = self.connect(), self.connect()
        half.sendall(EXISTS[:-5])
        whole.sendall(post('sleep', '<a>700</a>', KEEP))
        time.sleep(0.3)
        begin = time.monotonic()
        self.assertEqual(self.exit_code(), 0)
        self.assertLess(time.monotonic() - begin, 5)
        self.assertIn(b'<return>700</return>', replies(whole, 1))
        self.assertEqual(self.ends(half, 5), b'')
        whole.close()
        half.close()


class PlainPeers(Slow, unittest.TestCase):
    code = None

    def setUp(self):
        self.server = bank.Server(*self.properties)

    def connect(self):
        return socket.create_connection(self.server.address, timeout=30)

    def exit_code(self):
        if self.code is None:
            self.code = self.server.stop()
        return self.code

    def test_an_address_has_no_more_connections_than_it_may(self):
        self.exit_code()
        self.server, self.code = bank.Server('-DSOAP_MAX_CONNECTIONS_PER_PEER=3'), None
        held = [self.connect() for _ in range(3)]
        for connection in held:
            connection.sendall(EXISTS)
            self.assertIn(TRUE, replies(connection, 1))
        with self.connect() as further:
            self.assertEqual(self.ends(further, 5), b'')
        held.pop().close()
        time.sleep(0.2)
        with self.connect() as again:
            again.sendall(EXISTS)
            self.assertIn(TRUE, replies(again, 1))
        for connection in held:
            connection.close()

    def test_what_waits_in_memory_has_a_limit(self):
        self.exit_code()
        self.server, self.code = bank.Server('-DSOAP_MAX_BUFFERED=4000000', '-DSOAP_STREAM_BODY=3000000'), None
        head = b'POST /bank HTTP/1.1\r\nContent-Length: 2000000\r\n\r\n'
        held = []
        for _ in range(12):
            connection = self.connect()
            connection.sendall(head + b'x' * 1_000_000)
            held.append(connection)
        time.sleep(1)
        closed = 0
        for connection in held:
            connection.setblocking(False)
            try:
                closed += connection.recv(1) == b''
            except BlockingIOError:
                pass
            except ConnectionError:
                closed += 1
        self.assertGreaterEqual(closed, 6)
        self.assertLess(closed, 12)
        with self.connect() as connection:
            connection.sendall(EXISTS)
            self.assertIn(TRUE, replies(connection, 1))
        for connection in held:
            connection.close()

    def test_large_bodies_leave_half_of_the_workers_to_others(self):
        self.exit_code()
        self.server, self.code = bank.Server('-Ddispatcher_threads=4', '-DSOAP_STREAM_BODY=1000'), None
        text = 'z' * 5000
        large = post('echo', f'<text>{text}</text>')
        held = [self.connect() for _ in range(6)]
        for connection in held:
            connection.sendall(large[:3000])
        time.sleep(0.3)
        for _ in range(20):
            begin = time.monotonic()
            with self.connect() as connection:
                connection.sendall(EXISTS)
                self.assertIn(TRUE, replies(connection, 1))
            self.assertLess(time.monotonic() - begin, 1)
        for connection in held:
            connection.sendall(large[3000:])
        for connection in held:
            self.assertIn(text.encode(), replies(connection, 1))
            connection.close()


class SecurePeers(Slow, unittest.TestCase):
    code = None

    @classmethod
    def setUpClass(cls):
        cls.certificates = https.Certificates('slow')

    def setUp(self):
        self.server = https.SecureServer(self.certificates, *self.properties)

    def connect(self):
        return self.wrapped()

    def wrapped(self):
        context = ssl.create_default_context()
        context.check_hostname = False
        context.verify_mode = ssl.CERT_NONE
        return context.wrap_socket(self.server.connect())

    def exit_code(self):
        if self.code is None:
            text = self.server.stop()
            self.code = 0 if 'exit code 0' in text else 1
        return self.code

    def test_handshakes_that_stall_end_in_time(self):
        for name, sent in (('nothing', b''), ('3 bytes', b'\x16\x03\x01'), ('a trickle', None)):
            with self.subTest(name):
                connection = self.server.connect()
                begin = time.monotonic()
                if sent is None:
                    try:
                        for byte in b'\x16\x03\x01\x02\x00' + bytes(60):
                            connection.sendall(bytes([byte]))
                            time.sleep(0.1)
                    except ConnectionError:
                        pass
                else:
                    connection.sendall(sent)
                self.ends(connection, 10)
                self.assertLess(time.monotonic() - begin, 4)
                connection.close()

    def test_tiny_records_of_many_do_not_delay_a_call(self):
        sessions = [self.wrapped() for _ in range(60)]
        kept = self.wrapped()
        longest = 0
        for byte in EXISTS[:40]:
            for session in sessions:
                session.sendall(bytes([byte]))
            begin = time.monotonic()
            kept.sendall(EXISTS)
            self.assertIn(TRUE, replies(kept, 1))
            longest = max(longest, time.monotonic() - begin)
        self.assertLess(longest, 1)
        for session in sessions + [kept]:
            session.close()


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
