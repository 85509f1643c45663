# SPDX-License-Identifier: MIT
"""caldane-idl: faults told with their place, nothing written then, and the same output each time."""
import os
import subprocess
import sys
import tempfile
import unittest

COMPILER = sys.argv.pop(1)
HERE = os.path.dirname(os.path.abspath(__file__))

# Name, IDL, and what is told behind the name of the file: line, column and the beginning of the reason.
FAULTS = [
    ('UnknownType', 'module M {\n  struct S { lon x; };\n};', "2:14: error in look-up of 'lon'"),
    ('UnknownBase', 'interface I : Foo {};', "1:15: error in look-up of 'Foo'"),
    ('DeclaredTwice', 'struct S { long x; };\nstruct S { long y; };', "2:8: Declaration of struct 'S' clashes"),
    ('SyntaxError', 'struct S { long x }\n;', '1:1: syntax error in member'),
    ('NeverEnds', 'module M {\n  struct S {', '3:1: syntax error'),
    ('MissingInclude', '\n#include "nowhere.idl"', '2:11: nowhere.idl: No such file'),
    ('DivisionByZero', 'const long X = 1 / 0;', '1:1: Divide by zero'),
    ('TooLarge', 'const short X = 70000;', '1:1: Value too large for short'),
    ('InsideItself', 'struct S { S s2; };', '1:8: Cannot create an instance of struct'),
    ('ServantsName', 'module M { interface x {};\n  struct POA_x { long y; }; };', "2:10: 'POA_x' is what the servants"),
    ('OnlyCaseDiffers', 'struct S { long value;\n  long Value; };', "2:8: 'Value' differs from 'value'"),
    ('EnumeratorLikeType', 'struct Box { long x; };\nenum E { box };', "2:10: 'box' differs from 'Box'"),
    ('LongLong', 'struct S { long a;\n  long  long b; };', '2:3: the type long long cannot be carried'),
    ('UnsignedLongLong', 'interface I { void f(in unsigned long long x); };', '1:25: the type unsigned long long'),
    ('LongDouble', 'typedef long double D;', '1:9: the type long double cannot be carried'),
    # The element of one was left to the next value, and what was written of one could not be read.
    ('TypeCode', 'interface I { void f(out CORBA::TypeCode t); };', '1:33: the type TypeCode cannot be carried'),
    ('WideChar', 'typedef sequence<wchar> W;', '1:18: the type wchar cannot be carried'),
    ('WideString', 'interface I { wstring f(); };', '1:15: the type wstring cannot be carried'),
    ('Fixed', 'union U switch (long) { case 1: fixed<5,2> x; };', '1:33: the type fixed cannot be carried'),
    ('FixedConstant', 'const fixed F = 1.5D;', '1:7: the type fixed cannot be carried'),
    ('ValueType', 'valuetype V { public long x; };', "1:1: the valuetype 'V' cannot be carried"),
    ('Native', 'module M {\n  native Thing;\n};', "2:3: the native type 'Thing' cannot be carried"),
    ('AbstractInterface', 'abstract interface A {};', "1:1: the abstract interface 'A'"),
    ('LocalInterface', 'local interface L {};', "1:1: the local interface 'L'"),
    ('Context', 'interface I { void f() context ("x"); };', '1:24: context clauses cannot be carried'),
    ('Attribute', 'interface I {\n  attribute wstring a; };', '2:13: the type wstring cannot be carried'),
    ('NestedInUnion', 'union U switch (long) { case 1: struct S { wchar c; } s; };', '1:44: the type wchar'),
    ('NamespaceOfNothing', '#pragma namespace Nope "urn:x"\nstruct S { long x; };', "1:19: there is no module or"),
    ('NamespaceWithoutText', 'module M {};\n#pragma namespace M urn:x', '2:9: expected #pragma namespace'),
]


def compile_idl(*arguments, folder):
    return subprocess.run([COMPILER, *arguments], capture_output=True, text=True, cwd=folder, timeout=60)


def contents(folder):
    found = {}
    for name in sorted(os.listdir(folder)):
        with open(os.path.join(folder, name), encoding='utf-8') as file:
            found[name] = file.read()
    return found


class Faults(unittest.TestCase):
    def test_each_is_told_with_its_place_and_nothing_is_written(self):
        for name, text, expected in FAULTS:
            with self.subTest(name), tempfile.TemporaryDirectory() as folder:
                with open(os.path.join(folder, 'x.idl'), 'w', encoding='utf-8') as file:
                    file.write(text + '\n')
                with open(os.path.join(folder, 'good.idl'), 'w', encoding='utf-8') as file:
                    file.write('struct Good { long x; };\n')
                done = compile_idl('-o', 'out', 'good.idl', 'x.idl', folder=folder)
                self.assertEqual(done.returncode, 1)
                self.assertIn('x.idl:' + expected, done.stderr)
                for line in done.stderr.splitlines():
                    self.assertRegex(line, r'^x\.idl:\d+:\d+: ')
                self.assertEqual(sorted(os.listdir(folder)), ['good.idl', 'x.idl'])

    def test_every_fault_of_a_file_is_told(self):
        with tempfile.TemporaryDirectory() as folder:
            with open(os.path.join(folder, 'x.idl'), 'w', encoding='utf-8') as file:
                file.write('struct S { wchar c; };\nnative N;\ntypedef fixed<3,1> F;\n')
            told = compile_idl('x.idl', folder=folder).stderr.splitlines()
            self.assertEqual([line.split(' ')[0] for line in told], ['x.idl:1:12:', 'x.idl:2:1:', 'x.idl:3:9:'])

    def test_files_and_options_that_cannot_be_used(self):
        with tempfile.TemporaryDirectory() as folder:
            os.mkdir(os.path.join(folder, 'sub'))
            for name in ('good.idl', 'sub/good.idl'):
                with open(os.path.join(folder, name), 'w', encoding='utf-8') as file:
                    file.write('struct S { long x; };\n')
            for arguments, code, text in ((['none.idl'], 1, 'none.idl: there is no such file'), ([], 64, 'usage:'),
                                          (['--nope', 'x.idl'], 64, 'usage:'), (['sub'], 1, 'sub: is a folder'),
                                          (['good.idl', 'sub/good.idl'], 1, 'sub/good.idl: another file of that name'),
                                          (['-o', 'good.idl', 'good.idl'], 1, 'good.idl: File exists'),
                                          (['-o', '/proc', 'good.idl'], 1, '/proc')):
                with self.subTest(arguments):
                    done = compile_idl(*arguments, folder=folder)
                    self.assertEqual(done.returncode, code)
                    self.assertIn(text, done.stderr)
                    self.assertNotIn('Traceback', done.stderr)
                    self.assertEqual(sorted(os.listdir(folder)), ['good.idl', 'sub'])


class Output(unittest.TestCase):
    FILES = ('common.idl', 'every_construct.idl')

    def test_it_is_the_same_each_time_and_left_alone_then(self):
        with tempfile.TemporaryDirectory() as first, tempfile.TemporaryDirectory() as second:
            for folder in (first, second):
                done = compile_idl('-o', folder, *self.FILES, folder=HERE)
                self.assertEqual((done.returncode, done.stderr), (0, ''))
            self.assertEqual(contents(first), contents(second))
            before = [os.stat(os.path.join(first, name)).st_mtime_ns for name in sorted(os.listdir(first))]
            compile_idl('-o', first, *self.FILES, folder=HERE)
            after = [os.stat(os.path.join(first, name)).st_mtime_ns for name in sorted(os.listdir(first))]
            self.assertEqual(before, after)

    def test_a_fault_in_one_place_leaves_no_results_in_another(self):
        with tempfile.TemporaryDirectory() as folder:
            with open(os.path.join(folder, 'wide.idl'), 'w', encoding='utf-8') as file:
                file.write('typedef wchar Wide;\n')
            with open(os.path.join(folder, 'x.idl'), 'w', encoding='utf-8') as file:
                file.write('#ifdef WIDE\n#include "wide.idl"\n#endif\nstruct S { long x; };\n')
            os.mkdir(os.path.join(folder, 'x.cpp'))
            for arguments, told in (([], 'x.cpp cannot be written: it is a folder'),
                                    (['-D', 'WIDE'], 'wide.idl:1:9: the type wchar cannot be carried')):
                with self.subTest(arguments):
                    done = compile_idl(*arguments, 'x.idl', folder=folder)
                    self.assertEqual(done.returncode, 1)
                    self.assertIn(told, done.stderr)
                    self.assertNotIn('x.h', os.listdir(folder))

    def test_lines_are_as_long_as_the_formatter_makes_them(self):
        with tempfile.TemporaryDirectory() as folder:
            compile_idl('-o', folder, *self.FILES, folder=HERE)
            for text in contents(folder).values():
                self.assertLessEqual(max(map(len, text.splitlines())), 110)
                self.assertNotIn('\n\n\n', text)

    def test_a_rule_names_every_file_that_was_read(self):
        with tempfile.TemporaryDirectory() as folder:
            with open(os.path.join(folder, 'main.idl'), 'w', encoding='utf-8') as file:
                file.write('#include <common.idl>\nstruct S { Common::Point p; };\n')
            done = compile_idl('-I', HERE, '--depend', 'x.d', 'main.idl', folder=folder)
            self.assertEqual((done.returncode, done.stderr), (0, ''))
            rule = contents(folder)['x.d'].replace('\\\n', ' ').split()
            self.assertEqual(rule[:4], ['./main.h', './main.cpp:', 'main.idl', os.path.join(HERE, 'common.idl')])
            for path in rule[2:]:
                self.assertTrue(os.path.exists(os.path.join(folder, path)), path)

    def test_text_in_another_encoding_costs_the_comments_only(self):
        with tempfile.TemporaryDirectory() as folder:
            with open(os.path.join(folder, '-x.idl'), 'wb') as file:
                file.write(b'// all\nconst string NAME = "\xfc";  // gr\xfcn\n')
            done = compile_idl('-o', 'out', '--', '-x.idl', folder=folder)
            self.assertEqual(done.returncode, 0)
            self.assertIn('-x.idl:2:22: warning: this is not UTF-8', done.stderr)
            self.assertIn('NAME = "\\374";', contents(os.path.join(folder, 'out'))['-x.h'])

    def test_names_comments_and_definitions(self):
        with tempfile.TemporaryDirectory() as folder:
            with open(os.path.join(folder, 'x.idl'), 'w', encoding='utf-8') as file:
                file.write('// About the file.\n\n#pragma prefix "acme.com"\n// About S.\nstruct S {\n'
                           '  long delete; // what was\n};\n#ifdef MORE\n#pragma ID S "IDL:other/S:2.5"\n#endif\n')
            compile_idl('x.idl', folder=folder)
            made = contents(folder)
            self.assertIn('\n// About the file.\n\n/// About S.\nclass S final', made['x.h'])
            self.assertIn('    /// what was\n    std::int32_t _cxx_delete = 0;\n', made['x.h'])
            self.assertIn('{"IDL:acme.com/S:1.0", "S", _namespace}', made['x.cpp'])
            self.assertIn('_Caldane_member<&S::_cxx_delete>("delete"),', made['x.cpp'])
            compile_idl('-D', 'MORE', 'x.idl', folder=folder)
            self.assertIn('"IDL:other/S:2.5"', contents(folder)['x.cpp'])


if __name__ == '__main__':
    unittest.main()
