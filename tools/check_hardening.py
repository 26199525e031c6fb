#!/usr/bin/env python3
"""check_hardening.py BUILD PROGRAM...: checks that the hardening options of the compiler and linker took effect in the
ELF files. Control-flow protection is checked in the object files: the linker drops its mark from a program if one
object lacks it, and Debian 12's startup code does."""
import pathlib
import re
import subprocess
import sys

MARKS = {  # what: pattern in `readelf -hldW --dyn-syms`
    "position independence (-pie)": r"FLAGS_1\).*\bPIE\b",
    "binding at the start (-z now)": r"\(FLAGS(?:_1)?\).*\b(?:BIND_)?NOW\b",
    "read-only relocations (-z relro)": r"\bGNU_RELRO\b",
    "stack protector (-fstack-protector-strong)": r"\b__stack_chk_fail\b",
}
CHECKED = r"\b__(?!stack|longjmp)\w+_chk@"  # left only by calls whose bounds the compiler can't prove
LIBRARIES = ("libtn.a", "libagent-*.a", "libhostd.a", "libtnctl-lib.a")  # and none of an older layout


def readelf(*words):
    return subprocess.run(["readelf", *words], capture_output=True, text=True, check=True).stdout


def faults(build, programs):
    is_checked = False
    for program in programs:
        text = readelf("-hldW", "--dyn-syms", str(build / program))
        is_checked = is_checked or re.search(CHECKED, text)
        for what, mark in MARKS.items():
            if not re.search(mark, text):
                yield f"{program}: missing: {what}"
    if not is_checked:
        yield "all programs: missing: checked functions (_FORTIFY_SOURCE)"
    if not re.search(r"Machine: .*(?:X86-64|80386)", readelf("-h", str(build / programs[0]))):
        return
    for library in sorted(library for pattern in LIBRARIES for library in build.glob(pattern)):
        for text in readelf("-nW", str(library)).split("\nFile: ")[1:]:
            if not re.search(r"x86 feature: .*IBT, SHSTK", text):
                yield f"{text.splitlines()[0]}: missing: landing pads, shadow stack (-fcf-protection)"


found = list(faults(pathlib.Path(sys.argv[1]), sys.argv[2:]))
print(*found, sep="\n", end="\n" if found else "", file=sys.stderr)
sys.exit(bool(found))
