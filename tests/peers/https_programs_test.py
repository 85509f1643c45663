# SPDX-License-Identifier: MIT
"""Other people's programs call a secure bank; and the bank's client calls an independent HTTPS server, and refuses
those that do not prove who they are."""
import os
import socket
import ssl
import subprocess
import threading
import unittest
import unittest.mock

import bank
import https_support as https

SOAP_LITE = r'''
use strict; use warnings; use SOAP::Lite; use IO::Socket::SSL;
my $bank = SOAP::Lite->proxy($ENV{BANK}, timeout => 20, ssl_opts => {SSL_ca_file => $ENV{AUTHORITY},
    SSL_verifycn_name => 'bank.test', verify_hostname => 0, SSL_verify_mode => SSL_VERIFY_PEER})
    ->default_ns('http://acme.example/bank');
print "exists=", $bank->call('exists', SOAP::Data->name(account => 'alice'))->result, "\n";
'''


class OthersCallTheBank(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.certificates = https.Certificates('others')
        cls.server = https.SecureServer(cls.certificates)
        cls.careful = https.SecureServer(cls.certificates, '-DZOLT_SSL_CLIENT_AUTH')

    @classmethod
    def tearDownClass(cls):
        cls.server.stop()
        cls.careful.stop()

    def curl(self, server, *options):
        return https.run('curl', '-sS', '--max-time', '20', '--resolve', f'{https.HOST}:{server.port}:127.0.0.1',
                         '--cacert', self.certificates.authority, '-H', 'Content-Type: text/xml', *options,
                         '--data', https.GOOD, server.url)

    def test_curl_with_each_version_with_and_without_a_certificate(self):
        for version in (['--tls-max', '1.2'], ['--tlsv1.3']):
            for server in (self.server, self.careful):
                for options in ([], ['--cert', self.certificates.client]):
                    with self.subTest(version=version, careful=server is self.careful, options=options):
                        done = self.curl(server, *version, *options)
                        good = server is self.server or bool(options)
                        self.assertEqual('<return>true</return>' in done.stdout, good, done)

    def test_two_calls_on_one_connection(self):
        done = self.curl(self.server, '-v', '-H', 'Connection: Keep-Alive', self.server.url)
        self.assertEqual(done.stdout.count('<return>true</return>'), 2, done.stderr)
        self.assertIn('Re-using existing connection', done.stderr)

    def test_s_client(self):
        request = f'POST /bank HTTP/1.1\r\nContent-Type: text/xml\r\nContent-Length: {len(https.GOOD)}\r\n\r\n{https.GOOD}'
        for version in ('-tls1_2', '-tls1_3'):
            done = https.run('openssl', 's_client', '-connect', f'127.0.0.1:{self.server.port}', version, '-quiet',
                             '-verify_return_error', '-verify_hostname', https.HOST, '-CAfile',
                             self.certificates.authority, input=request)
            self.assertIn('<return>true</return>', done.stdout, done.stderr)

    def test_a_renegotiation_is_refused(self):
        """The client asks for a new handshake ("R") in a session of TLS 1.2."""
        done = https.run('openssl', 's_client', '-connect', f'127.0.0.1:{self.server.port}', '-tls1_2', '-CAfile',
                         self.certificates.authority, input='R\n')
        self.assertRegex(done.stdout + done.stderr, 'RENEGOTIATING')
        self.assertNotRegex(done.stdout.split('RENEGOTIATING')[-1], 'verify return')
        self.assertTrue(self.server.good_call())

    def test_soap_lite(self):
        done = https.run('perl', '-e', SOAP_LITE, env={**os.environ, 'BANK': self.server.by_address,
                                                       'AUTHORITY': self.certificates.authority})
        self.assertEqual(done.stdout, 'exists=1\n', done.stderr)

    def test_large_messages_in_both_directions(self):
        text = 'x' * 1_000_000
        body = bank.ENVELOPE.format('echo', f'<a>{text}</a>')
        done = https.run('curl', '-sS', '--max-time', '60', '-k', '-H', 'Content-Type: text/xml', '--data', '@-',
                         self.server.by_address, input=body)
        self.assertIn(text, done.stdout)


class PlainStaysPlain(unittest.TestCase):
    def test_no_tls_code_in_a_plain_server(self):
        plain = https.SecureServer(https.Certificates('plain'), secure=False)
        self.assertEqual(bank.client(plain.by_address, 'exists', 'alice').code, 0)
        self.assertNotRegex(plain.maps(), 'ssl|crypto|secprov')
        plain.stop()
        for file in ('bin/bank_server', 'lib/libcaldane.so', 'lib/libsoap_transport.so'):
            self.assertNotRegex(https.run('ldd', os.path.join(bank.BUILD, file)).stdout, 'libssl|libcrypto|secprov')

    def test_a_secure_server_has_it(self):
        server = https.SecureServer(https.Certificates('loaded'))
        self.assertRegex(server.maps(), 'libsecprov.*')
        self.assertRegex(server.maps(), 'libssl')
        server.stop()


class TheClient(unittest.TestCase):
    """Each failure takes all of the ten attempts: the cases run at the same time."""

    @classmethod
    def setUpClass(cls):
        cls.mine = https.Certificates('client')
        cls.strange = https.Certificates('strange')

    def test_servers_that_prove_who_they_are(self):
        versions = {ssl.TLSVersion.TLSv1_2: 'TLSv1.2', ssl.TLSVersion.TLSv1_3: 'TLSv1.3', None: 'TLSv1.3'}
        wild = self.mine.issue('wild', '/CN=other', names=f'DNS:*.{https.HOST}')
        for version, name in versions.items():
            for certificate, part in ((self.mine.server, ''), (wild, 'www.')):
                server = https.TlsServer(certificate, version)
                url = server.url.replace('://', '://' + part)
                result = https.call(self.mine, '--repeat', '5', url, 'exists', 'alice')
                self.assertEqual((result.code, result.out), (0, 'return=true\n'), result)
                self.assertEqual(server.versions, [name])
                server.close()

    def test_every_kind_of_value_between_our_own_programs(self):
        server = https.SecureServer(self.mine, '-DZOLT_SSL_CLIENT_AUTH', program='interop_server')
        result = https.call(self.mine, '-DZOLT_SSL', '-DZOLT_SSL_USR=caldane client', server.url, program='interop_client')
        self.assertEqual((result.code, 'FAIL' in result.out), (0, False), result)
        self.assertGreater(result.out.count('PASS'), 50)
        text = server.stop()
        self.assertIn('exit code 0', text)
        self.assertIn('Auth succeeded', text)

    def test_the_trace_holds_what_was_said_inside_and_no_more(self):
        server = https.TlsServer(self.mine.server)
        trace = os.path.join(https.WORK, 'trace')
        self.assertEqual(https.call(self.mine, f'-DSOAP_TRACE={trace}', server.url, 'exists', 'alice').code, 0)
        server.close()
        with open(trace, 'rb') as file:
            text = file.read()
        for part in (b'POST /bank HTTP/1.0', b'<account>alice</account>', b'<return>true</return>'):
            self.assertEqual(text.count(part), 1, text)
        # Each request ends where its envelope does: nothing that the encryption adds is counted as text.
        self.assertNotIn(b'\0', text)

    def test_certificates_of_the_client(self):
        for version in (ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3):
            server = https.TlsServer(self.mine.server, version, clients=self.mine.authority)
            for option, out in (('-DZOLT_SSL_USR=DANE client', ''),
                                ('-DZOLT_SSL_EXACT_USR=O=Caldane test, CN=caldane client', 'CertStrToName created the BLOB.\n')):
                result = https.call(self.mine, option, server.url, 'exists', 'alice')
                self.assertEqual((result.code, result.out), (0, out + 'return=true\n'), result)
            self.assertEqual(server.peers, ['caldane client', 'caldane client'])
            result = https.call(self.mine, '-Dcall_timeout=2', server.url, 'exists', 'alice')
            self.assertEqual((result.code, 'return=' in result.out), (2, False), result)
            server.close()

    def test_everything_that_is_refused(self):
        issue = self.mine.issue
        unproven = '**** Error 0x%s authenticating server credentials!\n'
        cases = [
            # name, certificate, options, the line on standard output at each attempt, by address
            ('wrong name', issue('wrong_name', '/CN=other.test', names='DNS:other.test'), [], unproven % '800b010f'),
            ('name in the subject only beside others', issue('cn', f'/CN={https.HOST}', names='DNS:other.test'), [],
             unproven % '800b010f'),
            ('untrusted issuer', self.strange.server, [], unproven % '800b0109'),
            ('self-signed', issue('alone', f'/CN={https.HOST}', own_issuer=True), [], unproven % '800b0109'),
            ('expired', issue('expired', f'/CN={https.HOST}', days='-1'), [], unproven % '800b0101'),
            ('wrong usage', issue('usage', f'/CN={https.HOST}', usage='clientAuth'), [], unproven % '800b0110'),
            ('dotted address', issue('dotted', '/CN=x', names='IP:127.0.0.1,DNS:127.0.0.1'), ['by address'],
             unproven % '80090322'),
            ('vendor 1', self.mine.server, ['-DZOLT_SSL_VENDOR=1'], ''),
            ('SSL 2', self.mine.server, ['-DZOLT_SSL_PROTO=2'],
             '**** Error 0x80090331 returned by AcquireCredentialsHandle\n'),
            ('SSL 3', self.mine.server, ['-DZOLT_SSL_PROTO=3'],
             '**** Error 0x80090331 returned by AcquireCredentialsHandle\n'),
            ('no such certificate', self.mine.server, ['-DZOLT_SSL_USR=nobody'],
             '**** Error 0x80092004 returned by CertFindCertificateInStore\n'),
            ('a part for the whole name', self.mine.server, ['-DZOLT_SSL_EXACT_USR=CN=caldane client'],
             'CertStrToName created the BLOB.\n**** Error 0x80092004 returned by CertFindCertificateInStore\n'),
            ('no name at all', self.mine.server, ['-DZOLT_SSL_EXACT_USR=bank'],
             'Could not get the lenth of the BLOB==80092023\nCould not create the BLOB.\n'
             '**** Error 0x80092004 returned by CertFindCertificateInStore\n'),
        ]

        def attempt(name, certificate, options, _):
            server = https.TlsServer(certificate)
            url = server.url.replace(https.HOST, '127.0.0.1') if 'by address' in options else server.url
            result = https.call(self.mine, *[o for o in options if o != 'by address'], url, 'exists', 'alice')
            lenient = None
            if not options or 'by address' in options:
                lenient = https.call(self.mine, '-DZOLT_SSL_NO_SERVER_AUTH', url, 'exists', 'alice')
            server.close()
            return result, lenient
        for (name, _, _, line), outcome in zip(cases, https.in_parallel(cases, attempt)):
            with self.subTest(name):
                result, lenient = outcome
                self.assertEqual((result.code, result.out), (2, line * 10), result)
                self.assertIn('COMM_FAILURE (2)', result.err)
                if lenient is not None:
                    self.assertEqual((lenient.code, lenient.out), (0, 'return=true\n'), lenient)

    def test_the_name_is_the_one_that_was_asked_for(self):
        other = self.mine.issue('look_up_lies', '/CN=other.test', names='DNS:other.test')
        for certificate, out in ((self.mine.server, 'return=true\n'), (other, '')):
            server = https.TlsServer(certificate)
            with unittest.mock.patch.dict(os.environ, TEST_CANONICAL_NAME='other.test'):
                result = https.call(self.mine, '-Dcall_timeout=2', server.url, 'exists', 'alice')
            server.close()
            self.assertEqual('return=true' in result.out, out != '', result)

    def test_through_a_proxys_tunnel_it_is_the_endpoints_name_that_counts(self):
        asked = []

        def proxy_for(server):
            def relay(connection):
                asked.append(bank.read_request(connection)[:24])
                with socket.create_connection(('127.0.0.1', server.port)) as onward:
                    connection.sendall(b'HTTP/1.1 200 Connection established\r\n\r\n')
                    back = threading.Thread(target=pump, args=(onward, connection), daemon=True)
                    back.start()
                    pump(connection, onward)
                    back.join()
            return bank.ScriptedServer(relay)

        def pump(source, target):
            try:
                while piece := source.recv(65536):
                    target.sendall(piece)
                target.shutdown(socket.SHUT_WR)
            except OSError:
                pass
        # Nobody but the proxy knows where far.example is.
        for certificate, good in ((self.mine.issue('far', '/CN=x', names='DNS:far.example'), True), (self.mine.server, False)):
            server = https.TlsServer(certificate)
            proxy = proxy_for(server)
            result = https.call(self.mine, f'-Dproxy=127.0.0.1:{proxy.port}', '-DSOAP_PROXY_CONNECT',
                                '-DSOAP_CONNECT_ATTEMPTS=1', 'https://far.example/bank', 'exists', 'alice')
            self.assertEqual((result.code, 'return=true' in result.out), (0, True) if good else (2, False), result)
            proxy.close()
            server.close()
        self.assertEqual(asked, [b'CONNECT far.example:443 '] * 2)

    def test_the_default_protocol_is_that_of_an_unknown_selector_too(self):
        server = https.TlsServer(self.mine.server)
        for selector in ('0', '4', '9', 'many'):
            result = https.call(self.mine, f'-DZOLT_SSL_PROTO={selector}', server.url, 'exists', 'alice')
            self.assertEqual((result.code, result.out), (0, 'return=true\n'), result)
        server.close()

    def test_servers_that_misbehave(self):
        silent = bank.ScriptedServer(lambda connection: connection.recv(1 << 20) and connection.recv(1))
        plain = bank.ScriptedServer(lambda connection: connection.recv(1 << 20) and connection.sendall(b'HTTP/1.1 400 Bad\r\n\r\n'))
        closing = bank.ScriptedServer(lambda connection: connection.recv(10))
        full = bank.ScriptedServer(lambda connection: connection.recv(1 << 20) and connection.sendall(b'\x16\x03\x03\xff\xff' + b'x' * 70000))
        step = '**** Error 0x%s returned by InitializeSecurityContext (2)\n'
        cases = [('stops in mid-handshake', silent, ''), ('speaks in the clear', plain, step % '80090308'),
                 ('closes', closing, ''), ('a record over the limit', full, step % '80090308')]

        def attempt(_, server, __):
            url = f'https://{https.HOST}:{server.port}/bank'
            return https.call(self.mine, '-DSOAP_HANDSHAKE_TIMEOUT=0.2', url, 'exists', 'alice')
        for (name, server, line), result in zip(cases, https.in_parallel(cases, attempt)):
            with self.subTest(name):
                self.assertEqual((result.code, result.out, server.connections), (2, line * 10, 10), result)
            server.close()


if __name__ == '__main__':
    https.main()
