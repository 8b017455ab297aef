#!/usr/bin/env python3
"""How many small faults planted in the library do the tests catch?

Each mutant changes one spot of one source: a comparison, a logical or arithmetic operator, a
boolean, a number, a text literal, or a call statement dropped. The build directory is rebuilt
and the tests run: the mutant is killed when a test fails, and one that does not build is
counted apart. The source is always put back, also after Ctrl-C.

Run from the repository's root on a configured build directory (./test.sh makes build/):

  scripts/mutants.py --sample 30 --seed 11
  scripts/mutants.py --files src/KEOMediaAnalytics.cpp --sample 15 --seed 11 --tests Media
  scripts/mutants.py --list --files src/KEOStatic.cpp

The same sources, --seed and --sample give the same mutants, so a score before a change and one
after it compare like with like. Each mutant costs a rebuild and a test run: run it in the
background, and narrow it with --files and --tests (a ctest -R pattern).
"""
import argparse
import pathlib
import random
import re
import subprocess
import sys
import time

SWAPS = [(" < ", " <= "), (" <= ", " < "), (" > ", " >= "), (" >= ", " > "), (" == ", " != "),
         (" != ", " == "), (" && ", " || "), (" || ", " && "), (" + ", " - "), (" - ", " + ")]
LITERAL = re.compile(r'"(?:[^"\\]|\\.)*"')
NUMBER = re.compile(r"(?<![\w.])\d+(?:\.\d+)?(?![\w.])")
WORD = re.compile(r"\b(true|false)\b")
CALL = re.compile(r"^\s*[A-Za-z_][\w:.>-]*\(.*\);\s*$")
SKIP = re.compile(r"^\s*(#|//|\*|/\*|static_assert|template|return\b|if\b|for\b|while\b|case\b)")


def blank_literals(line):
    """The line with the insides of text literals and a trailing comment blanked."""
    code = LITERAL.sub(lambda m: '"' + " " * (len(m.group()) - 2) + '"', line)
    cut = code.find("//")
    return code if cut < 0 else code[:cut]


def mutants_of(path):
    """Every (path, line number, what, new line) that one source offers."""
    found = []
    lines = pathlib.Path(path).read_text(encoding="utf-8").split("\n")
    for number, line in enumerate(lines, 1):
        if not line.strip() or re.match(r"^\s*(#|//|\*|/\*)", line):
            continue
        code = blank_literals(line)
        if "template" in code or "static_assert" in code:
            continue
        for old, new in SWAPS:
            start = code.find(old)
            while start >= 0:
                found.append((path, number, f"{old.strip()} -> {new.strip()}",
                              line[:start] + new + line[start + len(old):]))
                start = code.find(old, start + 1)
        for m in WORD.finditer(code):
            flipped = "false" if m.group() == "true" else "true"
            found.append((path, number, f"{m.group()} -> {flipped}",
                          line[:m.start()] + flipped + line[m.end():]))
        for m in NUMBER.finditer(code):
            if code[:m.start()].rstrip().endswith("["):
                continue
            text = m.group()
            bumped = str(float(text) + 1) if "." in text else str(int(text) + 1)
            found.append((path, number, f"{text} -> {bumped}",
                          line[:m.start()] + bumped + line[m.end():]))
        for m in LITERAL.finditer(line):
            body = m.group()[1:-1]
            if len(body) >= 2 and "%" not in body and "\\" not in body:
                changed = body[:-1] + ("Z" if body[-1] != "Z" else "Y")
                found.append((path, number, f'"{body}" changed',
                              line[:m.start()] + '"' + changed + '"' + line[m.end():]))
        if CALL.match(code) and not SKIP.match(code) and "=" not in code.split("(")[0]:
            found.append((path, number, "call dropped", line[:len(line) - len(line.lstrip())] + ";"))
    return found


def run(command, limit):
    """Exit status of a shell command, or None when it ran past limit seconds."""
    try:
        return subprocess.run(command, shell=True, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, timeout=limit).returncode
    except subprocess.TimeoutExpired:
        return None


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default="build", help="configured build directory")
    parser.add_argument("--files", nargs="*", help="sources to mutate (default: src/*.cpp)")
    parser.add_argument("--sample", type=int, default=30, help="mutants to run; 0 for all")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--tests", default="", help="ctest -R pattern; default: every test "
                        "but the package, web, gui and demo labels")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--limit", type=int, default=900, help="seconds per test run")
    parser.add_argument("--list", action="store_true", help="print the mutants, run nothing")
    args = parser.parse_args()

    files = args.files or sorted(str(p) for p in pathlib.Path("src").glob("*.cpp"))
    every = [m for f in files for m in mutants_of(f)]
    chosen = every
    if 0 < args.sample < len(every):
        chosen = random.Random(args.seed).sample(every, args.sample)
    chosen.sort(key=lambda m: (m[0], m[1]))
    if args.list:
        for path, number, what, new in chosen:
            print(f"{path}:{number}: {what}: {new.strip()}")
        print(f"{len(chosen)} of {len(every)} mutants")
        return 0

    build = f"cmake --build {args.build} -j{args.jobs}"
    select = f"-R '{args.tests}'" if args.tests else "-LE 'package|web|gui|demo'"
    test = (f"ctest --test-dir {args.build} -j{args.jobs} --timeout 120 --stop-on-failure "
            f"{select}")
    if run(build, 3600) != 0 or run(test, args.limit) != 0:
        print("the unchanged tree does not build or pass its tests")
        return 2
    killed, survivors, unbuilt = 0, [], 0
    began = time.time()
    for index, (path, number, what, new) in enumerate(chosen, 1):
        source = pathlib.Path(path)
        original = source.read_text(encoding="utf-8")
        lines = original.split("\n")
        lines[number - 1] = new
        started = time.time()
        try:
            source.write_text("\n".join(lines), encoding="utf-8")
            if run(build, 3600) != 0:
                verdict = "does not build"
                unbuilt += 1
            elif run(test, args.limit) == 0:
                verdict = "SURVIVED"
                survivors.append(f"{path}:{number}: {what}: {new.strip()}")
            else:
                verdict = "killed"
                killed += 1
        finally:
            source.write_text(original, encoding="utf-8")
        print(f"[{index}/{len(chosen)}] {verdict:14} {path}:{number} {what} "
              f"({time.time() - started:.0f}s)", flush=True)
    run(build, 3600)
    ran = killed + len(survivors)
    print("\nSurvivors (each is equivalent, or a behaviour that no test pins down):")
    for line in survivors:
        print("  " + line)
    score = 100.0 * killed / ran if ran else 0.0
    print(f"\nmutation score: {killed} killed of {ran} built mutants ({score:.0f}%), "
          f"{unbuilt} did not build, {len(every)} mutants in all, {time.time() - began:.0f}s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
