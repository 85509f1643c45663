# SPDX-License-Identifier: MIT
"""curl as the client, with envelopes written by hand."""
import subprocess
import unittest

import bank


def curl(url, body, *options):
    out = subprocess.run(['curl', '-sS', '-i', '--max-time', '20', '-H', 'Content-Type: text/xml', *options,
                          '--data-binary', '@-', url], input=body, capture_output=True, text=True, timeout=40)
    return out.stdout + out.stderr


class Curl(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = bank.Server()

    @classmethod
    def tearDownClass(cls):
        cls.server.stop()

    def test_calls(self):
        envelope = bank.ENVELOPE.format
        declared = '<?xml version="1.0" encoding="ISO-8859-1"?>\n<!-- hello -->'
        cases = [
            # name, body, curl's options, what must be in the answer
            ('a call', envelope('exists', '<account>alice</account>'), [], ['200 OK', '<return>true</return>']),
            ('names of parameters do not count', envelope('exists', '<x>alice</x>'), [], ['<return>true</return>']),
            ('HTTP 1.0', envelope('exists', '<a>bob</a>'), ['--http1.0'], ['HTTP/1.0 200 OK', 'Connection: Close', 'true']),
            ('chunked request', envelope('exists', '<a>bob</a>'), ['-H', 'Transfer-Encoding: chunked'], ['<return>true</return>']),
            ('kept connection', envelope('exists', '<a>bob</a>'), ['-H', 'Connection: keep-alive'], ['<return>true</return>']),
            ('a declaration, a comment, CDATA', declared + envelope('exists', '<a><![CDATA[bob]]></a>'), [], ['<return>true</return>']),
            ('user exception', envelope('withdraw', '<a>zoe</a><b>1</b>'), [],
             ['500 Internal Server Error', '<faultcode>SOAP-ENV:Server</faultcode>', '<Acme:Bank:UnknownAccount', 'zoe']),
            ('unknown operation', envelope('explode', ''), [], ['500 Internal Server Error', '<faultcode>', 'explode']),
            ('missing arguments', envelope('deposit', ''), [], ['500 Internal Server Error', '<faultcode>', 'deposit']),
            ('too few arguments', envelope('deposit', '<a>bob</a>'), [], ['500 Internal Server Error', '<faultcode>', 'deposit']),
            ('literal struct', envelope('withdraw', '<a>alice</a><b>0</b>'), [],
             ['<return>\r\n<account>alice</account>\r\n<amount>0</amount>\r\n<balance>10000</balance>\r\n<mood>CALM</mood></return>']),
        ]
        for name, body, options, expected in cases:
            answer = curl(self.server.url, body, *options)
            for text in expected:
                with self.subTest(name):
                    self.assertIn(text, answer.replace('\n', '\r\n') if '\r' not in answer else answer)

    def test_encoded_requests_get_encoded_replies(self):
        body = bank.ENVELOPE.format('exists', '<a>alice</a>').replace(
            '<e:Envelope', '<e:Envelope e:encodingStyle="http://schemas.xmlsoap.org/soap/encoding/"')
        self.assertIn('<return xsi:type="xsd:boolean">true</return>', curl(self.server.url, body))


if __name__ == '__main__':
    bank.main()
