"""Run by gdb: writes into shown.txt what it shows of the sample, alive and then out of a core dump."""
import re

import gdb

EXPRESSIONS = """text; fixedText; *(Ostrel::ReadableString*) &text; root; tree; *loop; numbers; table; shared; weak; array
entries; jobs; ring
sample.map; view; broken; *(Ostrel::CObservable*) subject; stack; fifo"""
COMMANDS = """ostrel-map mapBytes; ostrel-map mapHandle; ostrel-map brokenMap; ostrel-map 8; ostrel-registry registry
ostrel-registry subject; ostrel-registry brokenRegistry; ostrel-registry zeros; ostrel-registry nothing"""
CLASSES = """Ostrel::DynamicString; Ostrel::DataObject; Ostrel::StringDataObject; Ostrel::DataObjectList; PropertyMap
Ostrel::DataObjectMap; Numbers; Table; Ostrel::SListBase; Ostrel::AutoPtrArray<Job>
Ostrel::SharedPtr<Job>
Ostrel::WeakPtr<Ostrel::SListNode>; Ostrel::StaticModelState; Ostrel::CObservable; Ostrel::HeapStack
Ostrel::FifoBuffer"""


def split(lines):
    return [part.strip() for line in lines.splitlines() for part in line.split(";")]


def run(command):
    try:
        shown = gdb.execute(command, to_string=True)
    except gdb.error as fault:
        shown = f"refused: {fault}"
    shown = re.sub(r"_vptr[^,]*, ", "", shown)  # differs between compilers
    return command + "\n  " + re.sub("0x[0-9a-f]+", "0x...", shown.strip())


def show_all():
    shown = [run("output " + expression) for expression in split(EXPRESSIONS)]
    shown += [run(command) for command in split(COMMANDS)]
    for name in split(CLASSES):
        shown += [run(f"output *({name}*) {memory}") for memory in ("zeros", "garbage")]
    gdb.execute("set print elements 2")
    gdb.execute("set print max-depth 1")
    shown += [run("output " + expression) for expression in ("*loop", "text", "numbers", "sample.map", "fifo")]
    gdb.execute("set print elements 200")
    gdb.execute("set print max-depth 10")
    return "\n".join(shown) + "\n"


for setting in ("disable-randomization off", "confirm off", "host-charset UTF-8"):
    gdb.execute("set " + setting)
gdb.execute("break stopHere")
gdb.execute("run")
gdb.execute("up")
alive = show_all()
gdb.execute("generate-core-file core")
gdb.execute("kill")
gdb.execute("core-file core")
gdb.execute("up")
dead = show_all()
with open("shown.txt", "w", encoding="utf-8") as file:
    file.write(alive if dead == alive else alive + "\n--- out of the core dump:\n" + dead)
