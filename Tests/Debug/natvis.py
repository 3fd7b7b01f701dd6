#!/usr/bin/env python3
"""natvis.py FILE HEADERS: is the natvis file well-formed, and does what it names exist?

No debugger of this platform reads such files, so that is all that is checked: the classes are
declared; a name that an expression begins with is a data member of the class or of a base; one
behind "." or "->" is a data member of any class; what is named in full, as IO::AddressTree::made,
is a class or a data member of just that class. Types are not followed.
"""

import pathlib
import re
import sys
import xml.etree.ElementTree as xml

NAMESPACE = '{http://schemas.microsoft.com/vstudio/debugger/natvis/2010}'
EXPRESSIONS = ('Item', 'Size', 'ValuePointer', 'ValueNode', 'StringView', 'ExpandedItem', 'Exec',
               'SmartPointer')
ATTRIBUTES = ('Condition', 'InitialValue', 'Expression')
WORDS = ('char16_t', 'const', 'unsigned', 'int', 'char')

SCOPE = re.compile(r'\b(namespace|class|struct)\s+(?:KESTREL_API\s+|alignas\(.*\)\s+)?([\w:]+)'
                   r'[^:;()]*(?::\s*(.*))?$', re.S)
DATA_MEMBER = re.compile(r'^(?!using|typedef|friend|return)[\w:<>,*&\s]*?[\w>*&\s][\s*&](\w+)'
                         r'(?:\[[^\]]*\])*(?:\s*:\s*\d+)?(?:\s*=.*)?$', re.S)


class Headers:
    """The data members and the bases of each class, by its name in full."""

    def __init__(self, folder):
        self.members = {}
        self.bases = {}
        for path in sorted(pathlib.Path(folder).rglob('*.h')):
            self.take(self.without_comments(path.read_text()))
        self.all_members = set().union(*self.members.values())

    @staticmethod
    def without_comments(text):
        text = re.sub(r'//[^\n]*|/\*.*?\*/', '', text, flags=re.S)
        text = re.sub(r'^[ \t]*#(?:[^\n]*\\\n)*[^\n]*', '', text, flags=re.M)
        return re.sub(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\]|\\.)\'', '0', text)

    def take(self, text):
        scopes = []  # the name of each open brace; None for a body or an initialiser
        for statement, mark in re.findall(r'([^;{}]*)([;{}])', text):
            statement = re.sub(r'^\s*(?:(?:public|protected|private)\s*:|\s)*', '', statement)
            if mark == '{':
                scopes.append(self.open(scopes, statement))
            elif mark == '}' and scopes:
                scopes.pop()
            elif mark == ';':
                self.add(scopes, statement)

    def open(self, scopes, statement):
        found = SCOPE.search(statement)
        if not found:
            self.add(scopes, statement)  # a member with an initialiser in braces
            return None
        if None in scopes:
            return None
        if found[1] != 'namespace':
            name = '::'.join([*scopes, found[2]])
            self.members.setdefault(name, set())
            self.bases.setdefault(name, set()).update(
                base.rpartition('::')[2] for base in re.findall(r'[\w:]+', found[3] or ''))
        return found[2]

    def add(self, scopes, statement):
        owner = '::'.join(scopes) if scopes and None not in scopes else None
        found = DATA_MEMBER.match(statement.strip())
        if owner in self.members and found and '(' not in statement.partition('=')[0]:
            self.members[owner].add(found[1])

    def members_of(self, name):
        bases = {full for full in self.members
                 if full.rpartition('::')[2] in self.bases[name] and full != name}
        return self.members[name].union(*(self.members_of(base) for base in bases))

    def has(self, name):
        """A class, or a data member of one."""
        owner, _, member = name.rpartition('::')
        return name in self.members or member in self.members.get(owner, ())


def expressions(element):
    for part in element.iter():
        kind = part.tag.replace(NAMESPACE, '')
        yield from (part.attrib[name] for name in ATTRIBUTES if name in part.attrib)
        texts = [part.attrib.get('Name', '')] if kind == 'Item' else []
        if kind == 'DisplayString':
            texts.append(part.text or '')
        elif kind in EXPRESSIONS:
            yield part.text or ''
        for text in texts:
            yield from re.findall(r'\{([^{}]+)\}', re.sub(r'\{\{|\}\}', '', text))


def missing_in(text, near, headers, own_names):
    text = re.sub(r',(\[[^\]]*\])?[A-Za-z]\w*$', lambda format: ' ' + (format[1] or ''), text)
    text = re.sub(r'\$\w+|0x[0-9A-Fa-f]+u?', ' ', text)
    # From the inside out: arguments of templates stand inside of names, as in Store<...>::Place.
    named = set()
    short = None
    while short != text:
        short = text
        named.update(re.findall(r'\w+(?:::\w+)+\b(?!\s*(?:<|::))', text))
        text = re.sub(r'(?<=\w)<[\s,\w:]*>', '', text)
    for name in sorted(named):
        if not headers.has(name):
            yield name
    plain = re.sub(r'\w+(::\w+)+', '', short)
    for before, name in re.findall(r'(->|\.|)\s*\b([A-Za-z_]\w*)', plain):
        if name not in WORDS and name not in own_names:
            if name not in (headers.all_members if before else near):
                yield before + name


def check_type(element, headers):
    names = [part.attrib['Name'].partition('<')[0]
             for part in (element, *element.iter(NAMESPACE + 'AlternativeType'))]
    unknown = [name for name in names if name not in headers.members]
    if unknown:
        yield from unknown
        return
    near = set().union(*map(headers.members_of, names))
    own_names = {part.attrib['Name'] for kind in ('Variable', 'Intrinsic', 'Parameter')
                 for part in element.iter(NAMESPACE + kind)}
    for text in expressions(element):
        for name in missing_in(text, near, headers, own_names):
            yield '%s, in %s' % (name, text)


def main(file, folder):
    try:
        root = xml.parse(file).getroot()
    except xml.ParseError as failure:
        print('%s: %s' % (file, failure))
        return 1
    headers = Headers(folder)
    types = list(root.iter(NAMESPACE + 'Type'))
    failures = [(element.attrib['Name'], what)
                for element in types for what in check_type(element, headers)]
    for name, what in failures:
        print('natvis, %s: not in the headers: %s' % (name, what))
    return 1 if failures or not types else 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1], sys.argv[2]))
