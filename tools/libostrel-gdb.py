"""Shows objects of libostrel in gdb, of a running program or out of a core dump.

gdb loads this by itself along with the installed library. Where the library is linked statically or the sources are
debugged: `source libostrel-gdb.py`. Then `print` shows

- strings as their text, and trees of `DataObject` as JSON;
- lists, lookup tables, `SharedPtr`, `WeakPtr` and `AutoPtr` with what they hold;
- property maps, observables and their registries, `HeapStack` and `FifoBuffer` with what is in their buffers.

`ostrel-map` and `ostrel-registry` do the same for a plain buffer and for the handles of the C interface.

Classes are known where their debug information is: that of the library (a package of its own), or of a program that is
compiled with -femit-class-debug-always -fno-eliminate-unused-debug-types (clang: -fstandalone-debug instead of the
former). The commands for buffers need none.

What is shown ends where `set print elements` and `set print max-depth` say. Memory that cannot be what it should be
gives a text in angle brackets in its place.
"""

import itertools
import json
import re

import gdb
import gdb.printing

MOST_LEVELS = 100  # each takes some of Python's own stack
PAGE_SIZE = 4096  # memory ends at the end of one


class Broken(Exception):
    """Memory that is not what it should be."""


# Limits, and text


def get_limit(name):
    """A limit among gdb's own settings, None when there is none."""
    value = gdb.parameter("print " + name)
    return None if value is None or value < 0 else value


def get_levels():
    depth = get_limit("max-depth")
    return MOST_LEVELS if depth is None else min(depth, MOST_LEVELS)


def show(function, *arguments):
    """What the function shows, or why it cannot."""
    try:
        return function(*arguments)
    except Exception as fault:  # whatever it is, the user wants to see the rest
        return f"<{fault}>"


def guard(items, as_fault):
    """The items up to the one that cannot be had; in its place what `as_fault` makes of the reason."""
    try:
        yield from items
    except Exception as fault:  # as above
        yield as_fault(f"<{fault}>")


def join(brackets, items, depth):
    """Texts between brackets, as many as the settings allow."""
    if depth <= 0:
        return brackets[0] + "..." + brackets[1]
    items = guard(items, str)
    texts = list(itertools.islice(items, get_limit("elements")))
    if next(items, None) is not None:
        texts.append("...")
    return brackets[0] + ", ".join(texts) + brackets[1]


def escape(character):
    """As in JSON. Neither control characters nor what the terminal has no letter for reach it as they are."""
    if "\udc80" <= character <= "\udcff":
        return f"\\x{ord(character) - 0xDC00:02x}"  # a byte that is no UTF-8
    try:
        character.encode(gdb.host_charset())
    except (UnicodeError, LookupError, AttributeError):  # the last from a gdb before 12
        return json.dumps(character)[1:-1]
    if character.isprintable() and character not in '"\\':
        return character
    return json.dumps(character)[1:-1] if ord(character) < 0x7F else f"\\u{ord(character):04x}"


def quote(data):
    """Bytes of a text in quotes, as many as the settings allow."""
    most = get_limit("elements")
    rest = ""
    if most is not None and len(data) > most:
        while most > 0 and data[most] & 0xC0 == 0x80:  # inside a character
            most -= 1
        data, rest = data[:most], "..."
    return '"' + "".join(map(escape, data.decode(errors="surrogateescape"))) + '"' + rest


# Memory


def read(address, size):
    return gdb.selected_inferior().read_memory(address, size).tobytes() if size > 0 else b""


def get_byte_order():
    return "big" if "big endian" in gdb.execute("show endian", to_string=True) else "little"


def read_number(address, size, signed=False):
    return int.from_bytes(read(address, size), get_byte_order(), signed=signed)


def read_word(address):
    return read_number(address, 4)


def get_pointer_type():
    return gdb.lookup_type("char").pointer()


def read_pointer(address):
    return read_number(address, get_pointer_type().sizeof)


def read_float(address, name):
    return float(gdb.Value(address).cast(gdb.lookup_type(name).pointer()).dereference())


def read_text(address, room=None):
    """The bytes up to the terminator, or somewhat more than will be shown. `room` is how many there can be."""
    data = b""
    most = get_limit("elements")
    while most is None or len(data) <= most:
        position = address + len(data)
        size = PAGE_SIZE - position % PAGE_SIZE
        piece = read(position, size if room is None else min(size, room - len(data)))
        text, terminator, _ = piece.partition(b"\0")
        data += text
        if terminator:
            break
        if not piece:
            raise Broken("text without an end")
    return data


def show_text(pointer):
    address = int(pointer)
    return "null" if address == 0 else quote(read_text(address))


# Values that gdb knows the type of


def get_object(pointer):
    """What a pointer leads to, as the class that it is of."""
    target = pointer.dereference()
    return target.cast(target.dynamic_type)


def cast_to_base(value, names):
    """The name and the value of the first of the named classes that a value is of or derives from, or None."""
    basic = value.type.strip_typedefs().unqualified()
    if basic.name in names:
        return basic.name, value
    for field in basic.fields():
        found = cast_to_base(value.cast(field.type), names) if field.is_base_class else None
        if found is not None:
            return found
    return None


def get_elements(array_list):
    size, capacity = int(array_list["_size"]), int(array_list["_capacity"])
    if size > capacity:
        raise Broken(f"{size} elements where {capacity} have room")
    for index in range(size):
        element = (array_list["_elements"] + index).dereference()
        element.fetch_lazy()  # what cannot be read ends the list here
        yield element


def get_pointer_of_auto_ptr(owner):
    """`AutoPtr` is the C++ library's pointer, whose fields are that one's business; but its size is a pointer's."""
    pointer = owner.type.template_argument(0).pointer()
    if owner.type.sizeof != pointer.sizeof:
        raise Broken("pointer with a deleter of its own")
    return owner.address.cast(pointer.pointer()).dereference()


# Trees


def show_integer(node, _depth, _path):
    return str(int(node["_value"]))


def show_string(node, _depth, _path):
    return show_text(node["_text"]["_data"])


def show_list(node, depth, path):
    return join("[]", (show(show_child, child, depth, path) for child in get_elements(node["_children"])), depth)


def get_members(node):
    """Two pointers each. Their class is not known to every program that knows the node's."""
    entries = node["_table"]["_entries"]
    size = get_pointer_type().sizeof
    child_type = gdb.lookup_type("Ostrel::DataObject").pointer()
    for index in range(int(entries["_size"])):
        entry = int(entries["_elements"]) + index * 2 * size
        yield read_pointer(entry), gdb.Value(read_pointer(entry + size)).cast(child_type)


def show_map(node, depth, path):
    members = (
        show(show_text, key) + ": " + show(show_child, child, depth, path) for key, child in get_members(node)
    )
    return join("{}", members, depth)


def show_child(pointer, depth, path):
    return "<missing>" if int(pointer) == 0 else show_node(pointer.dereference(), depth - 1, path)


KINDS = {
    "Ostrel::IntegerDataObject": show_integer,
    "Ostrel::StringDataObject": show_string,
    "Ostrel::NullDataObject": lambda *_: "null",
    "Ostrel::InvalidDataObject": lambda *_: "<missing>",
    "Ostrel::DataObjectList": show_list,
    "Ostrel::DataObjectMap": show_map,
}


def show_node(node, depth, path=()):
    """JSON; `path` has the addresses of the containers around."""
    address = int(node.address)
    if address in path:
        raise Broken("contains itself")
    found = cast_to_base(node.cast(node.dynamic_type), KINDS)
    if found is None:
        raise Broken(f"no known kind of node at {address:#x}")
    kind, node = found
    return KINDS[kind](node, depth, path + (address,))


# Property maps: docs/property-map-format.md has the layout

MAP_HEADER_SIZE = 8
MAP_LARGEST = 0x00FFFFFF
MAP_ENTRY_SIZE = 8
MAP_LENGTH_SIZE = 4
BOOL, INT, FLOAT, DOUBLE, STRING, BINARY, MAP = range(7)


class MapEntry:
    def __init__(self, buffer, table, index):
        address = buffer + table + index * MAP_ENTRY_SIZE
        tag = int.from_bytes(read(address, 4), "little")
        self.is_long = tag & 1 != 0
        self.type = tag >> 1 & 0x7F
        self.key = read_number(address + 4, 4, signed=True) if self.is_long else tag >> 8
        self.word = tag >> 8 if self.is_long else read_word(address + 4)
        self.is_stored = self.type in range(DOUBLE, MAP + 1) or self.is_long and self.type in (INT, FLOAT)
        self.value = buffer + self.word if self.is_stored else address + 4
        self.room = table - self.word

    def show(self, depth):
        return f"{self.key}: " + show(self.show_value, depth)

    def show_value(self, depth):
        if self.type > MAP:
            raise Broken(f"unknown type {self.type}")
        if self.is_stored and not (self.word >= MAP_HEADER_SIZE and self.room > 0):
            raise Broken(f"value at {self.word}, outside the value area")
        if self.type == BOOL:
            return "true" if self.word & 0xFF else "false"
        if self.type == INT:
            return str(read_number(self.value, 4, signed=True))
        if self.type == FLOAT:
            return f"{read_float(self.value, 'float'):.9g}f"
        if self.type == DOUBLE:
            return repr(read_float(self.value, "double"))
        if self.type == STRING:
            return quote(read_text(self.value, self.room))
        return self.show_bytes(depth)

    def show_bytes(self, depth):
        length = read_word(self.value)
        if length > self.room - MAP_LENGTH_SIZE:
            raise Broken(f"{length} bytes where {self.room - MAP_LENGTH_SIZE} have room")
        data = self.value + MAP_LENGTH_SIZE
        if self.type == MAP:
            return show_property_map(data, depth - 1)
        most = get_limit("elements")
        shown = length if most is None else min(length, most)
        return f"<{length} bytes: {read(data, shown).hex(' ')}{'...' if shown < length else ''}>"


def show_property_map(buffer, depth):
    if buffer == 0:
        return "no buffer"
    size, table = read_word(buffer), read_word(buffer + 4)
    if not MAP_HEADER_SIZE <= size <= MAP_LARGEST or not MAP_HEADER_SIZE <= table <= size:
        raise Broken(f"no property map: size {size}, key table at {table}")
    count = (size - table) // MAP_ENTRY_SIZE
    entries = (MapEntry(buffer, table, index).show(depth) for index in range(count))
    return f"{size} bytes " + join("{}", entries, depth)


# Registries: docs/observable-format.md has the layout

REGISTRY_HEADER_SIZE = 4
OBSERVER_SIZE = 4
LONG_EVENT = 0x80000000


def find_observer(word):
    """The address behind a word. None where pointers are longer and the library's table of them is not found."""
    if get_pointer_type().sizeof == OBSERVER_SIZE:
        return word
    try:
        table = gdb.parse_and_eval("(void*) &'Ostrel::observersByWord'")
        return read_pointer(read_pointer(int(table)) + word * get_pointer_type().sizeof)
    except gdb.error:
        return None


def show_observer(word):
    address = find_observer(word)
    if word == 0 or not address:
        return f"#{word}"
    void_pointer = gdb.lookup_type("void").pointer()
    pointer = gdb.Value(address).cast(void_pointer)
    table = gdb.Value(read_pointer(address)).cast(void_pointer).format_string(symbols=True)
    kind = re.search(r"<vtable for (.*)\+\d+>", table)
    return (f"({kind[1]}*) " if kind else "") + pointer.format_string(symbols=True)


def get_events(buffer, used, depth):
    position = REGISTRY_HEADER_SIZE
    while position < used:
        header = int.from_bytes(read(buffer + position, 4), "little")
        is_long = header & LONG_EVENT != 0
        event = read_number(buffer + position + (4 if is_long else 0), 4 if is_long else 2, signed=True)
        count = header & ~LONG_EVENT if is_long else header >> 16
        first = position + (8 if is_long else 4)
        position = first + count * OBSERVER_SIZE
        if position > used:
            raise Broken(f"event {event}: {count} observers where {used - first} bytes are")
        words = (read_word(buffer + place) for place in range(first, position, OBSERVER_SIZE))
        yield f"{event}: " + join("[]", (show(show_observer, word) for word in words), depth - 1)


def show_registry(buffer, depth):
    if buffer == 0:
        return "no buffer"
    used, capacity = read_number(buffer, 2), read_number(buffer + 2, 2)
    if not REGISTRY_HEADER_SIZE <= used <= capacity:
        raise Broken(f"no registry: {used} of {capacity} bytes used")
    return f"{used} of {capacity} bytes used " + join("{}", get_events(buffer, used, depth), depth)


def get_registry_of_implementation(implementation):
    """The implementation has its table of functions, then a pointer to what has a pointer to the buffer."""
    return read_pointer(read_pointer(implementation + get_pointer_type().sizeof))


def get_registry_of_observable(observable):
    """An observable has its table of functions, its lock, and its implementation."""
    return get_registry_of_implementation(read_pointer(observable + 2 * get_pointer_type().sizeof))


# Buffers of other classes: docs/heap-stack.md has the layout of the first


def get_blocks(buffer, free, size):
    """From the youngest to the oldest, which ends at the last word."""
    position = free + 4
    while position != size - 4:
        length, data = read_word(buffer + position + 4), position + 8
        position = data + length
        if position > size - 4:
            raise Broken(f"block at {data}: {length} bytes lead out of the buffer")
        behind = read_word(buffer + position)
        yield f"{data}: {length} bytes" + ("" if behind == length else f" <overwritten: {behind} behind them>")


def show_heap_stack(stack):
    buffer, size = int(stack["_buffer"]), int(stack["_size"])
    if size < MAP_HEADER_SIZE:
        return "no buffer"
    free = read_word(buffer)
    if free > size - 8:
        raise Broken(f"no stack: {free} of {size} bytes free")
    return f"{free} of {size} bytes free " + join("{}", get_blocks(buffer, free, size), get_levels())


def show_fifo(fifo):
    names = ("_buffer", "_endOfBuffer", "_consumerPtr", "_dataInBuffer", "_size", "_lentLength")
    start, end, consumer, count, size, lent = (int(fifo[name]) for name in names)
    if end - start != size or not start <= consumer <= end or count > size or lent > count:
        raise Broken(f"no ring: {count} of {size} bytes")
    most = get_limit("elements")
    shown = count if most is None else min(count, most + 1)
    run = min(shown, end - consumer)
    state = "open" if fifo["_moreDataToRead"] else "closed"
    return f"{count} of {size} bytes, {lent} lent, {state} " + quote(read(consumer, run) + read(start, shown - run))


# Printers


class TextPrinter:
    """Of a class that is shown as one text."""

    def __init__(self, value):
        is_reference = value.type.strip_typedefs().code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF)
        self.value = value.referenced_value() if is_reference else value

    def to_string(self):
        return show(self.describe)


class StringPrinter(TextPrinter):
    def describe(self):
        return show_text(self.value["_data"])


class TreePrinter(TextPrinter):
    def describe(self):
        return show_node(self.value, get_levels())


class PropertyMapPrinter(TextPrinter):
    def describe(self):
        return show_property_map(int(self.value["_buffer"]), get_levels())


class RegistryPrinter(TextPrinter):
    def describe(self):
        return show_registry(int(self.value["buffer"]), get_levels())


class ImplementationPrinter(TextPrinter):
    def describe(self):
        return show_registry(get_registry_of_implementation(int(self.value.address)), get_levels())


class ObservablePrinter(TextPrinter):
    def describe(self):
        return show_registry(get_registry_of_observable(int(self.value.address)), get_levels())


class HeapStackPrinter(TextPrinter):
    def describe(self):
        return show_heap_stack(self.value)


class FifoPrinter(TextPrinter):
    def describe(self):
        return show_fifo(self.value)


class ContainerPrinter(TextPrinter):
    """Of a class that holds values of any type, which gdb shows itself."""

    def children(self):
        return guard(self.get_members(), lambda fault: ("fault", fault))

    def get_members(self):
        for index, value in enumerate(self.get_values()):
            value.fetch_lazy()  # a fault is to show here and not when gdb prints the value
            yield f"[{index}]", value


class ListPrinter(ContainerPrinter):
    def display_hint(self):
        return "array"

    def describe(self):
        return f"{int(self.value['_size'])} elements"

    def get_values(self):
        return get_elements(self.value)


class PointerArrayPrinter(ContainerPrinter):
    def display_hint(self):
        return "array"

    def describe(self):
        return f"{int(self.value['_length'])} pointers"

    def get_values(self):
        return ((self.value["_array"] + index).dereference() for index in range(int(self.value["_length"])))


class NodeListPrinter(ContainerPrinter):
    def describe(self):
        return "no nodes" if int(self.value["_head"]) == 0 else "nodes"

    def get_values(self):
        node = self.value["_head"]
        seen = set()
        while int(node) != 0:
            if int(node) in seen:
                raise Broken(f"goes round from {int(node):#x}")
            seen.add(int(node))
            yield get_object(node)
            node = node["_next"]


class TablePrinter(ContainerPrinter):
    """The view that both kinds of table have; for one that owns its entries, these have to agree with it."""

    def get_view(self):
        base = self.value.type.strip_typedefs().fields()[0]
        return self.value.cast(base.type) if base.is_base_class else self.value

    def describe(self):
        return f"{int(self.get_view()['_count'])} entries"

    def get_members(self):
        view = self.get_view()
        for index in range(int(view["_count"])):
            entry = (view["_entries"] + index).dereference()
            entry.fetch_lazy()
            yield f"[{entry['key'].format_string(address=False)}]", entry["value"]


class PointerPrinter(ContainerPrinter):
    def get_pointer(self):
        return self.value["m_ptr"]

    def describe(self):
        return "null" if int(self.get_pointer()) == 0 else f"{int(self.get_pointer()):#x}"

    def get_members(self):
        pointer = self.get_pointer()
        if int(pointer) != 0:
            target = get_object(pointer)
            target.fetch_lazy()
            yield "object", target


class SharedPtrPrinter(PointerPrinter):
    def describe(self):
        if int(self.get_pointer()) == 0:
            return "null"
        owners = show(read_word, int(self.value["_count"]))  # the block's first field
        return f"{int(self.get_pointer()):#x}, owners: {owners}"


class AutoPtrPrinter(PointerPrinter):
    def get_pointer(self):
        return get_pointer_of_auto_ptr(self.value)


PRINTERS = {
    r"Ostrel::(Readable|Writable|Dynamic)String": StringPrinter,
    r"Ostrel::FixedString<.*>": StringPrinter,
    r"Ostrel::((Integer|String|Null|Invalid)?DataObject|DataObject(List|Map))": TreePrinter,
    r"Ostrel::(Dynamic|Fixed)?ArrayList<.*>": ListPrinter,
    r"Ostrel::AutoPtrArray<.*>": PointerArrayPrinter,
    r"Ostrel::SListBase": NodeListPrinter,
    r"Ostrel::(Dynamic|Binary)LookupTable<.*>": TablePrinter,
    r"Ostrel::SharedPtr<.*>": SharedPtrPrinter,
    r"Ostrel::WeakPtr<.*>": PointerPrinter,
    r"std::unique_ptr<(Ostrel::.*|(Dynamic)?PropertyMap\b.*)>": AutoPtrPrinter,
    r"(Dynamic)?PropertyMap(View)?": PropertyMapPrinter,
    r"Ostrel::StaticModelState": RegistryPrinter,
    r"Ostrel::PiloObservableImpl": ImplementationPrinter,
    r"Ostrel::C?Observable": ObservablePrinter,
    r"Ostrel::HeapStack": HeapStackPrinter,
    r"Ostrel::FifoBuffer": FifoPrinter,
}


def register():
    printers = gdb.printing.RegexpCollectionPrettyPrinter("libostrel")
    for pattern, printer in PRINTERS.items():
        printers.add_printer(pattern, f"^{pattern}$", printer)
    gdb.printing.register_pretty_printer(gdb.current_objfile(), printers, replace=True)


# Commands


class BufferCommand(gdb.Command):
    """Shows what lies at an address. `handle` is the type behind the C interface's handles, which `find` follows."""

    def __init__(self, name, show_buffer, handle, find):
        self.__doc__ = f"{name} EXPRESSION: shows what is in a buffer, given by itself, its address or a {handle}."
        super().__init__(name, gdb.COMMAND_DATA, gdb.COMPLETE_EXPRESSION)
        self.show_buffer, self.handle, self.find = show_buffer, handle, find

    def get_buffer(self, value):
        basic = value.type.strip_typedefs()
        if basic.code == gdb.TYPE_CODE_ARRAY:
            return int(value.address)
        if basic.code == gdb.TYPE_CODE_PTR and basic.target().strip_typedefs().name == self.handle:
            return self.find(int(value))
        return int(value)

    def invoke(self, argument, _from_tty):
        try:
            print(self.show_buffer(self.get_buffer(gdb.parse_and_eval(argument)), get_levels()))
        except Exception as fault:  # as above
            raise gdb.GdbError(str(fault)) from None


register()
BufferCommand(
    "ostrel-map", show_property_map, "property_map", lambda handle: read_pointer(handle + get_pointer_type().sizeof)
)
BufferCommand("ostrel-registry", show_registry, "ObservableHandle", get_registry_of_observable)
