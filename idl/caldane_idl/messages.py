# SPDX-License-Identifier: MIT
"""omniidl's messages as `file:line:column: reason`."""
import re

from caldane_backend.diagnostics import find, located, source_lines, word

PLACED = re.compile(r'([^:]*):(\d+):(?!\d+:)\s*(.*)$')
QUOTED = re.compile(r"'([^']+)'")
# What tells of no fault of the file's own.
TOTAL = re.compile(r'^omniidl: (\d+ (error|warning)|Warning: -nc option|Error running preprocessor)|'
                   r': Warning: Confused by pre-processor line directives$')


def translate(text: str) -> list[str]:
    """Each message with a column; what sums them up is left out."""
    lines = []
    for raw in text.splitlines():
        if TOTAL.search(raw) or not raw.strip():
            continue
        match = PLACED.match(raw)
        lines.append(place(match[1], int(match[2]), match[3]) if match else re.sub('^omniidl: ', '', raw))
    return lines


def place(path: str, line: int, reason: str) -> str:
    path = located(path)
    line, column = locate(path, line, reason)
    reason = reason[:1].lower() + reason[1:] if reason.startswith(('Warning', 'Error', 'Syntax')) else reason
    return f'{path}:{line}:{column}: {reason}'


def locate(path: str, line: int, reason: str) -> tuple[int, int]:
    """The first name that the reason quotes, as it stands in the line; else the line's first character."""
    lines = source_lines(path)
    present = lines[line - 1] if 0 < line <= len(lines) else ''
    for name in QUOTED.findall(reason):
        last = name.split('::')[-1]
        for pattern in (word(name), word(last)):
            if re.search(pattern, present):
                return find(path, line, pattern)
    missing = re.match(r'(\S+): No such file', reason)
    if missing:
        return find(path, line, re.escape(missing[1]))
    return line, len(present) - len(present.lstrip()) + 1
