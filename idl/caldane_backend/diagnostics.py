# SPDX-License-Identifier: MIT
"""Errors in IDL, told as `file:line:column: reason`."""
import functools
import os
import re


class IdlError(Exception):
    """One or more faults; `lines` are ready to be printed."""

    def __init__(self, lines: list[str]):
        super().__init__('\n'.join(lines))
        self.lines = lines


FOLDERS: list[str] = []  # where included files are looked for


@functools.lru_cache(maxsize=None)
def located(path: str) -> str:
    """Where a file is, of which the preprocessor tells the name only by which it was included."""
    if os.path.isabs(path) or os.path.exists(path):
        return path
    found = (os.path.join(folder, path) for folder in FOLDERS)
    return next((candidate for candidate in found if os.path.exists(candidate)), path)


@functools.lru_cache(maxsize=None)
def source_lines(path: str) -> list[str]:
    try:
        with open(path, encoding='utf-8', errors='replace') as file:
            return file.read().splitlines()
    except OSError:
        return []


def find(path: str, line: int, pattern: str, reach: int = 3) -> tuple[int, int]:
    """Line and column of the first match at `line` or, since declarations go on, in the few lines behind it."""
    lines = source_lines(path)
    for number in range(line, min(line + reach, len(lines)) + 1):
        match = re.search(pattern, lines[number - 1])
        if match:
            return number, match.start() + 1
    return line, 1


def word(text: str) -> str:
    """A pattern for a word of IDL; blanks in it match any white space."""
    return r'(?<![\w])' + r'\s+'.join(re.escape(part) for part in text.split()) + r'(?![\w])'


def message(path: str, line: int, near: str, reason: str) -> str:
    """`near` is the offending word as it stands in the source."""
    path = located(path)
    line, column = find(path, line, word(near)) if near else (line, 1)
    return f'{path}:{line}:{column}: {reason}'
