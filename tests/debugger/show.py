"""Run by gdb: writes into shown.txt what it shows of the sample, alive and then out of a core dump."""
import re

import gdb

EXPRESSIONS = """text; fixedText; tree; *loop; numbers; table; entries; shared; weak; array; jobs; ring; sample.map
view; broken; *(Ostrel::CObservable*) subject; stack; fifo"""
COMMANDS = """ostrel-map mapHandle; ostrel-map brokenMap; ostrel-map 8; ostrel-registry subject
ostrel-registry brokenRegistry; ostrel-registry zeros; ostrel-registry nothing"""
CLASSES = """Ostrel::DynamicString; Ostrel::DataObject; Ostrel::StringDataObject; Ostrel::DataObjectList; PropertyMap
Ostrel::DataObjectMap; Numbers; Table; Ostrel::SListBase; Ostrel::AutoPtrArray<Job>; Ostrel::SharedPtr<Job>
Ostrel::WeakPtr<Ostrel::SListNode>; Ostrel::StaticModelState; Ostrel::CObservable; Ostrel::HeapStack; Ostrel::FifoBuffer
"""


def split(lines):
    return [part.strip() for line in lines.strip().splitlines() for part in line.split(";")]


def run(command):
    shown = gdb.execute(command, to_string=True).strip()
    shown = re.sub(r"_vptr[^,]*, ", "", shown)  # differs between compilers
    assert shown, command
    return f"{command} => " + re.sub("0x[0-9a-f]+", "0x...", shown)


def refuse(command):
    try:
        return run(command)
    except gdb.error as fault:
        return f"{command} refused: " + re.sub("0x[0-9a-f]+", "0x...", str(fault))


def show_all():
    shown = [run("output " + expression) for expression in split(EXPRESSIONS)]
    shown += [refuse(command) for command in split(COMMANDS)]
    for memory in ("zeros", "garbage"):
        for name in split(CLASSES):
            run(f"output *({name}*) {memory}")  # anything but a failure, which the caller sees
    for expression in ("*loop", "text", "numbers", "sample.map", "fifo"):
        shown.append(run("with print elements 2 -- with print max-depth 1 -- output " + expression))
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
