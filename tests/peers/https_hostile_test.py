# SPDX-License-Identifier: MIT
"""Clients that misbehave towards a secure server, and servers whose certificates are no good. The server answers the
next good call at once, and nothing of the failed ones stays behind."""
import os
import random
import re
import shutil
import socket
import ssl
import struct
import time
import unittest
from unittest import mock

import bank
import https_support as https

FAILED = "SSL handshake fail, Couldn't connect\n"
NO_HELLO = 'not a correct ClientHello Message\n' + FAILED
LIMIT = 1.0  # seconds a handshake may take


def hello() -> bytes:
    """What a good client says first."""
    return Session(None).first


class Session:
    """A client's TLS whose bytes pass through here, so that they can be cut and spoiled."""

    def __init__(self, server, version=ssl.TLSVersion.TLSv1_3):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.check_hostname, context.verify_mode = False, ssl.CERT_NONE
        context.minimum_version = context.maximum_version = version
        self.incoming, self.outgoing = ssl.MemoryBIO(), ssl.MemoryBIO()
        self.tls = context.wrap_bio(self.incoming, self.outgoing)
        self.first = self.step()
        self.socket = server.connect() if server else None

    def step(self) -> bytes:
        try:
            self.tls.do_handshake()
        except ssl.SSLWantReadError:
            pass
        return self.outgoing.read()

    def establish(self, piece=1 << 20):
        data = self.first
        while True:
            for i in range(0, len(data), piece):
                self.socket.sendall(data[i:i + piece])
            try:
                self.tls.do_handshake()
                self.socket.sendall(self.outgoing.read())
                return self
            except ssl.SSLWantReadError:
                data = self.outgoing.read()
                if not data:
                    self.incoming.write(self.socket.recv(65536))

    def sealed(self, data: bytes) -> bytes:
        self.tls.write(data)
        return self.outgoing.read()

    def answer(self) -> bytes:
        """All that the server sends until it ends, decrypted."""
        got = b''
        try:
            while piece := self.socket.recv(65536):
                self.incoming.write(piece)
                try:
                    while part := self.tls.read(65536):
                        got += part
                except ssl.SSLError as error:
                    if not isinstance(error, ssl.SSLWantReadError):
                        break
        except ConnectionError:
            pass
        self.socket.close()
        return got


REQUEST = b'POST /bank HTTP/1.1\r\nContent-Type: text/xml\r\nContent-Length: %d\r\n\r\n%s' % (len(https.GOOD), https.GOOD.encode())


def sends(data: bytes, end: bool = True):
    """Sends these bytes, and waits until the server has ended the connection."""
    def misbehave(server):
        with server.connect() as connection:
            try:
                connection.sendall(data)
                if end:
                    connection.shutdown(socket.SHUT_WR)
                while connection.recv(4096):
                    pass
            except ConnectionError:
                pass
    return misbehave


def resets(server):
    connection = server.connect()
    connection.sendall(hello())
    connection.recv(10)
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack('ii', 1, 0))
    connection.close()


def spoils(change):
    """A session that stands, and then a request of which `change` makes something else."""
    def misbehave(server, version):
        session = Session(server, version).establish()
        session.socket.sendall(change(session.sealed(REQUEST)))
        session.socket.shutdown(socket.SHUT_WR)
        assert b'200 OK' not in session.answer()
    return misbehave


def flipped(record: bytes) -> bytes:
    return record[:40] + bytes([record[40] ^ 1]) + record[41:]


random.seed(7)
HANDSHAKES = [
    # name, what the client does, what the server prints
    ('plain HTTP', sends(b'GET / HTTP/1.1\r\n\r\n', end=False), NO_HELLO),
    ('random bytes', sends(bytes(random.randrange(23, 120) for _ in range(3000))), NO_HELLO),
    ('random bytes in a record', sends(b'\x16\x03\x01\x02\x00' + random.randbytes(512)),
     'Accept Security Context Failed with error code 80090326\n' + FAILED),
    ('a record over the limit', sends(b'\x16\x03\x01\xff\xff' + b'x' * 5000),
     'Accept Security Context Failed with error code 80090308\n' + FAILED),
    ('an old hello without sense', sends(b'\x80\x2e\x01\x00\x02' + b'\0' * 43),
     'Accept Security Context Failed with error code 80090326\n' + FAILED),
    ('half a hello', sends(hello()[:100]), FAILED),
    ('half a hello and then nothing', sends(hello()[:100], end=False), FAILED),
    ('a hello and then nothing', sends(hello(), end=False), FAILED),
    ('a reset in mid-handshake', resets, FAILED),
    ('a hello with a flipped bit in its length', sends(hello()[:8] + b'\x7f' + hello()[9:]),
     'Accept Security Context Failed with error code 80090326\n' + FAILED),
    ('only an alert', sends(b'\x15\x03\x03\x00\x02\x02\x28'), NO_HELLO),
]
RECORDS = [
    ('a flipped bit', spoils(flipped)),
    ('a record over the limit', spoils(lambda record: b'\x17\x03\x03\xff\xff' + b'x' * 20000)),
    ('bytes that are no record', spoils(lambda record: b'GET / HTTP/1.1\r\n\r\n')),
    ('a record that came before', spoils(lambda record: record + record)),
]


class HostileClients(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.certificates = https.Certificates('hostile')

    def setUp(self):
        self.server = https.SecureServer(self.certificates, f'-DSOAP_HANDSHAKE_TIMEOUT={LIMIT}',
                                         '-DSOAP_READ_TIMEOUT=5')
        self.printed = f'ready {self.server.url}\n'
        self.assertTrue(self.server.good_call())

    def finish(self, *texts):
        text = self.server.stop()
        for part in ('**** Error 32 sending close notify\nError disconnecting from client\n',
                     '**** Error 104 sending close notify\nError disconnecting from client\n'):
            text = text.replace(part, '')  # whether a peer that left still takes the goodbye is a matter of chance
        # Handshakes go side by side: what they print comes in any order.
        expected = self.printed + ''.join(texts) + 'notes=0\nexit code 0\n'
        self.assertEqual(sorted(text.splitlines()), sorted(expected.splitlines()))

    def test_handshakes_that_fail(self):
        descriptors = self.server.descriptors()
        for name, misbehave, _ in HANDSHAKES:
            with self.subTest(name):
                misbehave(self.server)
                begin = time.monotonic()
                self.assertTrue(self.server.good_call())
                self.assertLess(time.monotonic() - begin, LIMIT + 4)
        self.await_descriptors(descriptors)
        self.finish(*(text for _, _, text in HANDSHAKES))

    def await_descriptors(self, most):
        deadline = time.monotonic() + 10
        while self.server.descriptors() > most and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertLessEqual(self.server.descriptors(), most)

    def test_records_that_are_no_good(self):
        for name, misbehave in RECORDS:
            for version in (ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3):
                with self.subTest(name, version=version.name):
                    if name == 'a record that came before':
                        session = Session(self.server, version).establish()
                        record = session.sealed(REQUEST)
                        session.socket.sendall(record + record)
                        session.socket.shutdown(socket.SHUT_WR)
                        self.assertEqual(session.answer().count(b'200 OK'), 1)
                    else:
                        misbehave(self.server, version)
                    self.assertTrue(self.server.good_call())
        self.assertIn('*** Error Decrypting Message\n', self.server.stop())

    def test_a_good_client_whose_bytes_come_one_by_one(self):
        for version in (ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3):
            session = Session(self.server, version).establish(piece=1)
            for byte in session.sealed(REQUEST):
                session.socket.sendall(bytes([byte]))
            self.assertIn(b'<return>true</return>', session.answer())
        self.finish()

    def test_a_request_in_the_same_segment_as_the_end_of_the_handshake(self):
        session = Session(self.server)
        session.socket.sendall(session.first)
        while True:
            session.incoming.write(session.socket.recv(65536))
            try:
                session.tls.do_handshake()
                break
            except ssl.SSLWantReadError:
                pass
        end = session.outgoing.read()
        session.socket.sendall(end + session.sealed(REQUEST))
        self.assertIn(b'<return>true</return>', session.answer())
        self.finish()

    def test_two_requests_in_one_segment_on_a_kept_connection(self):
        kept = REQUEST.replace(b'\r\n\r\n', b'\r\nConnection: Keep-Alive\r\n\r\n', 1)
        session = Session(self.server).establish()
        session.socket.sendall(session.sealed(kept) + session.sealed(REQUEST))
        self.assertEqual(session.answer().count(b'<return>true</return>'), 2)
        self.finish()

    def test_silent_peers_cost_nothing(self):
        silent = [self.server.connect() for _ in range(50)]
        begin = time.monotonic()
        for _ in range(5):
            self.assertTrue(self.server.good_call())
        self.assertLess(time.monotonic() - begin, LIMIT)
        for connection in silent:
            connection.close()
        self.finish()

    def test_500_failed_handshakes_leave_the_server_as_it_was(self):
        for _ in range(20):
            self.server.good_call()
        quick = [case for case in HANDSHAKES if 'nothing' not in case[0]]

        def round_of(count):
            for i in range(count):
                quick[i % len(quick)][1](self.server)
            self.assertTrue(self.server.good_call())
        round_of(100)
        descriptors, resident = self.server.descriptors(), self.server.resident()
        round_of(500)
        self.await_descriptors(descriptors)
        # A context that stays costs some 60 kB, 500 of them 30 MB. A sanitizer holds memory back, but looks itself.
        if 'libasan' not in self.server.maps():
            self.assertLess(self.server.resident() - resident, 4000)
        self.assertIn('exit code 0', self.server.stop())

    def test_the_server_ends_in_mid_handshake(self):
        self.server.stop()
        server = https.SecureServer(self.certificates, '-DSOAP_HANDSHAKE_TIMEOUT=60')
        with server.connect() as connection:
            connection.sendall(hello())
            connection.recv(10)
            begin = time.monotonic()
            self.assertIn('exit code 0', server.stop())
            self.assertLess(time.monotonic() - begin, 5)


class TheServersOwnCertificate(unittest.TestCase):
    """Where the server has no good certificate it says why, and no handshake succeeds."""

    def start(self, name, *options, usr=https.HOST, prepare=None):
        certificates = https.Certificates(name)
        if prepare:
            prepare(certificates)
        server = https.SecureServer(certificates, *options, usr=usr)
        try:
            good = server.good_call()
        except (ssl.SSLError, ConnectionError):
            good = False
        return good, server.stop()

    def test_certificates_that_cannot_be_used(self):
        def other_key(certificates):
            text = https.text_of(certificates.server)
            key = https.text_of(certificates.client).split('-----END CERTIFICATE-----\n')[1]
            with open(certificates.server, 'w') as file:
                file.write(text.split('-----END CERTIFICATE-----\n')[0] + '-----END CERTIFICATE-----\n' + key)

        def no_key(certificates):
            text = https.text_of(certificates.server)
            with open(certificates.server, 'w') as file:
                file.write(text.split('-----BEGIN PRIVATE')[0])
        acquire = '**** Error 0x%s returned by AcquireCredentialsHandle\n'
        missing = '**** Error 0x80092004 returned by CertFindCertificateInStore\n'
        none = 'No credentials are available in the security package. \n' + acquire % '8009030e'
        cases = [
            ('wrong_key', [], https.HOST, other_key, 'The credentials supplied to the package were not recognized. \n' +
             acquire % '8009030d'),
            ('no_key', [], https.HOST, no_key, none),
            ('no_certificate', [], None, None, missing),
            ('not_there', [], 'nobody', None, missing),
            ('ssl_3', ['-DZOLT_SSL_PROTO=3'], https.HOST, None, acquire % '80090331'),
            ('vendor', ['-DZOLT_SSL_VENDOR=3'], https.HOST, None, ''),
        ]
        for name, options, usr, prepare, line in cases:
            with self.subTest(name):
                good, text = self.start(name, *options, usr=usr, prepare=prepare)
                self.assertFalse(good)
                self.assertTrue(text.startswith(line), text)

    def test_the_one_that_is_named_is_shown(self):
        def another(certificates):
            certificates.adopt(certificates.issue('another', f'/O=Other/CN={https.HOST}'))
        for options, usr, organization in ((['-DZOLT_SSL_EXACT_USR=O=Other, CN=bank.test'], 'Caldane', 'Other'),
                                           ([], 'O=caldane TEST, CN=bank', 'Caldane test')):
            certificates = https.Certificates('two_of_them')
            another(certificates)
            server = https.SecureServer(certificates, *options, usr=usr)
            with server.context.wrap_socket(server.connect(), server_hostname=https.HOST) as connection:
                subject = dict(pair for part in connection.getpeercert()['subject'] for pair in part)
            server.stop()
            self.assertEqual(subject['organizationName'], organization)

    def test_certificates_of_clients(self):
        mine, strange = https.Certificates('mine'), https.Certificates('stranger')
        server = https.SecureServer(mine, '-DZOLT_SSL_CLIENT_AUTH')
        refused = 'Error 0x%s authenticating client credentials\n'
        cases = [
            ('good', mine.client, '\nAuth succeeded, ready for command\n'),
            ('missing', None, refused % '80090322'),
            ('untrusted issuer', strange.client, refused % '800b0109'),
            ('expired', mine.issue('old', '/CN=old', usage='clientAuth', days='-1'), refused % '800b0101'),
            ('wrong usage', mine.issue('use', '/CN=use', usage='serverAuth'), refused % '800b0110'),
        ]
        for version in (ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3):
            for name, certificate, _ in cases:
                context = ssl.create_default_context(cafile=mine.authority)
                context.minimum_version = context.maximum_version = version
                if certificate:
                    context.load_cert_chain(certificate)
                try:
                    good = server.good_call(context)
                except (ssl.SSLError, ConnectionError):
                    good = False
                self.assertEqual(good, name == 'good', (name, version))
        text = server.stop()
        for name, _, line in cases:
            self.assertEqual(text.count(line), 2, (name, text))

    def test_with_a_provider_that_is_none(self):
        """Another library stands in the provider's place: secure connections fail, and a line says why."""
        folder = os.path.join(https.WORK, 'alone')
        for part in ('bin', 'lib'):
            os.makedirs(os.path.join(folder, part))
        shutil.copy(os.path.join(bank.BIN, 'bank_server'), os.path.join(folder, 'bin'))
        libraries = os.path.join(bank.BUILD, 'lib')
        for name in os.listdir(libraries):
            if re.match(r'lib(caldane|soap_transport)\.so', name):
                shutil.copy(os.path.join(libraries, name), os.path.join(folder, 'lib'))
        shutil.copy(os.path.join(libraries, 'libtest_names.so'), os.path.join(folder, 'lib', 'libsecprov.so'))
        with mock.patch.object(bank, 'BIN', os.path.join(folder, 'bin')), \
             mock.patch.dict(os.environ, LD_LIBRARY_PATH=os.path.join(folder, 'lib')):
            good, text = self.start('provider')
        self.assertFalse(good)
        self.assertTrue(text.startswith('Error 0x7f reading InitSecurityInterface entry point.\n'), text)


if __name__ == '__main__':
    https.main()
