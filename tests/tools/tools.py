# SPDX-License-Identifier: MIT
"""What the tests of the tools share: where things are, and running servers and programs."""
import os
import signal
import subprocess
import sys
import unittest

BUILD, SOURCE = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
BIN = os.path.join(BUILD, 'bin')
BANK_IDL = os.path.join(SOURCE, 'examples', 'bank', 'bank.idl')
INTEROP_IDL = os.path.join(SOURCE, 'examples', 'interop', 'interop.idl')
SHAPES_IDL = os.path.join(SOURCE, 'examples', 'interop', 'shapes.idl')
EVERY_IDL = os.path.join(SOURCE, 'tests', 'idl', 'every_construct.idl')


class Server:
    """A server of the examples on a port of its own, between `with` and the end of the block."""

    def __init__(self, program: str, *options: str):
        self.process = subprocess.Popen([os.path.join(BIN, program), *options, '--listen', '127.0.0.1:0'],
                                        stdout=subprocess.PIPE, text=True)
        self.url = self.process.stdout.readline().rstrip('\n').removeprefix('ready ')

    def stop(self) -> None:
        self.process.send_signal(signal.SIGTERM)
        self.process.communicate(timeout=20)


def run(*words: str, **settings) -> subprocess.CompletedProcess:
    return subprocess.run(words, capture_output=True, text=True, timeout=120, **settings)


def program(name: str, *words: str) -> subprocess.CompletedProcess:
    return run(os.path.join(BIN, name), *words)


def main() -> None:
    unittest.main(verbosity=1)
