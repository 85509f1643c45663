# SPDX-License-Identifier: MIT
"""What only the preprocessor knows: the files read, who includes whom, and pragmas with their places."""
import dataclasses
import os
import re

from caldane_backend.diagnostics import located

MARKER = re.compile(r'#\s*(?:line\s+)?(\d+)\s+"([^"]*)"((?:\s+\d)*)\s*$')
PRAGMA = re.compile(r'\s*#\s*pragma\s+(namespace\b.*)$')


@dataclasses.dataclass
class Preprocessed:
    files: list[str]                 # every file read, the main one first
    included: list[str]              # those that the main file includes itself
    pragmas: list[list]              # [text, file, line] of each #pragma namespace


def read(text: str, main: str) -> Preprocessed:
    result = Preprocessed([main], [], [])
    stack, line = [main], 0
    for raw in text.splitlines():
        marker = MARKER.match(raw)
        if marker:
            line, flags = int(marker[1]) - 1, marker[3].split()
            path = os.path.normpath(located(marker[2]))
            if '1' in flags:
                if len(stack) == 1 and path not in result.included:
                    result.included.append(path)
                stack.append(path)
            elif '2' in flags and len(stack) > 1:
                stack.pop()
            if path not in result.files and not path.startswith('<') and os.path.normpath(main) != path:
                result.files.append(path)
            continue
        line += 1
        pragma = PRAGMA.match(raw)
        if pragma:
            result.pragmas.append([without_comment(pragma[1]), stack[-1], line])
    return result


def without_comment(text: str) -> str:
    return re.sub(r'\s*(//(?=[^"]*$).*|/\*[^"]*)$', '', text).strip()
