#!/usr/bin/env python3
"""Keeps docs/guide/ true: its programs are built, run, and print what the pages say.

guide.py extract DIRECTORY PAGE...   writes <page>.cpp and <page>.txt into DIRECTORY; files that would not change keep
                                     their time, so that nothing is built anew
guide.py check PROGRAM EXPECTED      runs a program and compares its standard output with a file
guide.py format [--check]            lays the programs out in the pages, or only says which are not

A page has one ```cpp block with `int main`, the program, and behind it a ```text block, its output. Other blocks are
fragments. index.md links to every page.
"""

import difflib
import os
import pathlib
import re
import subprocess
import sys
import tempfile

GUIDE = pathlib.Path(__file__).resolve().parent.parent / "docs" / "guide"
BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
# What a program prints must not depend on where its user lives; the second place is as far from the first as may be.
PLACES = (
    {"LC_ALL": "C.UTF-8", "LANGUAGE": "en", "TZ": "UTC"},
    {"LC_ALL": "de_DE.UTF-8", "LANGUAGE": "de", "TZ": "Pacific/Kiritimati"},
)


def extract(directory, pages):
    index = pages[0].with_name("index.md").read_text(encoding="utf-8")
    directory.mkdir(parents=True, exist_ok=True)
    for page in pages:
        if f"]({page.name})" not in index:
            sys.exit(f"{page.parent}/index.md does not link to {page.name}")
        program, output = program_and_output(page)
        write_if_changed(directory / f"{page.stem}.cpp", program)
        write_if_changed(directory / f"{page.stem}.txt", output)


def is_program(block):
    return block[1] == "cpp" and "int main(" in block[2]


def program_and_output(page):
    text = page.read_text(encoding="utf-8")
    blocks = list(BLOCK.finditer(text))
    programs = [i for i, block in enumerate(blocks) if is_program(block)]
    if len(programs) != 1:
        sys.exit(f"{page}: {len(programs)} programs instead of one")
    program, *behind = blocks[programs[0] :]
    if not behind or behind[0][1] != "text":
        sys.exit(f"{page}: the output does not follow the program")
    # The compiler then speaks of the page.
    line = text.count("\n", 0, program.start(2)) + 1
    return f'#line {line} "docs/guide/{page.name}"\n{program[2]}', behind[0][2]


def write_if_changed(path, text):
    if not path.exists() or path.read_text(encoding="utf-8") != text:
        path.write_text(text, encoding="utf-8")


def check(program, expected):
    said = expected.read_text(encoding="utf-8").splitlines()
    for place in PLACES:
        with tempfile.TemporaryDirectory() as directory:
            home, temporary = pathlib.Path(directory, "home"), pathlib.Path(directory, "tmp")
            home.mkdir()
            temporary.mkdir()
            run = subprocess.run([program], stdout=subprocess.PIPE, check=False, timeout=50, cwd=home,
                                 env=os.environ | place | {"HOME": str(home), "TMPDIR": str(temporary)})
            left = [path.name for path in temporary.iterdir()]
        printed = run.stdout.decode(errors="replace").splitlines()
        if run.returncode != 0 or printed != said or left:
            print(*difflib.unified_diff(said, printed, "the page", "the program", lineterm=""), sep="\n")
            sys.exit(f"with {place}: status {run.returncode}, left in the temporary directory: {left or 'nothing'}")


def lay_out(is_check):
    unlike = []
    for page in sorted(GUIDE.glob("*.md")):
        text = page.read_text(encoding="utf-8")
        if (better := BLOCK.sub(laid_out, text)) == text:
            continue
        if is_check:
            unlike.append(str(page))
        else:
            page.write_text(better, encoding="utf-8")
    if unlike:
        sys.exit("not laid out: " + " ".join(unlike))


def laid_out(block):
    if not is_program(block):
        return block[0]
    program = subprocess.run(["clang-format", f"--assume-filename={GUIDE / 'program.cpp'}"], input=block[2],
                             stdout=subprocess.PIPE, check=True, encoding="utf-8").stdout
    return f"```cpp\n{program}```"


if __name__ == "__main__":
    match sys.argv[1:]:
        case ["extract", directory, *pages] if pages:
            extract(pathlib.Path(directory), [pathlib.Path(page) for page in pages])
        case ["check", program, expected]:
            check(pathlib.Path(program).resolve(), pathlib.Path(expected))
        case ["format", *options] if options in ([], ["--check"]):
            lay_out(is_check=bool(options))
        case _:
            sys.exit(__doc__)
