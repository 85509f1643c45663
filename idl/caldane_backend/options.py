# SPDX-License-Identifier: MIT
"""What the launcher tells the back end about one run."""
import dataclasses
import json
import os

VARIABLE = 'CALDANE_IDL_OPTIONS'


@dataclasses.dataclass
class Options:
    source: str                                   # the IDL file, as named on the command line
    header_path: str                              # where the results go
    source_path: str
    header_name: str                              # how the source includes its header
    includes: list[str] = dataclasses.field(default_factory=list)  # headers of directly included IDL files
    pragmas: list[list] = dataclasses.field(default_factory=list)  # [text, file, line] of #pragma namespace
    folders: list[str] = dataclasses.field(default_factory=list)   # where included files are looked for
    description_path: str = ''                    # where a description goes, in place of C++

    @classmethod
    def load(cls) -> 'Options':
        with open(os.environ[VARIABLE], encoding='utf-8') as file:
            return cls(**json.load(file))

    def save(self, path: str) -> None:
        with open(path, 'w', encoding='utf-8') as file:
            json.dump(dataclasses.asdict(self), file)
