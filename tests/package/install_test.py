# SPDX-License-Identifier: MIT
"""Installs into an empty prefix, moves it elsewhere, and builds and runs a service outside the tree: by CMake's
find_package, and by pkg-config and the compiler alone."""
import os
import signal
import subprocess
import sys
import tempfile
import unittest

BUILD, SOURCE = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))


def run(*words: str, **settings) -> subprocess.CompletedProcess:
    return subprocess.run(words, capture_output=True, text=True, timeout=300, **settings)


def cached(name: str) -> str:
    with open(os.path.join(BUILD, 'CMakeCache.txt'), encoding='utf-8') as cache:
        for line in cache:
            if line.startswith(name + ':'):
                return line.split('=', 1)[1].strip()
    return ''


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = tempfile.TemporaryDirectory()
        first, cls.prefix = (os.path.join(cls.work.name, name) for name in ('first', 'moved'))
        done = run('cmake', '--install', BUILD, '--prefix', first)
        assert done.returncode == 0, done.stderr
        os.rename(first, cls.prefix)
        sanitizer = cached('SOAP_SANITIZE')
        cls.flags = f'-fsanitize={sanitizer}' if sanitizer else ''

    @classmethod
    def tearDownClass(cls):
        cls.work.cleanup()

    def path(self, *parts: str) -> str:
        return os.path.join(self.prefix, *parts)

    def succeed(self, *words: str, **settings) -> str:
        done = run(*words, **settings)
        self.assertEqual(done.returncode, 0, f'{words}\n{done.stdout}{done.stderr}')
        return done.stdout

    def converse(self, server_program: str, client_program: str, **settings) -> None:
        server = subprocess.Popen([server_program], stdout=subprocess.PIPE, text=True, **settings)
        try:
            ready = server.stdout.readline().split()
            self.assertEqual(ready[:1], ['ready'])
            self.assertEqual(self.succeed(client_program, ready[1], 'you', **settings), 'Hello, you! Hello, you! \n')
            nobody = run(client_program, ready[1], '', **settings)
            self.assertEqual((nobody.returncode, nobody.stderr),
                             (3, 'nobody was greeted: a greeting needs somebody\n'))
            said = self.succeed(self.path('bin', 'soapcall'), '--idl', os.path.join(SOURCE, 'examples/hello/hello.idl'),
                                ready[1], 'greet', 'name=all', 'times=1')
            self.assertEqual(said, '{\n  "return": "Hello, all! "\n}\n')
        finally:
            server.send_signal(signal.SIGTERM)
            server.communicate(timeout=30)
        self.assertEqual(server.returncode, 0)

    def test_by_find_package(self):
        build = os.path.join(self.work.name, 'hello')
        self.succeed('cmake', '-S', os.path.join(SOURCE, 'examples', 'hello'), '-B', build, '-G', 'Ninja',
                     f'-DCMAKE_PREFIX_PATH={self.prefix}', f'-DCMAKE_CXX_FLAGS={self.flags}')
        self.succeed('cmake', '--build', build)
        self.converse(os.path.join(build, 'hello_server'), os.path.join(build, 'hello_client'))

    def test_by_pkg_config(self):
        build = tempfile.mkdtemp(dir=self.work.name)
        hello = os.path.join(SOURCE, 'examples', 'hello')
        self.succeed(self.path('bin', 'caldane-idl'), '-o', build, os.path.join(hello, 'hello.idl'))
        environment = {**os.environ, 'PKG_CONFIG_PATH': self.path('lib', 'pkgconfig')}
        flags = self.succeed('pkg-config', '--cflags', '--libs', 'soap_transport', env=environment).split()
        for program in ('hello_server', 'hello_client'):
            self.succeed('g++', *self.flags.split(), os.path.join(hello, program + '.cpp'), 'hello.cpp', '-I.', *flags,
                         '-o', program, cwd=build)
        self.converse(os.path.join(build, 'hello_server'), os.path.join(build, 'hello_client'),
                      env={**os.environ, 'LD_LIBRARY_PATH': self.path('lib')})

    def test_manual_pages_and_completion(self):
        for page in os.listdir(self.path('share', 'man', 'man1')):
            program = page.removesuffix('.1')
            self.assertTrue(os.access(self.path('bin', program), os.X_OK), program)
        script = (f'export PATH={self.path("bin")}:$PATH; source {self.path("share/bash-completion/completions/soapcall")};'
                  f'COMP_WORDS=(soapcall --idl {SOURCE}/examples/bank/bank.idl http://x/ with); COMP_CWORD=4; _soapcall;'
                  'echo "${COMPREPLY[@]}"')
        self.assertEqual(self.succeed('bash', '-c', script), 'withdraw\n')


if __name__ == '__main__':
    unittest.main(verbosity=1)
