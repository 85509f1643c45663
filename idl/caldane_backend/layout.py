# SPDX-License-Identifier: MIT
"""Lines of C++, broken as the project's formatter breaks them."""
import re
import textwrap

WIDTH = 110
INDENT = '    '
# What would draw the next line into a comment.
SPLICE = re.compile(r'(\\|\?\?/|\s)+$')


class Lines:
    """Text under way: lines with an indentation."""

    def __init__(self) -> None:
        self.lines: list[str] = []
        self.depth = 0

    def add(self, *lines: str) -> None:
        for line in lines:
            self.lines.append(INDENT * self.depth + line if line else '')

    def gap(self) -> None:
        """An empty line, unless there is one already or a block has just begun."""
        if self.lines and self.lines[-1] and not self.lines[-1].endswith(('{', 'public:')):
            self.lines.append('')

    def wrapped(self, head: str, items: list[str], tail: str) -> None:
        """`head` ends with an opening bracket, `tail` begins with the closing one."""
        self.lines.extend(wrap(head, items, tail, self.depth))

    def document(self, text: list[str], mark: str = '///') -> None:
        for line in text:
            for part in textwrap.wrap(line, WIDTH - 4 - 4 * self.depth, break_long_words=False) or ['']:
                self.add(f'{mark} {SPLICE.sub("", part)}'.rstrip())

    def text(self) -> str:
        return '\n'.join(self.lines).rstrip('\n') + '\n'


def wrap(head: str, items: list[str], tail: str, depth: int) -> list[str]:
    """On one line, else filled behind the bracket, else on lines of their own below it."""
    start = INDENT * depth + head
    whole = start + ', '.join(items) + tail
    if len(whole) <= WIDTH or not items:
        return [whole]
    for column in (len(start), len(INDENT) * (depth + 1)):
        lines = fill(start, items, tail, column)
        if all(len(line) <= WIDTH for line in lines):
            return lines
    return fill(start, items, tail, len(INDENT) * (depth + 1))


def fill(start: str, items: list[str], tail: str, column: int) -> list[str]:
    aligned = column == len(start)
    lines, line = ([], start) if aligned else ([start], ' ' * column)
    empty = True
    for index, item in enumerate(items):
        end = tail if index == len(items) - 1 else ','
        if not empty and len(line) + 1 + len(item) + len(end) > WIDTH:
            lines.append(line)
            line, empty = ' ' * column, True
        line += item + end if empty else ' ' + item + end
        empty = False
    return lines + [line]


def literal(text: str) -> str:
    """A text of IDL as a string literal; a character beyond ASCII is the byte of its number."""
    out = []
    for char in text:
        if char in '"\\' or (char == '?' and out and out[-1].endswith('?')):  # two of these could begin a trigraph
            out.append('\\' + char)
        elif char == '\n':
            out.append('\\n')
        elif ' ' <= char <= '~':
            out.append(char)
        else:
            out.append(f'\\{ord(char) & 255:03o}')
    return '"' + ''.join(out) + '"'
