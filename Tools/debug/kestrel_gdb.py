"""gdb shows the values of Kestrel as people read them.

gdb loads this file by itself together with an installed library, where its safe path allows;
otherwise: source kestrel_gdb.py. `info pretty-printer` lists the printers, `print/r` goes round
them.

A value that is broken or not made yet is shown as far as it makes sense, and then what is wrong
with it in <>. No loop goes on for longer than the value itself says, and never longer than gdb's
limit on elements; nothing here raises out of a printer, and nothing calls into the program.
"""

import gdb
import gdb.printing
import gdb.types

# The classes that a host's own debug information may only name, since compilers describe a class
# where one of its operations is compiled, which is in the library: their members in order.
VIRTUAL = ('(virtual)', 'void *')
LAYOUTS = {
    'Mu::SharedObject': (VIRTUAL, ('count', 'int')),
    'Mu::UniString': (VIRTUAL, ('units', 'unsigned short *'), ('length', 'unsigned int'),
                      ('capacity', 'unsigned int')),
    'Mu::String': (VIRTUAL, ('text', 'char *'), ('length', 'unsigned int'),
                   ('capacity', 'unsigned int')),
    'Mu::ConstSubstring': (('units', 'unsigned short *'), ('length', 'unsigned int')),
    'Mu::Substring': (('units', 'unsigned short *'), ('length', 'unsigned int'),
                      ('text', 'void *'), ('from', 'unsigned int')),
    'Mu::HashPrivate::Index': (('buckets', 'void *'), ('first', 'Mu::HashPrivate::Node *'),
                               ('last', 'Mu::HashPrivate::Node *'), ('seeks', 'unsigned long long'),
                               ('capacity', 'unsigned int'), ('shift', 'unsigned int'),
                               ('size', 'unsigned int'), ('maximumSeek', 'float'),
                               ('minimumFill', 'float')),
    'IO::Name': (VIRTUAL, ('text', 'Mu::UniString')),
    'IO::Address': (VIRTUAL, ('node', 'unsigned int')),
    'IO::RelativeLocation': (VIRTUAL, ('address', 'IO::Address'), ('status', 'int')),
    'IO::Location': (VIRTUAL, ('network', 'unsigned int'), ('local', 'unsigned int'),
                     ('extra', 'void *'), ('status', 'int'), ('port', 'unsigned short'),
                     ('networkModel', 'unsigned char'), ('legality', 'unsigned char')),
    'IO::Location::Extra': (('scheme', 'Mu::UniString'), ('userName', 'Mu::UniString'),
                            ('password', 'Mu::UniString'), ('pdi', 'void *')),
}

NETWORK_MODELS = ('FlatModel', 'HierarchicalModel', 'SmbModel', 'NullModel', 'UnknownModel',
                  'SchemeModel')
NO_INDEX = 0xFFFFFFFF
FREED_NODE = 0xF4F3F2F1
MOST_NAMES = 1000  # of one path
MOST_UNITS = 1 << 20  # of one text, where gdb has no limit


class Broken(Exception):
    """What is wrong with a value; the text is shown."""


FAILURES = (Broken, gdb.error, RuntimeError, ValueError, OverflowError)


def reported(failure):
    return '<%s>' % str(failure).rstrip('.')


def limit():
    """How much of a text to show."""
    elements = gdb.parameter('print elements')
    return min(elements, MOST_UNITS) if elements else MOST_UNITS


def read(address, size):
    if size == 0:
        return b''
    if address == 0:
        raise Broken('null instead of %d bytes' % size)
    return bytes(gdb.selected_inferior().read_memory(address, size))


# Values with and without debug information.

def simple_type(name):
    if name.endswith(' *'):
        return gdb.lookup_type(name[:-2]).pointer()
    return gdb.lookup_type(name)


def layout(tag):
    """The members as {name: (offset, type name)}, the size, and the alignment."""
    offset, widest = 0, 1
    members = {}
    for name, kind in LAYOUTS[tag]:
        if kind in LAYOUTS:
            _, size, alignment = layout(kind)
        else:
            size = alignment = simple_type(kind).sizeof
        offset = (offset + alignment - 1) // alignment * alignment
        members[name] = offset, kind
        offset, widest = offset + size, max(widest, alignment)
    return members, (offset + widest - 1) // widest * widest, widest


class LaidOut:
    """A value of one of the LAYOUTS, as far as printers use a gdb.Value."""

    def __init__(self, tag, address):
        self.tag = tag
        self.address = address

    def __getitem__(self, name):
        offset, kind = layout(self.tag)[0][name]
        if kind in LAYOUTS:
            return LaidOut(kind, self.address + offset)
        return at(self.address + offset, simple_type(kind))


def at(address, kind):
    return gdb.Value(address).cast(kind.pointer()).dereference()


def is_described(kind):
    return kind.code != gdb.TYPE_CODE_STRUCT or len(kind.fields()) > 0


def laid_out(value):
    """The value, or what stands in for one that is not described."""
    if isinstance(value, LaidOut):
        return value
    kind = gdb.types.get_basic_type(value.type)
    if is_described(kind) or kind.tag not in LAYOUTS or value.address is None:
        return value
    return LaidOut(kind.tag, int(value.address))


def size_of(kind):
    kind = gdb.types.get_basic_type(kind)
    if kind.sizeof > 0 and is_described(kind):
        return kind.sizeof
    if kind.tag in LAYOUTS:
        return layout(kind.tag)[1]
    if kind.sizeof > 0:
        return kind.sizeof
    raise Broken('no debug information of the elements')


def element(pointer, index):
    kind = pointer.type.strip_typedefs().target()
    return at(int(pointer) + index * size_of(kind), kind)


def check_readable(pointer, index, what):
    """One that cannot be read is reported once, and not for each of the elements before it."""
    try:
        read(int(element(pointer, index).address), 1)
    except gdb.error as failure:
        raise Broken('%s cannot be read: %s' % (what, str(failure).rstrip('.')))


def base_of(value, tag):
    """The part of an object that is the base of that name, or None."""
    for field in gdb.types.get_basic_type(value.type).fields():
        if not field.is_base_class:
            continue
        base = value[field]
        found = base if base.type.tag == tag else base_of(base, tag)
        if found is not None:
            return laid_out(found)
    return None


# Texts.

ESCAPES = {'"': '\\"', '\\': '\\\\', '\n': '\\n', '\r': '\\r', '\t': '\\t'}


def can_be_shown(character):
    try:
        character.encode(gdb.target_charset())
    except (LookupError, UnicodeError):
        return False
    return character.isprintable()


def escaped(character):
    if character in ESCAPES:
        return ESCAPES[character]
    if can_be_shown(character):
        return character
    code = ord(character)
    return '\\u%04x' % code if code < 0x10000 else '\\U%08x' % code


def escape(text):
    return ''.join(map(escaped, text))


def decode_units(data):
    big = 'big endian' in gdb.execute('show endian', to_string=True)
    code = 'utf-16-be' if big else 'utf-16-le'
    try:
        return data.decode(code, 'surrogatepass')
    except UnicodeError:  # a pair that is cut in two
        return ''.join(data[i:i + 2].decode(code, 'surrogatepass') for i in range(0, len(data), 2))


def units_text(pointer, length):
    shown = min(length, limit())
    text = decode_units(read(int(pointer), shown * 2))
    return 'u"%s"%s' % (escape(text), '...' if shown < length else '')


def bytes_text(pointer, length):
    shown = min(length, limit())
    text = read(int(pointer), shown).decode('utf-8', 'surrogateescape')
    # What is no UTF-8 stands in for itself as one of these surrogates, which UTF-8 cannot hold.
    text = ''.join('\\x%02x' % (ord(c) - 0xDC00) if 0xDC80 <= ord(c) <= 0xDCFF else escaped(c)
                   for c in text)
    return '"%s"%s' % (text, '...' if shown < length else '')


def check_growable(length, capacity, most):
    if length > most:
        raise Broken('length %d is too large' % length)
    if length > capacity:
        raise Broken('length %d is above capacity %d' % (length, capacity))


def is_empty(string):
    return int(laid_out(string)['length']) == 0


def unistring_text(string):
    string = laid_out(string)
    length = int(string['length'])
    check_growable(length, int(string['capacity']), 0x3FFFFFFF)
    units = string['units']
    text = units_text(units, length)
    if read(int(units) + 2 * length, 2) != b'\0\0':
        text += ' <no zero unit behind it>'
    return text


def string_text(string):
    length = int(string['length'])
    check_growable(length, int(string['capacity']), 0x7FFFFFFF)
    text = bytes_text(string['text'], length)
    if read(int(string['text']) + length, 1) != b'\0':
        text += ' <no zero byte behind it>'
    return text


# The address tree.

class BareTable:
    """A GrowingTable of the library, where no debug information describes it."""

    def __init__(self, address, size, fields):
        self.address = address
        self.size = size
        self.fields = fields

    def record(self, index, what):
        if index >= number(self.address + 24, 4):
            raise Broken('%s %d is not in the tree' % (what, index))
        address = number(self.address + 8, 8) + index * self.size
        record = {name: number(address + offset, 4) for name, offset in self.fields.items()}
        record['units at'] = address
        return record


# How AddressTree.h, NodeTable.h and NameTable.h lie: where the names begin in the tree, the size of a
# node, that of a chunk of a name, and how much of the chunk are units.
NAMES_AT = 2976
NODE_SIZE = 20
CHUNK_SIZE = 64
UNITS_SIZE = 60


def number(address, size):
    return int.from_bytes(read(address, size), 'little')


class NoTree(Exception):
    """The debug information of the tree, or the tree itself, is not to be had."""


class AddressTree:
    """The tables of the one tree. They are read as they lie, without its lock."""

    def __init__(self):
        try:
            made = self.find_made()
            if int(made) == 0:
                raise NoTree()
            tree = made.dereference()
            self.nodes = tree['nodes']['records']
            self.chunks = tree['names']['chunks']
        except gdb.error:
            self.find_bare()

    def find_bare(self):
        try:
            place = gdb.parse_and_eval("(unsigned long) &'IO::AddressTree::made'")
            if gdb.lookup_type('char').pointer().sizeof != 8:
                raise NoTree()
            tree = number(int(place), 8)
        except gdb.error:
            raise NoTree()
        if tree == 0:
            raise NoTree()
        self.nodes = BareTable(tree, NODE_SIZE, {'parent': 0, 'name': 12})
        self.chunks = BareTable(tree + NAMES_AT, CHUNK_SIZE, {'next': UNITS_SIZE})

    @staticmethod
    def find_made():
        # Of a null pointer, since what is asked for is static; so the language does not matter.
        nobody = gdb.Value(0).cast(gdb.lookup_type('IO::AddressTree').pointer())
        return nobody.dereference()['made']

    @staticmethod
    def record(table, index, what):
        if isinstance(table, BareTable):
            return table.record(index, what)
        if index >= int(table['mark']):
            raise Broken('%s %d is not in the tree' % (what, index))
        return (table['block']['records'] + index).dereference()

    def node(self, index):
        record = self.record(self.nodes, index, 'node')
        if int(record['parent']) == FREED_NODE:
            raise Broken('node %d was given back' % index)
        return record

    def stored_text(self, name):
        """The units of a name, attachment included, and whether they are all of them."""
        data = b''
        seen = set()
        while name != NO_INDEX and len(data) < 2 * limit():
            if name in seen:
                raise Broken('the chunks of a name run in a circle')
            seen.add(name)
            chunk = self.record(self.chunks, name, 'name')
            if isinstance(chunk, dict):
                size, start = UNITS_SIZE, chunk['units at']
            else:
                size, start = chunk['units'].type.sizeof, int(chunk['units'].address)
            piece = read(start, size)
            end = next((i for i in range(0, size, 2) if piece[i:i + 2] == b'\0\0'), size)
            data += piece[:end]
            if end < size:
                return data, True
            name = int(chunk['next'])
        return data, name == NO_INDEX

    def name(self, index):
        data, whole = self.stored_text(index)
        text = decode_units(data)
        if text.startswith('::<') and '>' in text:
            text = text[text.index('>') + 1:]
        return escape(text) + ('' if whole else '...')

    def path(self, index):
        """The names from the root to the node, or the last of them."""
        names = []
        seen = set()
        node = self.node(index)
        while int(node['parent']) != NO_INDEX:
            if index in seen:
                raise Broken('the parents of node %d run in a circle' % index)
            if len(names) == MOST_NAMES:
                names.append('...')
                break
            seen.add(index)
            names.append(self.name(int(node['name'])))
            index = int(node['parent'])
            node = self.node(index)
        return names[::-1]


def address_text(address):
    return node_text(int(laid_out(address)['node']))


def node_text(node):
    if node == NO_INDEX:
        return '<invalid>'
    try:
        return '"%s"' % '/'.join(AddressTree().path(node))
    except NoTree:
        return '<node %d>' % node
    except FAILURES as failure:
        return reported(failure)


def status_text(status):
    """As ErrorCodes.h writes it."""
    status = int(status)
    bits = status & 0xFFFFFFFF
    return 'status ' + ('0x%08x' % bits if bits >> 24 == 0x81 else '%d' % status)


# What the printers are made of.

def safely(text, value):
    try:
        return text(value)
    except FAILURES as failure:
        return reported(failure)


def shown(child):
    """For an element: the value, or its text where gdb itself would call it incomplete."""
    child.fetch_lazy()  # so that it fails here, and not in gdb, which would drop all of the value
    if isinstance(laid_out(child), LaidOut):
        printer = PRINTERS.get(child.type.strip_typedefs().unqualified().tag)
        return printer(child).to_string() if printer else child
    return child


class Shown:
    """A value that is one text."""

    def __init__(self, value):
        self.value = laid_out(value)
        self.type = gdb.types.get_basic_type(value.type)

    def to_string(self):
        return safely(type(self).text, self)


class Container(Shown):
    """A value with elements. `check` raises what can be found before the first of them, which is
    then the text; what turns up on the way is the last child."""

    kind = 'array'

    def text(self):
        self.check()
        capacity = self.capacity()
        room = '' if capacity is None else ', capacity %d' % capacity
        return '%s of %d%s' % (self.type.tag.partition('<')[0], self.size(), room)

    def display_hint(self):
        return self.kind

    def children(self):
        try:
            self.check()
        except FAILURES:
            return  # the text says so
        try:
            for name, child in self.elements():
                yield name, shown(child)
        except FAILURES as failure:
            yield '[broken]', reported(failure)

    def capacity(self):
        return None

    def size(self):
        return int(self.value['size'])

    def check(self):
        size, capacity = self.size(), self.capacity()
        if capacity is not None and size > capacity:
            raise Broken('size %d is above capacity %d' % (size, capacity))


# Root.

class UniStringPrinter(Shown):
    def text(self):
        return unistring_text(self.value)


class StringPrinter(Shown):
    def text(self):
        return string_text(self.value)


class SubstringPrinter(Shown):
    def text(self):
        return units_text(self.value['units'], int(self.value['length']))


class UniCharPrinter(Shown):
    def text(self):
        unit = int(self.value['unit'])
        character = chr(unit)
        return "%d u'%s'" % (unit, "\\'" if character == "'" else
                             '"' if character == '"' else escape(character))


class GuidPrinter(Shown):
    def text(self):
        end = [int(self.value['data4'][i]) for i in range(8)]
        return '%08x-%04x-%04x-%s-%s' % (
            int(self.value['data1']), int(self.value['data2']), int(self.value['data3']),
            bytes(end[:2]).hex(), bytes(end[2:]).hex())


class FingerPrintPrinter(Shown):
    def text(self):
        return bytes(int(self.value['bytes'][i]) for i in range(16)).hex()


class ArrayPrinter(Container):
    def capacity(self):
        return int(self.value['capacity'])

    def check(self):
        super().check()
        if self.size() > 0:
            check_readable(self.value['data'], self.size() - 1, 'the last element')

    def elements(self):
        data = self.value['data']
        for i in range(self.size()):
            yield '[%d]' % i, element(data, i)


class PagedArrayPrinter(Container):
    def page_size(self):
        size = size_of(self.type.template_argument(0))
        count = 8
        while count * 2 * size <= 512:
            count *= 2
        return count

    def capacity(self):
        return int(self.value['pages']['size']) * self.page_size()

    def check(self):
        super().check()
        ArrayPrinter(self.value['pages']).check()

    def elements(self):
        pages = self.value['pages']['data']
        per_page = self.page_size()
        for i in range(self.size()):
            yield '[%d]' % i, element(pages[i // per_page], i % per_page)


class QueuePrinter(Container):
    def capacity(self):
        return int(self.value['capacity'])

    def check(self):
        super().check()
        capacity, first = self.capacity(), int(self.value['first'])
        if capacity & (capacity - 1) != 0:
            raise Broken('capacity %d is no power of two' % capacity)
        if capacity > 0 and first >= capacity:
            raise Broken('first %d is not below capacity %d' % (first, capacity))
        if capacity > 0:
            check_readable(self.value['data'], capacity - 1, 'the last place')

    def elements(self):
        data, first = self.value['data'], int(self.value['first'])
        for i in range(self.size()):
            place = (first + i) & (self.capacity() - 1)
            yield '[%d]' % i, element(data, place)


class HashPrinter(Container):
    """Entries in order of insertion. Each must point back to the one before it, so a list that runs
    in a circle ends where it closes."""

    def index(self):
        return laid_out(self.value['store']['index'])

    def size(self):
        return int(self.index()['size'])

    def check(self):
        if self.size() > 0 and int(self.index()['first']) == 0:
            raise Broken('%d entries, but none is the first' % self.size())

    def nodes(self):
        node, previous = self.index()['first'], 0
        for i in range(self.size()):
            if int(node) == 0:
                raise Broken('only %d of %d entries' % (i, self.size()))
            if int(node['previous']) != previous:
                raise Broken('entry %d does not point back to the one before it' % i)
            yield i, node
            node, previous = node['next'], int(node)
        if int(node) != 0:
            raise Broken('more entries than %d' % self.size())

    def entries(self):
        store = gdb.types.get_basic_type(self.value['store'].type)
        place = gdb.lookup_type(store.tag + '::Place').pointer()
        for i, node in self.nodes():
            yield i, node.cast(place)['entry']


class HashTablePrinter(HashPrinter):
    kind = 'map'

    def elements(self):
        for i, entry in self.entries():
            yield '[%d key]' % i, entry['key']
            yield '[%d value]' % i, entry['value']

    def children(self):
        """A failure turns up where a key would; gdb wants a value behind it."""
        for name, child in super().children():
            if name == '[broken]':
                yield '[broken key]', 'broken'
            yield name, child


class HashSetPrinter(HashPrinter):
    def elements(self):
        for i, entry in self.entries():
            yield '[%d]' % i, entry['key']


class PointerPrinter(Shown):
    """A counted reference. The object is a child by its pointer: objects may refer to each other in
    circles."""

    def text(self):
        name = self.type.tag.partition('<')[0]
        if int(self.value['pointer']) == 0:
            return name + ' to nothing'
        return '%s, count %d' % (name, self.count())

    def children(self):
        try:
            yield 'pointer', self.value['pointer']
        except FAILURES as failure:
            yield 'pointer', reported(failure)


class RefPrinter(PointerPrinter):
    def count(self):
        shared = self.value['counted']['shared']
        if int(shared) == 0:
            raise Broken('an object without a counter')
        return int(shared['counter']['value'])


class SharedPtrPrinter(PointerPrinter):
    def count(self):
        base = base_of(self.value['pointer'].dereference(), 'Mu::SharedObject')
        if base is None:
            raise Broken('no debug information of the object')
        return int(base['count'])


# Location.

class NamePrinter(Shown):
    def text(self):
        return unistring_text(self.value['text'])


class CStringPrinter(Shown):
    def text(self):
        if not self.value['valid']:
            return '<no memory for the text>'
        start = self.value['heap']
        if int(start) == 0:
            start = self.value['inside'][0].address
        data = b''
        while b'\0' not in data and len(data) < limit():
            data += read(int(start) + len(data), 1)
        end = data.find(b'\0')
        text = bytes_text(start, end if end >= 0 else len(data))
        return text if end >= 0 else text + '...'


class AddressPrinter(Shown):
    def text(self):
        return address_text(self.value)


class RelativeLocationPrinter(Shown):
    def text(self):
        status = self.value['status']
        text = address_text(self.value['address'])
        return text if int(status) == 0 else '%s, %s' % (text, status_text(status))


class LocationPrinter(Shown):
    def text(self):
        return ', '.join(self.parts())

    def parts(self):
        network = node_text(int(self.value['network']))
        if network != '""':
            yield 'machine %s' % network
            model = int(self.value['networkModel'])
            known = 0 <= model < len(NETWORK_MODELS)
            yield 'model %s' % (NETWORK_MODELS[model] if known else '<%d>' % model)
        yield 'path %s' % node_text(int(self.value['local']))
        yield from self.url_parts()
        if int(self.value['status']) != 0:
            yield status_text(self.value['status'])

    def url_parts(self):
        if int(self.value['extra']) != 0:
            yield from self.extra_parts(LaidOut('IO::Location::Extra', int(self.value['extra'])))
        if int(self.value['port']) != 0:
            yield 'port %d' % int(self.value['port'])

    @staticmethod
    def extra_parts(extra):
        for label, field in (('scheme', 'scheme'), ('user', 'userName')):
            text = safely(unistring_text, extra[field])
            if text != 'u""':
                yield '%s %s' % (label, text)
        # Not what it is: the output of a debugger is passed on.
        if safely(is_empty, extra['password']) is False:
            yield 'password set'


PRINTERS = {
    'Mu::UniString': UniStringPrinter,
    'Mu::String': StringPrinter,
    'Mu::ConstSubstring': SubstringPrinter,
    'Mu::Substring': SubstringPrinter,
    'Mu::UniChar': UniCharPrinter,
    'Mu::Guid': GuidPrinter,
    'MD5::FingerPrint': FingerPrintPrinter,
    'Mu::ArrayBase<>': ArrayPrinter,
    'Mu::Array<>': ArrayPrinter,
    'Mu::ArrayFB<>': ArrayPrinter,
    'Mu::PagedArray<>': PagedArrayPrinter,
    'Mu::Queue<>': QueuePrinter,
    'Mu::HashTable<>': HashTablePrinter,
    'Mu::HashSet<>': HashSetPrinter,
    'Mu::Ref<>': RefPrinter,
    'Mu::SharedPtr<>': SharedPtrPrinter,
    'IO::Name': NamePrinter,
    'IO::CString<>': CStringPrinter,
    'IO::Address': AddressPrinter,
    'IO::RelativeLocation': RelativeLocationPrinter,
    'IO::Location': LocationPrinter,
}


def template_of(tag):
    """`Mu::Array<>` for `Mu::Array<int>`; a class inside of a template is none."""
    name, bracket, _ = tag.partition('<')
    if not bracket:
        return tag
    depth = 0
    for i in range(len(name), len(tag)):
        depth += {'<': 1, '>': -1}.get(tag[i], 0)
        if depth == 0:
            return name + '<>' if i == len(tag) - 1 else tag
    return tag


class Kind:
    """One line of `info pretty-printer`."""

    def __init__(self, name, printer):
        self.name = name
        self.enabled = True
        self.printer = printer


class Collection(gdb.printing.PrettyPrinter):
    def __init__(self):
        super().__init__('kestrel', [Kind(name, PRINTERS[name]) for name in PRINTERS])
        self.kinds = {kind.name: kind for kind in self.subprinters}

    def __call__(self, value):
        tag = gdb.types.get_basic_type(value.type).tag
        kind = self.kinds.get(template_of(tag)) if tag else None
        return kind.printer(value) if kind and kind.enabled else None


gdb.printing.register_pretty_printer(gdb.current_objfile(), Collection(), replace=True)
