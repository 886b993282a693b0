"""Names the exported operations that reach an allocation and that tests/AllocationSweepTest.cpp does not name.

Arguments: the library, and the object files it was linked from. Calls are followed by their relocations: not through
virtual functions, and not into other libraries."""
import collections
import re
import subprocess
import sys

ALLOCATES = re.compile(r"(malloc|realloc|calloc|strdup|_Zn[wa][mj]\w*|XML_ParserCreate)$")
REPORTS = re.compile(r"Singleton.*getInstance|report(Message|Text|FailedCheck)")  # the server has a sweep of its own


def run(*command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True, **options).stdout


def read_callers(objects):
    callers = collections.defaultdict(set)
    for line in run("objdump", "-dr", "--no-show-raw-insn", *objects).splitlines():
        if begin := re.match(r"[0-9a-f]+ <([^.>]+)\S*>:$", line):
            function = begin[1]
        elif callee := re.search(r"(?:\sR_\S+\s+|<)([A-Za-z_]\w*)(?:\.\w+)*(?:[-+]0x[0-9a-f]+)?>?$", line):
            if not REPORTS.search(function):
                callers[callee[1]].add(function)
    return callers


def find_allocating(callers):
    found = {name for name in callers if ALLOCATES.match(name)}
    todo = list(found)
    while todo:
        new = callers[todo.pop()] - found
        found |= new
        todo += new
    return found


def main():
    exported = {line.split()[-1].split("@")[0] for line in run("nm", "-D", "--defined-only", sys.argv[1]).splitlines()}
    names = run("c++filt", input="\n".join(find_allocating(read_callers(sys.argv[2:])) & exported)).splitlines()
    with open("tests/AllocationSweepTest.cpp") as file:
        text = re.sub(r'"\s+"', "", file.read())
    swept = set(re.findall(r"\w+", text))  # the functions of the C interface
    for owner, operations in re.findall(r"(\w+): ((?:[\w=]+ ?)+)", text):
        swept |= {f"{owner}::{operation}" for operation in operations.split()}
    missing = [name for name in sorted(names)
               if re.sub(r"<[^<>]*>|\[abi:\w+\]|(Ostrel|json|xml)::|\(.*|~", "", name) not in swept]
    for name in missing:
        print(f"{name}: allocates, and tests/AllocationSweepTest.cpp has no sweep of it")
    sys.exit(1 if missing or not names else 0)


main()
