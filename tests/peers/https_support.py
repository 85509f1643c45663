# SPDX-License-Identifier: MIT
"""What the tests of secure connections share: certificates of every kind, a secure bank, names that lead home."""
import os
import re
import shutil
import signal
import socket
import ssl
import subprocess
import tempfile
import threading
import time

import bank

HOST = 'bank.test'
CERT_TOOL = os.path.join(bank.BIN, 'caldane_cert')
WORK = tempfile.mkdtemp(prefix='https-')
GOOD = bank.ENVELOPE.format('exists', '<a>alice</a>')


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, timeout=120, **options)


def text_of(path: str) -> str:
    with open(path) as file:
        return file.read()


def openssl(*arguments):
    done = run('openssl', *arguments)
    if done.returncode != 0:
        raise RuntimeError(f'openssl {" ".join(arguments)}\n{done.stderr}')


class Certificates:
    """A folder as caldane_cert makes it: an authority, a server's and a client's certificate; and others that are
    wrong in some way."""

    def __init__(self, name: str, *hosts: str):
        self.folder = os.path.join(WORK, name)
        done = run(CERT_TOOL, self.folder, *(hosts or (HOST,)))
        if done.returncode != 0:
            raise RuntimeError(done.stderr)
        self.authority = os.path.join(self.folder, 'root', 'authority.pem')
        self.server = os.path.join(self.folder, 'my', 'server.pem')
        self.client = os.path.join(self.folder, 'my', 'client.pem')

    def issue(self, name: str, subject: str, names: str = f'DNS:{HOST}', usage: str = 'serverAuth',
              days: str = '2', own_issuer: bool = False) -> str:
        """A certificate with its key in a file outside the folder."""
        base = os.path.join(WORK, name)
        openssl('req', '-new', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes', '-subj', subject,
                '-keyout', base + '.key', '-out', base + '.csr')
        with open(base + '.ext', 'w') as file:
            file.write(f'subjectAltName={names}\nextendedKeyUsage={usage}\n')
        signer = (['-signkey', base + '.key'] if own_issuer else
                  ['-CA', self.authority, '-CAkey', os.path.join(self.folder, 'authority.key'), '-CAcreateserial'])
        openssl('x509', '-req', '-in', base + '.csr', *signer, '-days', days, '-extfile', base + '.ext', '-out',
                base + '.crt')
        with open(base + '.pem', 'w') as file:
            for part in ('.crt', '.key'):
                file.write(text_of(base + part))
        return base + '.pem'

    def adopt(self, file: str):
        """Puts the file among the certificates that this side may show."""
        shutil.copy(file, os.path.join(self.folder, 'my'))


def environment(certificates: Certificates) -> dict[str, str]:
    """Of a program that keeps its certificates there and finds the test's host names."""
    preload = os.path.join(bank.BUILD, 'lib', 'libtest_names.so')
    checks = os.environ.get('ASAN_OPTIONS', '') + ':verify_asan_link_order=0'
    return {**os.environ, 'CALDANE_CERTS': certificates.folder, 'LD_PRELOAD': os.path.abspath(preload),
            'TEST_HOST_NAME': HOST,
            'ASAN_OPTIONS': checks.lstrip(':')}


def call(certificates: Certificates, *arguments: str, program: str = 'bank_client') -> bank.Result:
    """A run of the bank's client, or of another one."""
    return bank.Result(run(os.path.join(bank.BIN, program), *arguments, env=environment(certificates)))


class SecureServer:
    """A bank_server with --secure, or another server of the examples, on a port of its own."""

    def __init__(self, certificates: Certificates, *options: str, secure: bool = True, usr: str | None = HOST,
                 program: str = 'bank_server'):
        self.log = tempfile.NamedTemporaryFile('w+', dir=WORK)
        flags = ['--secure'] if secure else []
        chosen = [f'-DZOLT_SSL_USR={usr}'] if usr else []
        self.process = subprocess.Popen(
            [os.path.join(bank.BIN, program), *chosen, *options, *flags, '--listen', f'{HOST}:0'],
            stdout=self.log, stderr=subprocess.STDOUT, env=environment(certificates))
        deadline = time.monotonic() + 20
        while not (ready := re.search(r'^ready (\w+://[^:]+:(\d+)/\w+)$', self.text(), re.M)):
            if time.monotonic() > deadline or self.process.poll() is not None:
                raise RuntimeError('the server did not start:\n' + self.text())
            time.sleep(0.01)
        self.url, self.port = ready.group(1), int(ready.group(2))
        self.by_address = self.url.replace(HOST, '127.0.0.1')
        self.context = ssl.create_default_context(cafile=certificates.authority)

    def text(self) -> str:
        return text_of(self.log.name)

    def connect(self, timeout: float = 20) -> socket.socket:
        return socket.create_connection(('127.0.0.1', self.port), timeout=timeout)

    def good_call(self, context: ssl.SSLContext | None = None) -> bool:
        with (context or self.context).wrap_socket(self.connect(), server_hostname=HOST) as connection:
            connection.sendall(b'POST /bank HTTP/1.1\r\nContent-Type: text/xml\r\nContent-Length: %d\r\n\r\n%s'
                               % (len(GOOD), GOOD.encode()))
            answer = b''
            while piece := connection.recv(65536):
                answer += piece
            return b'<return>true</return>' in answer

    def descriptors(self) -> int:
        return len(os.listdir(f'/proc/{self.process.pid}/fd'))

    def resident(self) -> int:
        return int(re.search(r'VmRSS:\s+(\d+)', text_of(f'/proc/{self.process.pid}/status')).group(1))

    def maps(self) -> str:
        return text_of(f'/proc/{self.process.pid}/maps')

    def stop(self) -> str:
        """Ends the server; all that it printed."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(20)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        text = f'{self.text()}exit code {self.process.returncode}\n'
        self.log.close()
        return text


class TlsServer(bank.ScriptedServer):
    """An independent HTTPS server: answers every call of `exists` with true."""

    REPLY = (b'<e:Envelope xmlns:e="http://schemas.xmlsoap.org/soap/envelope/"><e:Body><existsResponse><return>true'
             b'</return></existsResponse></e:Body></e:Envelope>')

    def __init__(self, certificate: str, version: ssl.TLSVersion | None = None, clients: str | None = None):
        self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.context.load_cert_chain(certificate)
        if version:
            self.context.minimum_version = self.context.maximum_version = version
        if clients:
            self.context.verify_mode = ssl.CERT_REQUIRED
            self.context.load_verify_locations(clients)
        self.versions: list[str | None] = []
        self.peers: list[str] = []
        super().__init__(self.serve)
        self.url = f'https://{HOST}:{self.port}/bank'

    def serve(self, connection):
        connection.settimeout(20)
        with self.context.wrap_socket(connection, server_side=True) as secure:
            self.versions.append(secure.version())
            subject = (secure.getpeercert() or {}).get('subject', ())
            self.peers += [value for part in subject for key, value in part if key == 'commonName']
            while bank.read_request(secure):
                secure.sendall(b'HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n%s' % (len(self.REPLY), self.REPLY))


def in_parallel(cases, action) -> list:
    """`action(*case)` for all cases at the same time; what they gave, in order."""
    results = [None] * len(cases)

    def one(index, case):
        try:
            results[index] = action(*case)
        except Exception as error:  # shown by the assertion on the result
            results[index] = error
    threads = [threading.Thread(target=one, args=item) for item in enumerate(cases)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return results


def main():
    try:
        bank.main()
    finally:
        shutil.rmtree(WORK, ignore_errors=True)
