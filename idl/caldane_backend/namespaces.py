# SPDX-License-Identifier: MIT
"""XML namespaces: of the types of a module, of the operations and types of an interface.

`#pragma namespace NAME "uri"` sets that of a module or interface, `#pragma namespace :: "uri"` that of the types
outside any module. Where it says nothing the repository id of the module or interface stands in.
"""
import re

from .diagnostics import IdlError, find, word

FORM = re.compile(r'namespace\s+([\w:]+)\s+"([^"<>&\s]*)"\s*$')
GLOBAL = 'IDL:global:1.0'


def parse(text: str, path: str, line: int) -> re.Match:
    match = FORM.match(text.strip())
    if match is None:
        line, column = find(path, line, r'namespace')
        raise IdlError([f'{path}:{line}:{column}: expected #pragma namespace NAME "uri", '
                        'the uri without blanks, <, > and &'])
    return match


class Namespaces:
    def __init__(self, pragmas: list[list], ids: dict[tuple[str, ...], str]):
        """`ids` has the repository id of each module and interface by its scoped name."""
        self.ids = ids
        self.given: dict[tuple[str, ...], str] = {}
        for text, path, line in pragmas:
            self.enter(text, path, line)

    def enter(self, text: str, path: str, line: int) -> None:
        match = parse(text, path, line)
        scope = tuple(part for part in match[1].split('::') if part)
        if scope and scope not in self.ids:
            line, column = find(path, line, word(match[1]))
            raise IdlError([f"{path}:{line}:{column}: there is no module or interface '{match[1]}'"])
        self.given[scope] = match[2]

    def of(self, scope: tuple[str, ...]) -> str:
        return self.given.get(scope) or (self.ids.get(scope, GLOBAL) if scope else GLOBAL)
