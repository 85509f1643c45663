# SPDX-License-Identifier: MIT
"""What the tests of whole programs share: starting the bank's server and running its client."""
import os
import signal
import socket
import subprocess
import sys
import threading
import unittest

BUILD = sys.argv.pop(1) if len(sys.argv) > 1 and os.path.isdir(sys.argv[1]) else 'build'
BIN = os.path.join(BUILD, 'bin')
HERE = os.path.dirname(os.path.abspath(__file__))

ENVELOPE = ('<e:Envelope xmlns:e="http://schemas.xmlsoap.org/soap/envelope/"><e:Body>'
            '<m:{0} xmlns:m="http://acme.example/bank">{1}</m:{0}></e:Body></e:Envelope>')


class Server:
    """A bank_server, or another program that is started like it, on a port of its own; `stop` ends it and keeps what it printed."""

    def __init__(self, *options, program='bank_server', listen='127.0.0.1:0'):
        self.process = subprocess.Popen([os.path.join(BIN, program), *options, '--listen', listen],
                                        stdout=subprocess.PIPE, text=True)
        self.ready = self.process.stdout.readline().rstrip('\n')
        self.url = self.ready.removeprefix('ready ')
        self.output = None
        self.code = None

    @property
    def address(self):
        host, port = self.url.removeprefix('http://').split('/')[0].split(':')
        return host, int(port)

    def stop(self, number=signal.SIGTERM):
        if self.code is None:
            self.process.send_signal(number)
            try:
                self.output, _ = self.process.communicate(timeout=20)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.output, _ = self.process.communicate()
                self.code = 'did not end within 20 s'
                return self.code
            self.code = self.process.returncode
        return self.code


class Result:
    def __init__(self, completed):
        self.code, self.out, self.err = completed.returncode, completed.stdout, completed.stderr

    def __repr__(self):
        return f'exit code {self.code}\n{self.out}{self.err}'


def client(*arguments, timeout=60):
    return Result(subprocess.run([os.path.join(BIN, 'bank_client'), *arguments], capture_output=True, text=True,
                                 timeout=timeout))


class ScriptedServer:
    """A server of a few lines: `answer(connection)` is run, on a thread, for each connection it accepts."""

    def __init__(self, answer):
        self.listener = socket.create_server(('127.0.0.1', 0))
        self.port = self.listener.getsockname()[1]
        self.url = f'http://127.0.0.1:{self.port}/bank'
        self.answer = answer
        self.connections = 0
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            self.connections += 1
            threading.Thread(target=self._answer, args=(connection,), daemon=True).start()

    def _answer(self, connection):
        try:
            self.answer(connection)
        except OSError:
            pass
        finally:
            connection.close()

    def close(self):
        self.listener.close()


def read_request(connection):
    """One request with a Content-Length, head and body; empty at the end of input."""
    data = b''
    while b'\r\n\r\n' not in data:
        piece = connection.recv(4096)
        if not piece:
            return b''
        data += piece
    head, body = data.split(b'\r\n\r\n', 1)
    length = next((int(line.split(b':')[1]) for line in head.split(b'\r\n') if line.lower().startswith(b'content-length')), 0)
    while len(body) < length:
        body += connection.recv(4096)
    return head + b'\r\n\r\n' + body


def main():
    unittest.main(verbosity=1)
