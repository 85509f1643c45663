# SPDX-License-Identifier: MIT
"""What a server tells the service manager that started it, by the protocol of sd_notify(3)."""
import os
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time
import unittest

BUILD, SOURCE = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
BIN = os.path.join(BUILD, 'bin')


class ServiceManager(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = tempfile.TemporaryDirectory()
        self.path = os.path.join(self.folder.name, 'notify')
        self.manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.manager.bind(self.path)
        self.manager.settimeout(20)
        self.server = None

    def start(self, **environment: str) -> None:
        self.server = subprocess.Popen(
            [os.path.join(BIN, 'bank_server'), '--listen', '127.0.0.1:0', '-Ddispatcher_threads=2'],
            stdout=subprocess.PIPE, text=True,
            env={**os.environ, 'NOTIFY_SOCKET': self.path, 'WATCHDOG_USEC': '200000', **environment})
        self.url = self.server.stdout.readline().split()[1]

    def tearDown(self) -> None:
        self.server.kill()
        self.server.communicate()
        self.manager.close()
        self.folder.cleanup()

    def told(self) -> str:
        return self.manager.recv(100).decode()

    def test_is_ready_alive_twice_a_period_and_stopping(self) -> None:
        self.start()
        self.assertEqual(self.told(), 'READY=1')
        times = []
        for _ in range(10):
            self.assertEqual(self.told(), 'WATCHDOG=1')
            times.append(time.monotonic())
        gap = statistics.median(after - before for before, after in zip(times, times[1:]))
        self.assertTrue(0.07 < gap < 0.17, gap)
        self.server.send_signal(signal.SIGHUP)
        self.assertEqual([self.told() for _ in range(3)], ['WATCHDOG=1'] * 3, 'SIGHUP ends no server')
        self.server.send_signal(signal.SIGTERM)
        while (word := self.told()) == 'WATCHDOG=1':
            pass
        self.assertEqual(word, 'STOPPING=1')

    def test_is_silent_where_another_process_is_watched(self) -> None:
        self.start(WATCHDOG_PID='1')
        self.assertEqual(self.told(), 'READY=1')
        self.manager.settimeout(0.5)
        with self.assertRaises(TimeoutError):
            self.told()

    def test_is_not_alive_while_no_worker_is_free(self) -> None:
        self.start()
        self.assertEqual(self.told(), 'READY=1')
        callers = [threading.Thread(target=subprocess.run, args=(['%s/bank_client' % BIN, self.url, 'sleep', '3000'],),
                                    kwargs={'capture_output': True}) for _ in range(2)]
        for caller in callers:
            caller.start()
        self.manager.settimeout(1)
        with self.assertRaises(TimeoutError):
            while True:
                self.told()
        self.manager.settimeout(20)
        for caller in callers:
            caller.join()
        self.assertEqual(self.told(), 'WATCHDOG=1')


if __name__ == '__main__':
    unittest.main(verbosity=1)
