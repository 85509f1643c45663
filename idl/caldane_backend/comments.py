# SPDX-License-Identifier: MIT
"""Comments of IDL as documentation: those before a declaration, and those behind it on its line."""
import re

from .diagnostics import source_lines

CHILDREN = ('definitions', 'contents', 'members', 'cases', 'declarators', 'enumerators')


def children(decl) -> list:
    found = []
    for name in CHILDREN:
        if hasattr(decl, name):
            found.extend(getattr(decl, name)())
    if hasattr(decl, 'declarator'):
        found.append(decl.declarator())
    return found


def plain(text: str) -> list[str]:
    """The lines of a comment without its marks; none for an empty one."""
    text = text.strip()
    if text.startswith('/*'):
        lines = [re.sub(r'^\s*\*+ ?', '', line) for line in text[2:].removesuffix('*/').splitlines()]
    else:
        lines = [re.sub(r'^\s*//+!?<? ?', '', line) for line in text.splitlines()]
    lines = [line.strip() for line in lines]
    while lines and not lines[0]:
        lines.pop(0)
    while lines and not lines[-1]:
        lines.pop()
    return lines


class Comments:
    """The documentation of each declaration of the main file, and of the file as a whole."""

    def __init__(self, tree):
        self.main = tree.file()
        self.file: list[str] = []
        self.before: dict[int, list[str]] = {}
        self.behind: dict[int, list[str]] = {}
        self.first = True
        self.collect(tree.declarations())
        for comment in tree.comments():
            if self.is_behind(comment):
                self.behind.setdefault(comment.line(), []).extend(plain(comment.text()))

    def collect(self, declarations) -> None:
        for decl in declarations:
            for comment in decl.comments():
                if comment.file() != self.main:
                    continue
                if self.is_behind(comment):
                    self.behind.setdefault(comment.line(), []).extend(plain(comment.text()))
                elif self.first and self.is_apart(comment, decl):
                    self.file.extend(plain(comment.text()))
                else:
                    self.before.setdefault(id(decl), []).extend(plain(comment.text()))
            self.first = self.first and not decl.mainFile()
            self.collect(children(decl))

    def is_behind(self, comment) -> bool:
        """Whether something else stands before the comment on its line."""
        lines = source_lines(self.main)
        line = lines[comment.line() - 1] if comment.line() <= len(lines) else ''
        start = line.find(comment.text().splitlines()[0].strip())
        return start > 0 and bool(line[:start].strip())

    def is_apart(self, comment, decl) -> bool:
        """Whether an empty line or a directive separates the comment from what follows."""
        lines = source_lines(self.main)
        after = comment.line() + len(comment.text().strip().splitlines())
        line = lines[after - 1].strip() if after <= len(lines) else ''
        return decl.file() != self.main or not line or line.startswith('#')

    def take(self, decl) -> list[str]:
        """A comment behind a declaration goes to the first that asks on its line: the outermost."""
        return self.before.get(id(decl), []) + self.behind.pop(decl.line(), [])
