# SPDX-License-Identifier: MIT
"""The bank's client against servers that misbehave: a clear message and exit code 2, or the result where
the answer was good."""
import socket
import unittest

import bank

REPLY = (b'<e:Envelope xmlns:e="http://schemas.xmlsoap.org/soap/envelope/"><e:Body><existsResponse><return>true</return>'
         b'</existsResponse></e:Body></e:Envelope>')
HTML = b'<html><body>Not here</body></html>'


def with_length(body, status=b'200 OK', extra=b''):
    return b'HTTP/1.1 %s\r\n%sContent-Length: %d\r\n\r\n%s' % (status, extra, len(body), body)


def chunked(body):
    pieces = [body[i:i + 7] for i in range(0, len(body), 7)]
    return (b'HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n' +
            b''.join(b'%X\r\n%s\r\n' % (len(p), p) for p in pieces) + b'0\r\n\r\n')


OTHER_CALL = REPLY.replace(b'existsResponse', b'depositResponse').replace(b'true', b'<x>5</x>')
FAULT = (b'<e:Envelope xmlns:e="http://schemas.xmlsoap.org/soap/envelope/"><e:Body><e:Fault><faultcode>e:Client</faultcode>'
         b'<faultstring>no such thing</faultstring></e:Fault></e:Body></e:Envelope>')

BAD = [
    # name, bytes answered, a word that the message must hold
    ('closes without a byte', b'', 'closed'),
    ('half a head', b'HTTP/1.1 200 OK\r\nContent-', ''),
    ('half a status line', b'HTTP/1.', ''),
    ('no HTTP at all', b'220 smtp.example ESMTP\r\n', ''),
    ('half a body', with_length(REPLY)[:-30], ''),
    ('404', with_length(HTML, b'404 Not Found'), '404'),
    ('500 without a fault', with_length(HTML, b'500 Internal Server Error'), '500'),
    ('302', with_length(b'', b'302 Found', b'Location: http://127.0.0.1:1/\r\n'), '302'),
    ('an empty body', with_length(b''), 'not a SOAP envelope'),
    ('a body that is no XML', with_length(b'hello'), ''),
    ('cut off XML', with_length(REPLY[:-20]), ''),
    ('a fault of its own', with_length(FAULT, b'500 Internal Server Error'), 'no such thing'),
    ('negative length', b'HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\n' + REPLY, ''),
    ('endless chunk size', b'HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n' + b'1' * 100, ''),
    ('endless head', b'HTTP/1.1 200 OK\r\n' + b'X: ' + b'a' * 100000, ''),
    ('a deep body', with_length(b'<a>' * 50000), ''),
]
GOOD = [
    ('plain', with_length(REPLY)),
    ('chunked', chunked(REPLY)),
    ('100 first', b'HTTP/1.1 100 Continue\r\nX: y\r\n\r\n' + with_length(REPLY)),
    ('no length', b'HTTP/1.0 200 OK\r\n\r\n' + REPLY),
    ('lower case and folded headers', b'HTTP/1.1 200 OK\r\nx-a: b\r\n c\r\ncontent-length: %d\r\n\r\n%s' % (len(REPLY), REPLY)),
]


class MisbehavingServers(unittest.TestCase):
    def call(self, answer, *options):
        def serve(connection):
            while bank.read_request(connection):
                connection.sendall(answer)
                if answer.startswith(b'HTTP/1.0') or (answer, None) in [(a, None) for _, a, _ in BAD]:
                    connection.shutdown(socket.SHUT_WR)
                    while connection.recv(4096):
                        pass
                    return
        server = bank.ScriptedServer(serve)
        result = bank.client(*options, server.url, 'exists', 'alice')
        server.close()
        return server, result

    def test_bad_answers_end_in_a_message(self):
        for name, answer, word in BAD:
            with self.subTest(name):
                server, result = self.call(answer)
                self.assertEqual((result.code, result.out), (2, ''), result)
                self.assertIn(server.url, result.err)
                self.assertIn(word, result.err)

    def test_good_answers_give_the_result(self):
        for name, answer in GOOD:
            with self.subTest(name):
                _, result = self.call(answer)
                self.assertEqual((result.code, result.out), (0, 'return=true\n'), result)
        for name, answer in GOOD:
            if name != 'no length':
                with self.subTest(name + ', 20 times'):
                    server, result = self.call(answer, '--repeat', '20')
                    self.assertEqual(result.code, 0, result)
                    self.assertEqual(server.connections, 1)

    def test_servers_that_close_after_each_reply(self):
        for head in (b'Connection: close\r\n', b''):
            def serve(connection):
                if bank.read_request(connection):
                    connection.sendall(with_length(REPLY, extra=head))
            server = bank.ScriptedServer(serve)
            result = bank.client('--repeat', '100', server.url, 'exists', 'alice')
            self.assertEqual(result.code, 0, result)
            self.assertEqual(server.connections, 100)
            server.close()

    def test_the_reply_of_another_call(self):
        _, result = self.call(with_length(OTHER_CALL))
        self.assertIn(result.code, (0, 2), result)  # replies are read by position; it must end, and say what it gave

    def test_a_port_where_nobody_listens(self):
        with socket.create_server(('127.0.0.1', 0)) as listener:
            port = listener.getsockname()[1]
        result = bank.client(f'http://127.0.0.1:{port}/bank', 'exists', 'alice')
        self.assertEqual((result.code, result.out), (2, ''), result)
        self.assertIn(f'127.0.0.1:{port}', result.err)
        self.assertIn('refused', result.err)

    def test_a_server_that_never_answers_meets_the_time_limit(self):
        server = bank.ScriptedServer(lambda connection: bank.read_request(connection) and connection.recv(1))
        result = bank.client('-Dcall_timeout=0.5', server.url, 'exists', 'alice')
        self.assertEqual((result.code, result.out), (2, ''), result)
        self.assertIn('0.5', result.err)
        server.close()


if __name__ == '__main__':
    bank.main()
