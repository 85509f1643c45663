# SPDX-License-Identifier: MIT
"""Three servers behind HAProxy, as the guide sets them up: what is lost when one is killed, and when all are restarted."""
import os
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

BUILD, SOURCE = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
BIN = os.path.join(BUILD, 'bin')
DEPLOYMENT = os.path.join(SOURCE, 'examples', 'deployment')
CALLERS = 6
CALL_MILLISECONDS = 20


def free_port() -> int:
    with socket.create_server(('127.0.0.1', 0)) as listener:
        return listener.getsockname()[1]


class BankServer:
    """One server at a port that stays its own when it is started again."""

    def __init__(self) -> None:
        self.address = f'127.0.0.1:{free_port()}'
        self.start()

    def start(self) -> None:
        self.process = subprocess.Popen([os.path.join(BIN, 'bank_server'), '--listen', self.address],
                                        stdout=subprocess.PIPE, text=True)
        assert self.process.stdout.readline().startswith('ready')

    def stop(self, number: int = signal.SIGTERM) -> None:
        self.process.send_signal(number)
        self.process.communicate(timeout=20)


class Cluster:
    def __init__(self, folder: str) -> None:
        self.servers = [BankServer() for _ in range(3)]
        self.socket = os.path.join(folder, 'haproxy.sock')
        self.address = f'127.0.0.1:{free_port()}'
        addresses = dict(zip(('ONE', 'TWO', 'THREE'), (server.address for server in self.servers)))
        self.proxy = subprocess.Popen(['haproxy', '-db', '-f', os.path.join(DEPLOYMENT, 'haproxy.cfg')],
                                      stderr=subprocess.DEVNULL,
                                      env={**os.environ, 'SOCKET': self.socket, 'ADDRESS': self.address, **addresses})

    def stop(self) -> None:
        self.proxy.terminate()
        self.proxy.wait(timeout=20)
        for server in self.servers:
            server.stop()


class Load:
    """Callers that call one after the other, each in a program of its own, until they are told to stop."""

    def __init__(self, url: str) -> None:
        self.url = url
        self.done = 0
        self.failures: list[str] = []
        self.going = True
        self.lock = threading.Lock()
        self.threads = [threading.Thread(target=self.call) for _ in range(CALLERS)]
        for thread in self.threads:
            thread.start()

    def call(self) -> None:
        while self.going:
            made = subprocess.run([os.path.join(BIN, 'bank_client'), self.url, 'sleep', str(CALL_MILLISECONDS)],
                                  capture_output=True, text=True, timeout=60)
            with self.lock:
                self.done += made.returncode == 0
                if made.returncode != 0:
                    self.failures.append(made.stderr)

    def await_calls(self, count: int) -> None:
        wanted = self.done + count
        end = time.monotonic() + 60
        while self.done < wanted and time.monotonic() < end:
            time.sleep(0.01)

    def stop(self) -> None:
        self.going = False
        for thread in self.threads:
            thread.join()


class Behind(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = tempfile.TemporaryDirectory()
        self.cluster = Cluster(self.folder.name)
        self.url = f'http://{self.cluster.address}/bank'
        end = time.monotonic() + 20
        while subprocess.run([os.path.join(BIN, 'soapcall'), self.url, 'exists', 'account=bob', '--timeout', '2'],
                             capture_output=True).returncode != 0:
            self.assertLess(time.monotonic(), end, 'nobody answers')
        self.load = Load(self.url)

    def tearDown(self) -> None:
        self.load.stop()
        self.cluster.stop()
        self.folder.cleanup()

    def test_one_that_is_killed_takes_only_its_own_calls_along(self) -> None:
        self.load.await_calls(50)
        self.cluster.servers[0].stop(signal.SIGKILL)
        self.load.await_calls(100)
        self.load.stop()
        # No caller has more than one call at a time, and only those that ran in that server may fail.
        self.assertLessEqual(len(self.load.failures), CALLERS, self.load.failures)
        self.cluster.servers[0].start()

    def test_a_rolling_restart_loses_nothing(self) -> None:
        self.load.await_calls(20)
        for name, server in zip(('one', 'two', 'three'), self.cluster.servers):
            stopped, started = (os.path.join(self.folder.name, f'{name}.{word}') for word in ('stopped', 'started'))
            helper = subprocess.Popen([os.path.join(DEPLOYMENT, 'restart_one'), self.cluster.socket, f'bank/{name}',
                                       f'touch {stopped}', f'while [ ! -e {started} ]; do sleep 0.05; done'])
            while not os.path.exists(stopped):
                self.assertIsNone(helper.poll())
                time.sleep(0.01)
            server.stop()
            self.assertEqual(server.process.returncode, 0)
            server.start()
            open(started, 'w', encoding='utf-8').close()
            self.assertEqual(helper.wait(timeout=60), 0)
            self.load.await_calls(20)
        self.load.stop()
        self.assertEqual(self.load.failures, [])
        self.assertGreater(self.load.done, 60)


if __name__ == '__main__':
    unittest.main(verbosity=1)
