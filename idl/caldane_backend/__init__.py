# SPDX-License-Identifier: MIT
"""Back end of omniidl that writes C++ for the caldane broker.

`run` is what omniidl calls. What it needs beside the parsed IDL comes in a file of JSON that the launcher
names in the environment: see `options.Options`.
"""
import sys

from .diagnostics import FOLDERS, IdlError
from .options import Options


def run(tree, arguments) -> None:
    # Only inside omniidl there are its classes; the launcher uses other parts of this package.
    from .description import Description
    from .generator import Generator
    options = Options.load()
    FOLDERS.extend(options.folders)
    try:
        generator = Generator(tree, options)
        if options.description_path:
            Description(tree, generator.namespaces).save(options.description_path)
        else:
            generator.write()
    except IdlError as error:
        for line in error.lines:
            print(line, file=sys.stderr)
        sys.exit(1)
