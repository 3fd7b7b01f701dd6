"""Run by gdb: what it prints for the values of Printed.cpp, against what stands there.

compare.run(host, source, mode, printers): `mode` is 'gdb', or 'bare' for a library without debug
information. Answers 0 when all is as expected."""

import random
import re

import gdb

STOP = 'EverythingIsMade'
ROUNDS = 60  # of other content for each value that is told to bear any


def sections(source):
    """Of each function that stops: the lines for this script, as (number, kind, rest)."""
    lines = []
    for number, line in enumerate(open(source, encoding='utf-8'), 1):
        found = re.match(r'\s*// (gdb|bare|do|inside|any): (.*)$', line)
        if found:
            lines.append((number, found[1], found[2]))
        elif line.startswith('    %s();' % STOP):
            yield lines
            lines = []


def chosen(lines, bare):
    """Without debug information of the library, a `bare:` line takes the place of the `gdb:` one
    before it."""
    for position, (number, kind, rest) in enumerate(lines):
        following = lines[position + 1] if position + 1 < len(lines) else (0, '', '')
        has_bare = following[1] == 'bare'
        if kind == 'bare' and not bare or bare and (kind == 'inside' or kind == 'gdb' and has_bare):
            continue
        yield number, kind, rest


def printed(expression):
    try:
        text = gdb.execute('print ' + expression, to_string=True).strip()
    except gdb.error as failure:
        return 'gdb: %s' % failure
    return re.sub(r'^\$\d+ = (\([^@]*\) @0x[0-9a-f]+: )?', '', text)


def words(memory, dice, address):
    """Other content for a value: most of its words as they are, some of them something else."""
    choices = (0, 1, 2, 0xFF, 0xFFFFFFFF, 0x7FFFFFFF00000003, 0x0000000300000002, 1 << 63, address,
               address + 8, address - 64, dice.getrandbits(64))
    for at in range(0, len(memory), 8):
        old = int.from_bytes(memory[at:at + 8], 'little')
        chosen = dice.choice(choices) if dice.randrange(3) == 0 else old
        yield chosen.to_bytes(8, 'little')[:len(memory) - at]


def check_any(number, expression):
    """Whatever lies in its memory, the value is shown somehow: gdb neither fails nor hangs."""
    import __main__ as printers
    value = gdb.parse_and_eval(expression)
    address, inferior = int(value.address), gdb.selected_inferior()
    memory = bytes(inferior.read_memory(address, printers.size_of(value.type)))
    failures = 0
    for seed in range(ROUNDS):
        inferior.write_memory(address, b''.join(words(memory, random.Random(seed), address)))
        text = printed(expression)
        if not text or 'Python Exception' in text or text.startswith('gdb:'):
            print('line %d, seed %d: %s\n  printed:  %s' % (number, seed, expression, text))
            failures += 1
    inferior.write_memory(address, memory)
    return failures


def check(lines):
    failures = 0
    count = 0
    for number, kind, rest in lines:
        if kind == 'any':
            failures += sum(check_any(number, expression) for expression in rest.split())
            continue
        if kind in ('do', 'inside'):
            gdb.execute(rest, to_string=True)
            continue
        expression, _, wanted = rest.partition(' => ')
        text = printed(expression)
        count += 1
        if not re.fullmatch(wanted, text):
            failures += 1
            print('line %d: %s\n  printed:  %s\n  expected: %s' %
                  (number, expression, text, wanted))
    return count, failures


def start(host, printers):
    for command in ('set confirm off', 'set pagination off', 'set width 0', 'set auto-load off',
                    'set print elements 200', 'source ' + printers, 'file ' + host):
        gdb.execute(command, to_string=True)
    gdb.Breakpoint(STOP).silent = True
    gdb.execute('run', to_string=True)


def check_layouts():
    """What the printers believe of classes that are not described, against the description."""
    import __main__ as printers
    failures = 0
    for tag in printers.LAYOUTS:
        members, size, _ = printers.layout(tag)
        described = gdb.lookup_type(tag)
        for name, (offset, kind) in members.items():
            value = gdb.Value(0).cast(described.pointer()).dereference()
            if name != printers.VIRTUAL[0] and int(value[name].address) != offset:
                print('%s: the offset of %s is not %d' % (tag, name, offset))
                failures += 1
        if described.sizeof != size:
            print('%s: the size is not %d' % (tag, size))
            failures += 1
    return failures


def has_stopped():
    return gdb.selected_inferior().pid != 0 and gdb.newest_frame().name() == STOP


def run(host, source, mode, printers):
    start(host, printers)
    count, failures = 0, 0 if mode == 'bare' else check_layouts()
    for lines in sections(source):
        if not has_stopped():
            print('the host did not stop for line %d and those after it' % lines[0][0])
            return 1
        gdb.newest_frame().older().select()
        more = check(chosen(lines, mode == 'bare'))
        count, failures = count + more[0], failures + more[1]
        gdb.execute('continue', to_string=True)
    print('%d values, %d not as expected' % (count, failures))
    return 1 if failures or not count else 0
