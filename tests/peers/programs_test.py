# SPDX-License-Identifier: MIT
"""The bank's two programs against each other: every operation in every mode, exit codes, clean ends."""
import itertools
import signal
import socket
import subprocess
import threading
import time
import unittest

import bank

CALLS = [
    # operation and arguments, expected lines
    (('exists', 'alice'), ['return=true']),
    (('exists', 'nobody at all'), ['return=false']),
    (('deposit', 'eve', '0'), ['return=0']),
    (('withdraw', 'alice', '0'), ['return=Receipt{account="alice", amount=0, balance=10000, mood=CALM}']),
    (('transfer', 'alice', 'bob', '0'), ['source_balance=10000', 'target_balance=5000']),
    (('convert', '12.5', '2'), ['return=25', 'rate=2']),
    (('limits',), ['a=-32768', 'b=65535', 'c=4294967295', 'd=255', 'e=<', 'f=true']),
    (('echo', 'a<b>&"c\' '), ['copy=a<b>&"c\' ']),
    (('echo', ''), ['copy=']),
    (('note', 'remember'), []),
    (('sleep', '1'), ['return=1']),
]


class Programs(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = bank.Server()
        cls.tap = subprocess.Popen([f'{bank.BIN}/soap_tap', '%s:%d' % cls.server.address], stdout=subprocess.PIPE, text=True)
        cls.via = cls.tap.stdout.readline().removeprefix('listening ').strip()
        cls.reader = threading.Thread(target=cls.tap.stdout.read, daemon=True)
        cls.reader.start()

    @classmethod
    def tearDownClass(cls):
        cls.tap.kill()
        cls.tap.wait()
        cls.reader.join()
        cls.tap.stdout.close()
        cls.server.stop()

    def test_every_operation_in_every_mode(self):
        options = (('-DSOAP_ENABLE_RPC_ENCODER',), ('-DSOAP_CLIENT_CHUNKING=',), (f'-Dproxy={self.via}',))
        for chosen in itertools.product((False, True), repeat=len(options)):
            flags = [o[0] for o, on in zip(options, chosen) if on]
            for call, lines in CALLS:
                with self.subTest(flags=flags, call=call):
                    result = bank.client(*flags, self.server.url, *call)
                    self.assertEqual((result.code, result.out.splitlines()), (0, lines), result)

    def test_user_exceptions_print_their_name_and_members(self):
        for flags in ([], ['-DSOAP_ENABLE_RPC_ENCODER']):
            result = bank.client(*flags, self.server.url, 'withdraw', 'no<body', '1')
            self.assertEqual((result.code, result.out), (3, ''), result)
            self.assertIn('UnknownAccount', result.err)
            self.assertIn('no<body', result.err)
            result = bank.client(*flags, self.server.url, 'withdraw', 'bob', '2000000000')
            self.assertEqual(result.code, 3, result)
            self.assertIn('InsufficientFunds', result.err)
            self.assertIn('balance=5000', result.err)

    def test_wrong_usage_says_what_is_right(self):
        for arguments in ([], ['http://x'], [self.server.url, 'nothing'], [self.server.url, 'withdraw', 'alice'],
                          [self.server.url, 'withdraw', 'alice', 'many'], ['--repeat', '0', self.server.url, 'limits'],
                          [self.server.url, 'deposit', 'alice', '99999999999'], ['--nonsense', self.server.url, 'limits']):
            result = bank.client(*arguments)
            self.assertEqual((result.code, result.out), (64, ''), (arguments, result))
            self.assertIn('usage', result.err.lower(), arguments)

    def test_a_hundred_thousand_calls_on_one_connection(self):
        result = bank.client('--repeat', '100000', self.server.url, 'deposit', 'repeat', '1', timeout=200)
        self.assertEqual(result.code, 0, result)
        self.assertEqual(result.out.splitlines()[-1], 'return=100000')

    def test_an_unknown_object_is_a_system_exception(self):
        result = bank.client(self.server.url.replace('/bank', '/nothing'), 'limits')
        self.assertEqual((result.code, result.out), (2, ''), result)
        self.assertIn('nothing', result.err)


class Endings(unittest.TestCase):
    def test_the_server_ends_on_both_signals_and_counts_notes(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            server = bank.Server()
            self.assertRegex(server.ready, r'^ready http://127\.0\.0\.1:\d+/bank$')
            for _ in range(3):
                self.assertEqual(bank.client(server.url, 'note', 'x').code, 0)
            begin = time.monotonic()
            self.assertEqual(server.stop(number), 0)
            self.assertLess(time.monotonic() - begin, 5)
            self.assertEqual(server.output, 'notes=3\n')

    def test_a_running_call_is_finished_first(self):
        server = bank.Server()
        results = []
        caller = threading.Thread(target=lambda: results.append(bank.client(server.url, 'sleep', '1500')))
        caller.start()
        deadline = time.monotonic() + 10
        while self.established(server) == 0 and time.monotonic() < deadline:
            time.sleep(0.01)
        time.sleep(0.3)  # the request follows its connection; nothing outside tells when it was read
        self.assertEqual(server.stop(), 0)
        caller.join()
        self.assertEqual((results[0].code, results[0].out), (0, 'return=1500\n'), results[0])

    def test_requests_that_have_arrived_are_served_at_the_end(self):
        body = bank.ENVELOPE.format('echo', '<text>last</text>').encode()
        request = (b'POST /bank HTTP/1.1\r\nConnection: Keep-Alive\r\nContent-Type: text/xml\r\n'
                   b'Content-Length: %d\r\n\r\n' % len(body)) + body
        server = bank.Server('-Dsocket_limit=8')
        kept = socket.create_connection(server.address)
        kept.sendall(request)
        kept.recv(65536)
        server.process.send_signal(signal.SIGSTOP)
        silent = [socket.create_connection(server.address) for _ in range(40)]
        asking = [kept] + [socket.create_connection(server.address) for _ in range(3)]
        for connection in asking:
            connection.sendall(request)
        self.assertEqual(bank.client(server.url, 'note', 'x').code, 0)
        server.process.send_signal(signal.SIGTERM)
        self.assertEqual(server.stop(signal.SIGCONT), 0)
        self.assertEqual(server.output, 'notes=1\n')
        for connection in silent:
            connection.close()
        for connection in asking:
            with connection, connection.makefile('rb') as reply:
                self.assertIn(b'last', reply.read())

    def established(self, server):
        port = f':{server.address[1]:04X}'
        with open('/proc/net/tcp') as table:
            rows = [line.split() for line in table.readlines()[1:]]
        return sum(row[1].endswith(port) and row[3] == '01' for row in rows)

    def test_idle_and_stalled_connections_do_not_hold_up_the_end(self):
        server = bank.Server()
        idle = socket.create_connection(server.address)
        stalled = socket.create_connection(server.address)
        stalled.sendall(b'POST /bank HTTP/1.1\r\nContent-Le')
        self.assertEqual(bank.client(server.url, 'limits').code, 0)
        begin = time.monotonic()
        self.assertEqual(server.stop(), 0)
        self.assertLess(time.monotonic() - begin, 5)
        idle.close()
        stalled.close()

    def test_a_port_that_is_taken_is_told(self):
        first = bank.Server()
        second = subprocess.run([f'{bank.BIN}/bank_server', '--listen', '%s:%d' % first.address], capture_output=True,
                                text=True, timeout=20)
        self.assertNotEqual(second.returncode, 0)
        self.assertEqual(second.stdout, '')
        self.assertIn(str(first.address[1]), second.stderr)
        first.stop()

    def test_a_server_that_restarts_is_found_again(self):
        first = bank.Server()
        port = first.address[1]
        self.assertEqual(bank.client(first.url, 'limits').code, 0)
        first.stop()
        second = bank.Server(listen=f'127.0.0.1:{port}')
        self.assertEqual(second.url, first.url)
        self.assertEqual(bank.client(second.url, 'limits').code, 0)
        second.stop()


if __name__ == '__main__':
    bank.main()
