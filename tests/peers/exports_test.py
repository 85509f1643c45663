# SPDX-License-Identifier: MIT
"""The transport library exports its loader symbol and nothing else."""
import subprocess
import unittest

import bank


class Exports(unittest.TestCase):
    def test_one_symbol(self):
        out = subprocess.run(['nm', '-D', '--defined-only', f'{bank.BUILD}/lib/libsoap_transport.so'], capture_output=True,
                             text=True, check=True).stdout
        self.assertEqual([line.split()[1:] for line in out.splitlines()], [['B', '_SOAP_Info_Loader']])


if __name__ == '__main__':
    bank.main()
