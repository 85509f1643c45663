# SPDX-License-Identifier: MIT
"""Clients that misbehave against a running server. After each of them the server answers a good call on a new
connection at once, and no socket is lost: the server may open only a few, and each case comes more often than
that."""
import os
import resource
import socket
import struct
import sys
import threading
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'peers'))
import bank  # noqa: E402

SOCKETS = 24  # the server's limit; cases below open more than that, one after the other
ROUNDS = 30
GOOD = bank.ENVELOPE.format('exists', '<a>alice</a>')


def post(body, *headers, version='1.1', path='/bank'):
    lines = [f'POST {path} HTTP/{version}', *headers, f'Content-Length: {len(body)}', '', '']
    return '\r\n'.join(lines).encode() + body.encode()


def raw(head, body=''):
    return ('POST /bank HTTP/1.1\r\n' + head + '\r\n' + body).encode()


FAULT, NOTHING, REPLY = 'a fault', 'nothing', 'a reply'
CASES = [
    # name, bytes sent, what comes back, whether the client ends its sending
    ('half a request line', b'POST /ba', NOTHING, True),
    ('no HTTP method', b'HELO example\r\n\r\n', NOTHING, False),
    ('a method that is not served', b'PUT /bank HTTP/1.1\r\n\r\n', NOTHING, False),
    ('no version', b'POST /bank\r\n\r\n', NOTHING, False),
    ('header cut off', b'POST /bank HTTP/1.1\r\nContent-Len', NOTHING, True),
    ('a header line without end', b'POST /bank HTTP/1.1\r\nX: ' + b'a' * 200000, NOTHING, True),
    ('100,000 headers', b'POST /bank HTTP/1.1\r\n' + b'X: y\r\n' * 100000, NOTHING, True),
    ('a body shorter than its length', raw(f'Content-Length: {len(GOOD) + 10}\r\n', GOOD), REPLY, True),
    ('a negative length', raw('Content-Length: -1\r\n', GOOD), NOTHING, True),
    ('a huge length', raw('Content-Length: 99999999999999999999\r\n', GOOD), NOTHING, True),
    ('a length of words', raw('Content-Length: many\r\n', GOOD), NOTHING, True),
    ('a chunk size of words', raw('Transfer-Encoding: chunked\r\n', 'xyz\r\n' + GOOD), NOTHING, True),
    ('a chunk size without end', raw('Transfer-Encoding: chunked\r\n', '1' * 1000), NOTHING, True),
    ('a chunk that is cut off', raw('Transfer-Encoding: chunked\r\n', 'ff\r\n' + GOOD[:20]), NOTHING, True),
    ('a body that is no XML', post('hello, world'), NOTHING, False),
    ('an empty body', post(''), NOTHING, False),
    ('XML that is cut off', post(GOOD[:-40]), NOTHING, False),
    ('100,000 elements deep', post('<a>' * 100000), NOTHING, False),
    ('100,000 attributes', post('<a ' + ' '.join(f'b{i}="1"' for i in range(100000)) + '/>'), NOTHING, False),
    ('deep inside an argument', post(bank.ENVELOPE.format('exists', '<a>' * 50000 + '</a>' * 50000)), None, False),
    ('declared entities', post('<!DOCTYPE a [<!ENTITY x "y"><!ENTITY z "&x;&x;">]>' +
                               bank.ENVELOPE.format('exists', '<a>&z;</a>')), NOTHING, False),
    ('another envelope namespace', post(GOOD.replace('xmlsoap.org/soap/envelope/', 'w3.org/2003/05/soap-envelope')),
     NOTHING, False),
    ('no operation', post('<e:Envelope xmlns:e="http://schemas.xmlsoap.org/soap/envelope/"><e:Body></e:Body></e:Envelope>'),
     NOTHING, False),
    ('an unknown object', post(GOOD, path='/nobody'), FAULT, False),
    ('an empty path', post(GOOD, path='/'), FAULT, False),
    ('an unknown operation', post(bank.ENVELOPE.format('explode', '')), FAULT, False),
    ('too few arguments', post(bank.ENVELOPE.format('deposit', '<a>x</a>')), FAULT, False),
    ('too many arguments', post(bank.ENVELOPE.format('exists', '<a>alice</a><b>1</b><c><d/></c>')), REPLY, False),
    ('an ill-typed argument', post(bank.ENVELOPE.format('deposit', '<a>hostile</a><b>zero</b>')), REPLY, False),
    ('a struct where text belongs', post(bank.ENVELOPE.format('exists', '<a><b><c>1</c></b></a>')), None, False),
    ('a reference to nothing', post(bank.ENVELOPE.format('exists', '<a href="#nowhere"/>')), NOTHING, False),
    ('a reference to itself', post(bank.ENVELOPE.format('exists', '<a id="1"><b href="#1"/></a>')), NOTHING, False),
    ('a body longer than its length', post(GOOD) + b'more and more', REPLY, False),
    ('garbage behind a kept request', post(GOOD, 'Connection: Keep-Alive') + b'garbage\r\n\r\n' + post(GOOD), REPLY, False),
    ('broken markup behind a kept envelope', post(GOOD + '<<<', 'Connection: Keep-Alive'), NOTHING, False),
    ('a second request before the reply', post(GOOD, 'Connection: Keep-Alive') + post(GOOD), REPLY, False),
]


def answer(connection):
    """All that comes until the server ends, or a whole message with a length."""
    data = b''
    try:
        while True:
            piece = connection.recv(65536)
            if not piece:
                return data
            data += piece
            if data.rstrip().endswith(b'</SOAP-ENV:Envelope>'):
                return data
    except ConnectionError:
        return data


class HostileClients(unittest.TestCase):
    def setUp(self):
        self.server = bank.Server(f'-Dsocket_limit={SOCKETS}', '-DSOAP_READ_TIMEOUT=2')

    def tearDown(self):
        self.assertEqual(self.server.stop(), 0)

    def send(self, data, end=False, timeout=20):
        with socket.create_connection(self.server.address, timeout=timeout) as connection:
            try:
                connection.sendall(data)
                if end:
                    connection.shutdown(socket.SHUT_WR)
            except OSError:
                pass  # the server has closed it already
            return answer(connection)

    def good_call(self, limit=5.0):
        begin = time.monotonic()
        self.assertIn(b'<return>true</return>', self.send(post(GOOD)))
        self.assertLess(time.monotonic() - begin, limit)

    def wait_until_free(self):
        """All sockets that the server holds for clients are given back in the end."""
        deadline = time.monotonic() + 15
        folder = f'/proc/{self.server.process.pid}/fd'
        while time.monotonic() < deadline:
            if len(os.listdir(folder)) <= self.descriptors + 1:
                return
            time.sleep(0.02)
        self.fail(f'{len(os.listdir(folder))} descriptors are open, {self.descriptors} were')

    def test_each_case_many_times(self):
        self.good_call()
        self.descriptors = len(os.listdir(f'/proc/{self.server.process.pid}/fd'))
        for name, data, expected, end in CASES:
            with self.subTest(name):
                slow = len(data) > 50000 or (expected == NOTHING and b'Keep-Alive' in data)
                for _ in range(2 if slow else ROUNDS):
                    back = self.send(data, end)
                    if expected == NOTHING:
                        self.assertEqual(back, b'')
                    elif expected == FAULT:
                        self.assertIn(b'500 Internal Server Error', back)
                        self.assertIn(b'<faultcode>', back)
                    elif expected == REPLY:
                        self.assertIn(b'200 OK', back)
                self.good_call()
        self.wait_until_free()

    def test_a_huge_attribute(self):
        body = f'<a b="{"x" * 50_000_000}"/>'
        self.assertEqual(self.send(post(body), timeout=60), b'')
        self.good_call()

    def test_a_body_beyond_the_limit(self):
        self.server.stop()
        self.server = bank.Server('-DSOAP_MAX_BODY=10000')
        padding = '<!--' + ' ' * 10000 + '-->'
        self.assertEqual(self.send(post(GOOD + padding)), b'')
        self.assertEqual(self.send(raw('Transfer-Encoding: chunked\r\n', f'{len(GOOD + padding):x}\r\n{GOOD}{padding}\r\n0\r\n\r\n')), b'')
        self.assertIn(b'200 OK', self.send(post(GOOD)))

    def test_a_client_that_resets_in_the_middle_of_the_reply(self):
        big = bank.ENVELOPE.format('echo', '<a>' + 'x' * 3_000_000 + '</a>')
        for _ in range(ROUNDS):
            connection = socket.create_connection(self.server.address, timeout=20)
            connection.sendall(post(big))
            connection.recv(1000)
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack('ii', 1, 0))
            connection.close()
        self.good_call()

    def test_one_that_sends_nothing_and_one_that_stalls(self):
        idle = socket.create_connection(self.server.address)
        stalled = socket.create_connection(self.server.address, timeout=20)
        stalled.sendall(b'POST /bank HTTP/1.1\r\nContent-')
        self.good_call()
        begin = time.monotonic()
        self.assertEqual(answer(stalled), b'')
        self.assertLess(time.monotonic() - begin, 10)
        idle.close()

    def test_slow_bytes_do_not_stretch_a_request_without_end(self):
        connection = socket.create_connection(self.server.address, timeout=40)
        begin = time.monotonic()
        ended = threading.Event()

        def drip():
            try:
                connection.sendall(b'POST /bank HTTP/1.1\r\n')
                while not ended.wait(0.5):
                    connection.sendall(b'X: y\r\n')
            except OSError:
                pass
        thread = threading.Thread(target=drip)
        thread.start()
        self.assertEqual(answer(connection), b'')
        ended.set()
        thread.join()
        connection.close()
        self.assertLess(time.monotonic() - begin, 30)
        self.good_call()


class NoDescriptorsLeft(unittest.TestCase):
    def test_the_server_waits_for_one_without_burning_processor_time(self):
        server = bank.Server('-Dsocket_limit=1000')
        self.addCleanup(server.stop)
        pid = server.process.pid

        def seconds():
            with open(f'/proc/{pid}/stat') as file:
                fields = file.read().rsplit(')', 1)[1].split()
            return (int(fields[11]) + int(fields[12])) / os.sysconf('SC_CLK_TCK')

        limit = len(os.listdir(f'/proc/{pid}/fd')) + 5
        resource.prlimit(pid, resource.RLIMIT_NOFILE, (limit, limit))
        clients = [socket.create_connection(server.address, timeout=20) for _ in range(10)]
        deadline = time.monotonic() + 10
        while len(os.listdir(f'/proc/{pid}/fd')) < limit:
            self.assertLess(time.monotonic(), deadline)
        before, begin = seconds(), time.monotonic()
        with self.assertRaises(TimeoutError):  # the last of them stands in the queue
            clients[-1].settimeout(1)
            clients[-1].recv(1)
        self.assertLess(seconds() - before, 0.4 * (time.monotonic() - begin))
        for client in clients:
            client.close()
        with socket.create_connection(server.address, timeout=20) as connection:
            connection.sendall(post(GOOD))
            self.assertIn(b'<return>true</return>', answer(connection))
        self.assertEqual(server.stop(), 0)


class ManyClients(unittest.TestCase):
    def test_two_hundred_at_once_of_which_half_stall(self):
        server = bank.Server()
        stalled = []
        for i in range(100):
            connection = socket.create_connection(server.address, timeout=20)
            connection.sendall(b'POST /bank HTTP/1.1\r\nContent-Length: 500\r\n\r\n<e:Env'[:20 + i % 30])
            stalled.append(connection)
        slowest = []

        def call():
            for _ in range(5):
                begin = time.monotonic()
                with socket.create_connection(server.address, timeout=20) as connection:
                    connection.sendall(post(GOOD))
                    good = b'<return>true</return>' in answer(connection)
                slowest.append((time.monotonic() - begin, good))
        callers = [threading.Thread(target=call) for _ in range(100)]
        for caller in callers:
            caller.start()
        for caller in callers:
            caller.join()
        self.assertEqual(len(slowest), 500)
        self.assertTrue(all(good for _, good in slowest))
        self.assertLess(max(slowest)[0], 5)
        begin = time.monotonic()
        with socket.create_connection(server.address, timeout=20) as connection:
            connection.sendall(post(GOOD))
            self.assertIn(b'<return>true</return>', answer(connection))
        self.assertLess(time.monotonic() - begin, 1)
        for connection in stalled:
            connection.close()
        self.assertEqual(server.stop(), 0)


if __name__ == '__main__':
    bank.main()
