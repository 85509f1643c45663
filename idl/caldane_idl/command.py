# SPDX-License-Identifier: MIT
"""Command line, the runs of omniidl, and the results' way to their places."""
import argparse
import json
import os
import shlex
import subprocess
import sys
import tempfile

from caldane_backend import namespaces
from caldane_backend.diagnostics import FOLDERS, IdlError
from caldane_backend.options import VARIABLE, Options
from caldane_backend.wsdl import ENCODED, LITERAL, Wsdl

from . import messages, preprocess
from .wsdl_reader import WsdlError, WsdlReader

BACKENDS = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FORBIDDEN = '"$`\\'
# What IDL for other brokers includes.
STANDARD = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'include')

DESCRIPTION = '''\
Compiles IDL to C++ for the caldane broker: FILE.idl gives FILE.h and FILE.cpp with its types, a class for
references (X) and a base class for servants (POA_X) of each interface X.'''
EPILOG = '''\
An included IDL file is not compiled along; its header is included. Errors are told as FILE:LINE:COLUMN:
REASON; nothing is written then.

exit code: 0 done, 1 errors in the IDL or in reading or writing files, 64 wrong usage

example:
  caldane-idl -o generated bank.idl
  c++ -std=c++20 -c generated/bank.cpp'''


class Failure(Exception):
    """Told to the user as it is; exit code 1."""


class Parser(argparse.ArgumentParser):
    def error(self, message: str):
        self.print_usage(sys.stderr)
        self.exit(64, f'{self.prog}: {message}\n')


def parse(arguments: list[str]) -> argparse.Namespace:
    parser = Parser(prog='caldane-idl', description=DESCRIPTION, epilog=EPILOG,
                    formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('files', metavar='FILE', nargs='+', help='an IDL file')
    parser.add_argument('-o', dest='folder', metavar='DIR', default='.', help='where the results go (default: here)')
    parser.add_argument('-I', dest='include', metavar='DIR', action='append', default=[],
                        help='a folder to look for included files in')
    parser.add_argument('-D', dest='define', metavar='NAME[=VALUE]', action='append', default=[],
                        help='define a name for the preprocessor')
    parser.add_argument('--wsdl', action='store_true',
                        help='write FILE.encoded.wsdl and FILE.literal.wsdl in place of C++')
    parser.add_argument('--address', metavar='URL', default='http://localhost:8080/',
                        help='the service address in WSDL (default: %(default)s)')
    parser.add_argument('--describe', action='store_true',
                        help='print the types and interfaces as JSON in place of C++; FILE may be a .wsdl of ours then')
    parser.add_argument('--depend', metavar='FILE', help='write a Makefile rule that names all files read')
    return parser.parse_args(arguments)


class Compiler:
    """All files of one command line: the results take their places when all of them are there."""

    def __init__(self, options: argparse.Namespace, work: str):
        self.options = options
        self.folders = [*options.include, STANDARD]
        FOLDERS.extend(self.folders)
        self.work = work
        self.results: list[tuple[str, str]] = []
        self.rules: list[str] = []

    # -nc: `Mood mood` is a member like any other; names that differ in case alone are refused by the back end.
    def omniidl(self, path: str, *further: str, environment: dict | None = None) -> subprocess.CompletedProcess:
        switches = [f'-I{folder}' for folder in self.folders]
        switches += [f'-D{shlex.quote(name)}' for name in self.options.define]
        try:
            return subprocess.run(['omniidl', '-nc', *switches, *further, path], capture_output=True, text=True,
                                  errors='replace', env={**os.environ, **(environment or {})})
        except FileNotFoundError:
            raise Failure('caldane-idl needs the program omniidl (Debian package omniidl)') from None

    def compile(self, path: str) -> None:
        self.readable(path)
        if self.options.describe and (path.endswith('.wsdl') or begins_as_xml(path)):
            print(json.dumps(WsdlReader(path).description(), indent=1))
            return
        run = self.omniidl(path, '-E')
        if run.returncode != 0:
            raise Failure('\n'.join(messages.translate(run.stderr)))
        read = preprocess.read(run.stdout, path)
        for pragma in read.pragmas:
            namespaces.parse(*pragma)
        name = os.path.splitext(os.path.basename(path))[0]
        described = os.path.join(self.work, name + '.json') if self.options.describe or self.options.wsdl else ''
        made = Options(path, os.path.join(self.work, name + '.h'), os.path.join(self.work, name + '.cpp'), name + '.h',
                       [os.path.splitext(os.path.basename(included))[0] + '.h' for included in read.included
                        if not included.startswith(STANDARD)],
                       read.pragmas, self.folders, described)
        settings = os.path.join(self.work, 'options.json')
        made.save(settings)
        # omniidl can hand over comments of UTF-8 alone.
        strange = next((place for file in read.files if (place := not_utf8(file))), None)
        keep = [] if strange else ['-K']
        if strange:
            print(strange, file=sys.stderr)
        run = self.omniidl(path, *keep, '-p', BACKENDS, '-b', 'caldane_backend', environment={VARIABLE: settings})
        told = messages.translate(run.stderr) if 'Traceback' not in run.stderr else [run.stderr]
        if run.returncode != 0:
            raise Failure('\n'.join(told))
        if not self.options.describe:  # for a program that only wants to know, warnings are in its way
            for line in told:
                print(line, file=sys.stderr)
        results = self.describe(name, described) if described else [made.header_path, made.source_path]
        targets = [os.path.join(self.options.folder, os.path.basename(result)) for result in results]
        if set(targets) & {target for _, target in self.results}:
            raise Failure(f'{path}: another file of that name was given, and what comes of both would be {targets[0]}')
        self.results += list(zip(results, targets))
        self.rules.append(rule(targets, read.files))

    def describe(self, name: str, described: str) -> list[str]:
        """Prints the description, or makes WSDL of it; gives the paths of what was made."""
        text = contents(described) or ''
        if self.options.describe:
            print(text)
        if not self.options.wsdl:
            return []
        results = []
        for style in (ENCODED, LITERAL):
            results.append(os.path.join(self.work, f'{name}.{style}.wsdl'))
            with open(results[-1], 'w', encoding='utf-8') as file:
                file.write(Wsdl(json.loads(text), name, style, self.options.address).text())
        return results

    @staticmethod
    def readable(path: str) -> None:
        if any(char in path for char in FORBIDDEN):
            raise Failure(f'{path}: a file name cannot have any of {" ".join(FORBIDDEN)} in it')
        if not os.path.exists(path):
            raise Failure(f'{path}: there is no such file')
        if os.path.isdir(path):
            raise Failure(f'{path}: is a folder, and not a file')
        if not os.access(path, os.R_OK):
            raise Failure(f'{path}: cannot be read')

    def place(self) -> None:
        """A file that would not change is left alone, so that nothing is built again for it."""
        os.makedirs(self.options.folder, exist_ok=True)
        texts = {target: contents(made) for made, target in self.results}
        if self.options.depend:
            os.makedirs(os.path.dirname(self.options.depend) or '.', exist_ok=True)
            texts[self.options.depend] = ''.join(self.rules)
        for target in texts:
            if os.path.isdir(target):
                raise Failure(f'caldane-idl: {target} cannot be written: it is a folder')
        for target, text in texts.items():
            try:
                replace(target, text)
            except OSError as error:
                raise Failure(f'caldane-idl: {target} cannot be written: {error.strerror}') from None


def not_utf8(path: str) -> str:
    """A warning with the first place where a file is not UTF-8; empty for one that is."""
    try:
        with open(path, 'rb') as file:
            text = file.read()
        text.decode('utf-8')
    except UnicodeDecodeError as error:
        line_begin = text.rfind(b'\n', 0, error.start) + 1
        line, column = text.count(b'\n', 0, error.start) + 1, error.start - line_begin + 1
        return f'{path}:{line}:{column}: warning: this is not UTF-8, so comments are left out of what is generated'
    except OSError:
        pass  # what cannot be read was told by then
    return ''


def begins_as_xml(path: str) -> bool:
    with open(path, 'rb') as file:
        return file.read(64).removeprefix(b'\xef\xbb\xbf').lstrip().startswith(b'<')


def contents(path: str) -> str | None:
    try:
        with open(path, encoding='utf-8') as file:
            return file.read()
    except (OSError, UnicodeDecodeError):
        return None


def replace(target: str, text: str) -> None:
    if os.path.exists(target) and not os.path.isfile(target):  # a pipe, or a device: never to be replaced
        with open(target, 'w', encoding='utf-8') as file:
            file.write(text)
        return
    target = os.path.realpath(target)
    if contents(target) == text:
        return
    handle, temporary = tempfile.mkstemp(dir=os.path.dirname(target) or '.', prefix='.caldane-idl-')
    try:
        with os.fdopen(handle, 'w', encoding='utf-8') as file:
            file.write(text)
        mask = os.umask(0)
        os.umask(mask)
        os.chmod(temporary, 0o666 & ~mask)
        os.replace(temporary, target)
    except (OSError, KeyboardInterrupt):
        os.unlink(temporary)
        raise


def rule(targets: list[str], files: list[str]) -> str:
    def escaped(path: str) -> str:
        return path.replace('$', '$$').replace(' ', '\\ ').replace('#', '\\#')

    return f'{" ".join(map(escaped, targets))}: \\\n  ' + ' \\\n  '.join(map(escaped, files)) + '\n'


def main(arguments: list[str]) -> int:
    options = parse(arguments)
    try:
        with tempfile.TemporaryDirectory() as work:
            compiler = Compiler(options, work)
            for path in options.files:
                compiler.compile(path if not path.startswith('-') else os.path.join('.', path))
            compiler.place()
    except (Failure, IdlError, WsdlError) as failure:
        print(failure, file=sys.stderr)
        return 1
    except OSError as error:
        print(f'caldane-idl: {error.filename or "standard output"}: {error.strerror}', file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 130
    return 0
