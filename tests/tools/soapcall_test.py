# SPDX-License-Identifier: MIT
"""soapcall against the servers of the examples."""
import json
import os
import re
import signal
import subprocess
import tempfile
import unittest

import tools

DONE, BAD_FILE, SYSTEM, USER, USAGE = 0, 1, 2, 3, 64


class Soapcall(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.servers = {name: tools.Server(name + '_server') for name in ('bank', 'interop')}
        cls.bank, cls.interop = (cls.servers[name].url for name in ('bank', 'interop'))
        cls.shapes = cls.interop.rsplit('/', 1)[0] + '/shapes'

    @classmethod
    def tearDownClass(cls):
        for server in cls.servers.values():
            server.stop()

    def reply(self, *words: str):
        done = tools.program('soapcall', *words)
        self.assertEqual(done.returncode, DONE, f'{words}\n{done.stdout}{done.stderr}')
        return json.loads(done.stdout)

    def test_types_from_idl_in_both_styles(self):
        cases = [
            # operation, arguments, reply
            ('echoString', ['inputString=Grüße ☺ <&>'], 'Grüße ☺ <&>'),
            ('echoInteger', ['inputInteger=-2147483648'], -2147483648),
            ('echoUnsignedInt', ['inputUnsignedInt=4294967295'], 4294967295),
            ('echoFloat', ['inputFloat=1.1'], 1.1),
            ('echoDouble', ['inputDouble=NaN'], 'NaN'),
            ('echoBoolean', ['inputBoolean=true'], True),
            ('echoEnum', ['inputColor=green'], 'green'),
            ('echoIntegerArray', ['inputIntegerArray=[1, 2, 3]'], [1, 2, 3]),
            ('echoStringArray', ['inputStringArray=[]'], []),
            ('echo2DStringArray', ['input2DStringArray=[["a"], [], ["b", "c"]]'], [['a'], [], ['b', 'c']]),
            ('echoBase64', ['inputBase64={"value": "AP8="}'], {'value': 'AP8='}),
            ('echoBase64', ['inputBase64=AP8='], {'value': 'AP8='}),
            ('echoDecimal', ['inputDecimal=-1.50'], {'value': '-1.50'}),
            ('echoStruct', ['inputStruct={"varString": "a", "varInt": 1, "varFloat": 0.5}'],
             {'varString': 'a', 'varInt': 1, 'varFloat': 0.5}),
        ]
        for style in ('--encoded', '--literal'):
            for operation, arguments, value in cases:
                with self.subTest(style=style, operation=operation):
                    self.assertEqual(self.reply('--idl', tools.INTEROP_IDL, style, self.interop, operation, *arguments),
                                     {'return': value})
        self.assertEqual(self.reply('--idl', tools.INTEROP_IDL, self.interop, 'echoInOut', 'inoutString=a', 'inputInteger=2'),
                         {'return': 'a/2', 'inoutString': 'A', 'outputInteger': 4})

    def test_types_told_on_the_way(self):
        for style in ('--encoded', '--literal'):
            withdrawn = self.reply(style, self.bank, 'withdraw', 'account=alice', 'amount:long=0')['return']
            self.assertEqual((withdrawn['account'], withdrawn['mood']), ('alice', 'CALM'))
        self.assertEqual(self.reply(self.bank, 'exists', 'account=alice', '--returns', 'boolean'), {'return': True})
        self.assertEqual(self.reply('--encoded', self.interop, 'echoIntegerArray', 'a:long[]=[1, 2]'), {'return': [1, 2]})

    def test_failures_are_one_line_and_a_code(self):
        idl = ['--idl', tools.BANK_IDL]
        cases = [
            (USER, idl + [self.bank, 'withdraw', 'account=zoe', 'amount=1'], r'UnknownAccount \{"account":"zoe"\}'),
            (USER, [self.bank, 'withdraw', 'account=zoe', 'amount:long=1'], r'UnknownAccount \{"account":"zoe"\}'),
            (SYSTEM, [self.bank, 'explode'], r"no operation 'explode'"),
            (SYSTEM, idl + ['--timeout', '0.2', 'http://127.0.0.1:1/bank', 'limits'], r'COMM_FAILURE.*127\.0\.0\.1:1'),
            (USAGE, idl + [self.bank, 'withdraw', 'account=alice'], r"argument 'amount' is missing"),
            (USAGE, idl + [self.bank, 'withdraw', 'account=alice', 'amount=1.5'], r'amount: expected a whole number'),
            (USAGE, idl + [self.bank, 'withdraw', 'account=alice', 'amount=99999999999'], r'amount: expected a whole'),
            (USAGE, idl + [self.bank, 'withdraw', 'a=1'], r"'withdraw' has no parameter 'a', but: account, amount"),
            (USAGE, idl + ['--header', 'a b=c', self.bank, 'limits'], r"'a b' is no name of an XML element"),
            (USAGE, idl + ['--action', 'a\r\nX: y', self.bank, 'limits'], r'control characters'),
            (BAD_FILE, ['--wsdl', tools.BANK_IDL, self.bank, 'limits'], r'bank\.idl: this is no WSDL'),
            (USAGE, idl + [self.bank, 'exists', 'account=a', 'account=b'], r"'account' is given twice"),
            (USAGE, idl + [self.bank, 'explode'], r"no operation 'explode', but: .*withdraw"),
            (USAGE, idl + ['--interface', 'Nobody', self.bank, 'limits'], r"no interface 'Nobody', but: Acme::Bank::Teller"),
            (USAGE, [self.bank, 'exists', 'account:quaternion=1'], r"no type 'quaternion'"),
            (USAGE, [self.bank, 'exists', 'alice'], r"'alice' is no argument"),
            (USAGE, [self.bank, 'a b'], r"'a b' is no name of an operation"),
            (USAGE, [self.bank, 'exists', '<a>:long=5'], r"'<a>' is no name of a parameter"),
            (USAGE, ['--interface', 'Teller', self.bank, 'limits'], r'--interface and -I go with'),
            (USAGE, idl + ['--returns', 'long', self.bank, 'limits'], r'--returns and --namespace are what --idl'),
            (USAGE, ['nonsense', 'exists'], r'http://'),
            (USAGE, ['http://127.0.0.1:1/\r\n\033[31m', 'exists'], r'1/\.\.\.\[31m: the URL holds blanks or control'),
            (USAGE, ['--encoded', '--literal', self.bank, 'limits'], r'--(literal|encoded)'),
            (USAGE, [], r'--help'),
            (BAD_FILE, ['--idl', '/nowhere.idl', self.bank, 'limits'], r'/nowhere\.idl'),
        ]
        for code, words, message in cases:
            with self.subTest(words=words):
                done = tools.program('soapcall', *words)
                self.assertEqual(done.returncode, code, done.stderr)
                self.assertRegex(done.stderr, message)
                self.assertEqual(done.stdout, '')
                self.assertEqual(len(done.stderr.splitlines()), 1)

    def test_malformed_values_name_their_place(self):
        structure = '{"varString": "a", "varInt": %s, "varFloat": 0}'
        cases = [
            ('echoStruct', 'inputStruct=5', 'inputStruct: expected an object'),
            ('echoStruct', 'inputStruct={"varString": "a"}', "inputStruct: the member 'varInt' is missing"),
            ('echoStruct', 'inputStruct=' + structure % '"x"', r'inputStruct\.varInt: expected a whole number'),
            ('echoStruct', 'inputStruct=' + structure % '1, "more": 2', "no member 'more'"),
            ('echoStructArray', 'inputStructArray=[' + structure % '1' + ', 7]', r'inputStructArray\[1\]: expected an object'),
            ('echoEnum', 'inputColor=mauve', 'expected one of red, green, blue, not "mauve"'),
            ('echoBase64', 'inputBase64={"value": "?"}', r'inputBase64\.value: expected base64'),
            ('echoFloat', 'inputFloat=1e39', 'expected a number that a float can have'),
            ('echoBase64', 'inputBase64=?', r'inputBase64: expected base64'),
            ('echoIntegerArray', 'inputIntegerArray=[1,]', 'the JSON cannot be read, see its character 4'),
            ('echoIntegerArray', 'inputIntegerArray=' + '[' * 9999 + ']' * 9999, 'more than 500 deep'),
        ]
        for operation, argument, message in cases:
            with self.subTest(argument=argument):
                done = tools.program('soapcall', '--idl', tools.INTEROP_IDL, self.interop, operation, argument)
                self.assertEqual(done.returncode, USAGE)
                self.assertRegex(done.stderr, message)

    def test_shows_the_messages(self):
        shown = tools.program('soapcall', '--idl', tools.BANK_IDL, '--show', '--header', 'who=me', '--action', 'urn:a',
                              '-DSOAP_CLIENT_CHUNKING', self.bank, 'exists', 'account=<alice>').stdout
        for line in ('> POST /bank HTTP/1.0', '> SOAPAction: "urn:a"', '<?xml version="1.0" encoding="UTF-8"?>',
                     '    <who>me</who>', '      <account>&lt;alice&gt;</account>', '    </m:exists>', '< HTTP/1.0 200 OK', '      <return>false</return>', '  "return": false'):
            self.assertIn('\n' + line + '\n', '\n' + shown)
        self.assertNotIn('\033', shown)

    def test_calls_side_by_side(self):
        done = tools.program('soapcall', '--idl', tools.BANK_IDL, '--repeat', '20', '--threads', '10', self.bank,
                             'sleep', 'milliseconds=100')
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertRegex(done.stderr, r'^20 calls, \d+ a second; least 1\d\d\.')
        self.assertGreater(int(done.stderr.split()[2]), 40)  # one after the other they would be 10

    def test_repeats_on_one_connection(self):
        done = tools.program('soapcall', '--idl', tools.BANK_IDL, '--repeat', '200', self.bank, 'exists', 'account=bob')
        self.assertEqual(json.loads(done.stdout), {'return': True})
        self.assertRegex(done.stderr, r'^200 calls, \d+ a second; least [\d.]+ ms, middle .*longest [\d.]+ ms\n$')

    def test_an_interrupted_row_of_calls_tells_its_times(self):
        with tempfile.TemporaryDirectory() as folder:
            trace = os.path.join(folder, 'trace')
            with subprocess.Popen([os.path.join(tools.BIN, 'soapcall'), '--idl', tools.BANK_IDL, '--repeat', '100000000',
                                   '-DSOAP_TRACE=' + trace, self.bank, 'exists', 'account=bob'],
                                  stderr=subprocess.PIPE, text=True) as calling:
                while not os.path.exists(trace) or os.path.getsize(trace) < 10000:
                    self.assertIsNone(calling.poll())
                calling.send_signal(signal.SIGINT)
                told = calling.communicate(timeout=60)[1]
        self.assertEqual(calling.returncode, 130)
        self.assertRegex(told, r'^\d+ calls?, \d+ a second; ')

    def test_output_that_is_lost_is_told(self):
        with open('/dev/full', 'w', encoding='utf-8') as full:
            done = subprocess.run([os.path.join(tools.BIN, 'soapcall'), self.bank, 'exists', 'account=bob'], stdout=full,
                                  stderr=subprocess.PIPE, text=True, timeout=60)
        self.assertEqual(done.returncode, BAD_FILE)
        self.assertIn('the output cannot be written: No space left', done.stderr)

    def test_examples_of_the_help_work(self):
        text = tools.program('soapcall', '--help').stdout.replace('\\\n', ' ')
        examples = re.findall(r'^  (soapcall .*)$', text, re.MULTILINE)
        self.assertEqual(len(examples), 5)
        address = self.interop.removeprefix('http://').split('/')[0]
        with tempfile.TemporaryDirectory() as folder:
            os.symlink(tools.INTEROP_IDL, os.path.join(folder, 'interop.idl'))
            for example in examples:
                words = example.replace('127.0.0.1:8080', address)
                done = tools.run('sh', '-c', words, cwd=folder,
                                 env={**os.environ, 'PATH': tools.BIN + ':' + os.environ['PATH']})
                self.assertEqual(done.returncode, DONE, f'{words}\n{done.stderr}')


if __name__ == '__main__':
    tools.main()
