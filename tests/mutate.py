"""Makes small faults in a copy of the sources, one at a time, and tells which of them no test notices.

Each family gets its share of the faults by its lines; a line of a header counts for a quarter, since so much is compiled
anew. A fault is tried on the tests of its family first. One that does not compile, or that compiles to the same code, is
drawn again. The same seed gives the same faults as long as the sources stay as they are."""
import argparse
import filecmp
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import time
from collections import namedtuple
from pathlib import Path

BASE = Path("build/mutate/base")  # the tree as it is, built
WORK = Path("build/mutate/work")  # the same with the fault of the moment; what differs is taken from BASE again
BUILD = "build/release"
PROGRAMS = [f"{BUILD}/tests/ostrel_tests", f"{BUILD}/tools/ostrel-inspect"]
TEST_PROGRAM = PROGRAMS[0]
MEMORY_LIMIT = 4 << 30
HEADER_SHARE = 0.25

Mutant = namedtuple("Mutant", "family path line before after")

SWAPS = {" < ": " <= ", " <= ": " < ", " > ": " >= ", " >= ": " > ", " == ": " != ", " != ": " == ", " + ": " - ",
         " - ": " + ", " += ": " -= ", " -= ": " += ", "++": "--", "--": "++", " && ": " || ", " || ": " && "}
SWAP = re.compile("|".join(re.escape(text) for text in SWAPS) + r"|\b(?:true|false)\b")
NUMBER = re.compile(r"(?<![\w.'])(?:0x[0-9a-fA-F]+|\d+)(?=[uUlL]*\b)(?!['.])")
CONDITION = re.compile(r"\b(?:if|while) (?:constexpr )?\(")
RETURN = re.compile(r"return (?!\{\};)[^;{}]+;")
STATEMENT = re.compile(r"^\s*(?:delete(?:\[\])? \w+|[^\s=]+\(.*\)|[^\s=]+ (?:[-+*/|&^]|<<|>>)?= [^;{}]*);$")
# Texts and comments are no code.
HIDDEN = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|' + r"(?<!\w)'(?:\\.|[^'\\\n])'", re.S)
# Line numbers in reports are held by their page; a longer array is no fault.
SKIPPED = re.compile(r"^\s*(?:#|template\b|using\b|namespace\b)|static_assert|\bLINE_\w+ =|\w\[\d+\](?:;| =)|__attribute__")


def change(text):
    if text in SWAPS:
        return SWAPS[text]
    if text in ("true", "false"):
        return "false" if text == "true" else "true"
    number = int(text, 0)
    return {0: "1", 1: "0"}.get(number) or (hex if text.startswith("0x") else str)(number + 1)


def end_of_parenthesis(code, begin):
    depth = 0
    for position in range(begin, len(code)):
        depth += {"(": 1, ")": -1}.get(code[position], 0)
        if depth == 0:
            return position + 1
    return None  # it goes on in the next line


def changes_of_line(code):
    """Pairs of a place in the line and what to write there."""
    changes = [(match.span(), change(match.group())) for pattern in (SWAP, NUMBER) for match in pattern.finditer(code)]
    for match in CONDITION.finditer(code):
        end = end_of_parenthesis(code, match.end() - 1)
        if end:
            changes.append(((match.end(), end - 1), None))
    changes += [(match.span(), "return {};") for match in RETURN.finditer(code)]
    if STATEMENT.match(code):
        changes.append(((len(code) - len(code.lstrip()), len(code)), ";"))
    return changes


def mutants_of_file(family, path, draw):
    text = Path(path).read_text()
    code = HIDDEN.sub(lambda hidden: re.sub(r"[^\n]", "~", hidden.group()), text)
    is_macro = False
    for number, (line, before) in enumerate(zip(code.split("\n"), text.split("\n")), 1):
        was_macro, is_macro = is_macro, (is_macro or line.startswith("#")) and line.endswith("\\")
        if was_macro or SKIPPED.search(line) or path.endswith(".h") and draw.random() >= HEADER_SHARE:
            continue
        changes = changes_of_line(line)
        if changes:
            (begin, end), after = draw.choice(changes)
            after = f"!({before[begin:end]})" if after is None else after
            yield Mutant(family, path, number, before, before[:begin] + after + before[end:])


def read_families():
    """Sources and suites of each family."""
    families = {"Tools": (sorted(str(path) for path in Path("tools").rglob("*.cpp")), [])}
    for name, body in re.findall(r"^ostrel_family\((\w+)(.*?)^\)", Path("cmake/Families.cmake").read_text(), re.S | re.M):
        files = re.findall(r"\S+\.(?:cpp|h)\b", body)
        tests = "".join(Path("tests", file).read_text() for file in files if "/" not in file)
        suites = sorted(set(re.findall(r"^(?:TYPED_)?TEST(?:_[FP])?\((\w+),", tests, re.M)))
        families[name] = ([file for file in files if "/" in file and Path(file).exists()], suites)
    return families


def draw_mutants(families, count, seed):
    """Endless mutants of each family, and the order in which the families come."""
    mutants = {}
    for name, (paths, _) in families.items():
        draw = random.Random(f"{seed} {name}")
        mutants[name] = [mutant for path in paths for mutant in mutants_of_file(name, path, draw)]
        draw.shuffle(mutants[name])
    total = sum(len(of_family) for of_family in mutants.values())
    # Each family has its share up to one; shuffled, a sample that is cut off is fair too.
    bounds, order = 0, []
    for name, of_family in mutants.items():
        order += [name] * (round((bounds + len(of_family)) * count / total) - round(bounds * count / total))
        bounds += len(of_family)
    random.Random(seed).shuffle(order)
    return {name: iter(of_family) for name, of_family in mutants.items()}, order


def list_files(folder):
    return {str(path.relative_to(folder)): path.lstat() for path in folder.rglob("*") if not path.is_dir()}


def make_same(source, target):
    """Makes one folder a copy of the other, times included, so that nothing of it is built anew."""
    files, present = list_files(source), list_files(target) if target.exists() else {}
    for name in present.keys() - files.keys():
        (target / name).unlink()
    for name, status in files.items():
        old = present.get(name)
        if not old or (old.st_mtime_ns, old.st_size) != (status.st_mtime_ns, status.st_size):
            (target / name).parent.mkdir(parents=True, exist_ok=True)
            (target / name).unlink(missing_ok=True)
            shutil.copy2(source / name, target / name, follow_symlinks=False)


def run(command, seconds, cpu_seconds, folder=WORK):
    """Runs a command, with all that it leaves running: whether it went well, and what it printed."""
    def limit():
        resource.setrlimit(resource.RLIMIT_CPU, (cpu_seconds, cpu_seconds))
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    log = Path("build/mutate/log")
    with open(log, "wb") as output:
        process = subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=output,
                                   stderr=subprocess.STDOUT, start_new_session=True, preexec_fn=limit)
        try:
            went_well = process.wait(seconds) == 0
        except subprocess.TimeoutExpired:
            went_well = False
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()
    return went_well, log.read_text(errors="replace")


def build(jobs, *targets, folder=WORK):
    targets = ["--target", *targets] if targets else []
    return run(["cmake", "--build", BUILD, "-j", str(jobs), *targets], 3600, 3600, folder)


def name_killer(output):
    failed = re.search(r"\[  FAILED  \] ([^\s,]+)|Test +#\d+: (\S+) \.*\*\*\*", output)
    if failed:
        return failed.group(1) or failed.group(2)
    started = re.findall(r"\[ RUN      \] (\S+)", output)
    return f"{started[-1]} (stopped)" if started else "a stop"


class Suite:
    def __init__(self, families, jobs):
        self._jobs = jobs
        self._suites = {name: suites for name, (_, suites) in families.items()}
        self._limits = {}
        for stage in [*(name for name in families if name != "Tools"), "all", "Tools", "Examples"]:
            self._measure(stage)

    def _measure(self, stage):
        begin, cpu_begin = time.monotonic(), resource.getrusage(resource.RUSAGE_CHILDREN)
        went_well, output = self._run(stage, 1200, 1200)
        if not went_well:
            sys.exit(f"mutate: the tests fail without a fault: {name_killer(output)}")
        cpu = resource.getrusage(resource.RUSAGE_CHILDREN)
        cpu_seconds = cpu.ru_utime + cpu.ru_stime - cpu_begin.ru_utime - cpu_begin.ru_stime
        # Other work on the machine makes times longer, but not the processor's; a hang is found by the former.
        self._limits[stage] = 20 + 3 * (time.monotonic() - begin), int(10 + 3 * cpu_seconds)

    def _run(self, stage, seconds, cpu_seconds):
        if stage in ("Tools", "Examples"):
            command = ["ctest", "--test-dir", BUILD, "-R", f"^{stage}\\.", "--stop-on-failure", "--timeout", "120"]
            return run(command, seconds, cpu_seconds)
        command = [str((WORK / TEST_PROGRAM).resolve()), "--gtest_fail_fast"]
        if stage != "all":
            patterns = [f"{before}{suite}{after}" for suite in self._suites[stage]
                        for before in ("", "*/") for after in (".*", "/*")]
            command.append("--gtest_filter=" + ":".join(patterns))
        return run(command, seconds, cpu_seconds, WORK / BUILD / "tests")

    def find_killer(self, family):
        stages = ["Tools"] if family == "Tools" else [family, "all", "Tools", "Examples"]
        for stage in stages:
            if stage == "Tools":
                build(self._jobs)
            went_well, output = self._run(stage, *self._limits[stage])
            if not went_well:
                return name_killer(output)
        return None


def prepare(jobs):
    """Brings BASE up to date and builds it in its place, which is WORK."""
    files = subprocess.run(["git", "ls-files"], check=True, capture_output=True, text=True).stdout.split("\n")
    if BASE.exists():
        make_same(BASE, WORK)
    for name in filter(os.path.isfile, files):
        target = WORK / name
        if not target.exists() or not filecmp.cmp(name, target, shallow=False):
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(name, target)
    options = ["-DOSTREL_STATIC=OFF", "-DCMAKE_CXX_FLAGS_RELEASE=-O1 -DNDEBUG"]
    went_well, output = run(["cmake", "--preset", "release", *options], 3600, 3600)
    if went_well:
        went_well, output = build(jobs)
    if not went_well:
        sys.exit(output)
    make_same(WORK, BASE)


def try_mutant(mutant, suite, jobs):
    """What kills it, None when nothing does; False when it is none."""
    path = WORK / mutant.path
    lines = path.read_text().split("\n")
    lines[mutant.line - 1] = mutant.after
    path.write_text("\n".join(lines))
    program = PROGRAMS[mutant.family == "Tools"]
    went_well, _ = build(jobs, Path(program).name)
    if not went_well or filecmp.cmp(WORK / program, BASE / program, shallow=False):
        return False
    return suite.find_killer(mutant.family)


def main():
    parser = argparse.ArgumentParser(prog="./dev mutate", description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("count", nargs="?", type=int, default=50, help="faults to make (50)")
    parser.add_argument("--seed", default=time.strftime("%Y%m%d"), help="what the sample depends on (the day)")
    parser.add_argument("--jobs", type=int, default=2, help="compilers at a time (2)")
    options = parser.parse_args()

    prepare(options.jobs)
    families = read_families()
    suite = Suite(families, options.jobs)
    mutants, order = draw_mutants(families, options.count, options.seed)
    survivors, tried = [], 0
    for family in order:
        for mutant in mutants[family]:
            killer = try_mutant(mutant, suite, options.jobs)
            make_same(BASE, WORK)
            if killer is not False:
                break
        else:
            continue  # the family has no more
        tried += 1
        text = f"{mutant.path}:{mutant.line}: {mutant.before.strip()}  ->  {mutant.after.strip()}"
        print(f"{text}: {'killed by ' + killer if killer else 'SURVIVED'}", flush=True)
        if not killer:
            survivors.append(text)
    print(f"\n{tried - len(survivors)} of {tried} noticed ({100 * (tried - len(survivors)) / max(tried, 1):.1f} %), "
          f"seed {options.seed}. Not noticed:", *survivors, sep="\n  ")


if __name__ == "__main__":
    main()
