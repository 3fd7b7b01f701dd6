#!/usr/bin/env python3
"""every_class.py HEADERS: writes a host that uses, of each public class, what only an unoptimised
program asks the library for: the table of virtual functions, and the address of each public constant."""
import pathlib
import re
import sys

include = pathlib.Path(sys.argv[1])
headers, uses = [], []
for path in sorted((include / "Kestrel").rglob("*.h")):
    if {"Internal", "Platform"} & set(path.parts) or path.name == "WindowsNames.h":
        continue
    headers.append(path.relative_to(include).as_posix())
    scopes = []  # of each open brace: (name, exported, public, whether a class with virtual functions)
    text = re.sub(r"//[^\n]*|^#(?:[^\n]*\\\n)*[^\n]*", "", path.read_text(), flags=re.M)
    text = re.sub(r'"(\\.|[^"\\])*"' + r"|'(\\.|[^'\\])'", '""', text)
    for statement, end in re.findall(r"([^{};]*)([{};])", text):
        words = statement.strip()
        access = re.findall(r"\b(public|protected|private)\s*:(?!:)", words)
        if scopes and access:
            scopes[-1]["public"] = access[-1] == "public"
        words = re.sub(r"\b(public|protected|private)\s*:(?!:)", "", words).strip()
        named = re.match(r"(namespace|class|struct)\s+(KESTREL_API\s+)?([\w:]+)?(.*)", words, re.S)
        owner = scopes[-1] if scopes else None
        visible = all(scope["public"] for scope in scopes)
        names = [scope["name"] for scope in scopes]
        if end == "{":
            kind = named.group(1) if named else ""
            scopes.append({
                "name": named.group(3) if named else None,
                "exported": bool(named and named.group(2)),
                "class": kind in ("class", "struct"),
                "public": kind != "class",
                "virtual": bool(named and ":" in named.group(4)),
            })
        is_exported = owner and owner["class"] and owner["exported"] and None not in names
        if is_exported and visible:
            constant = re.match(r"static constexpr [\w:\s]+?(\w+)\s*(=|$)", words)
            if constant and end in ";{":
                uses.append(f"    Take(&{'::'.join(names)}::{constant.group(1)});")
        if owner and owner["class"] and re.search(r"\b(virtual|override)\b", words):
            owner["virtual"] = True
        if end == "}":
            closed = scopes.pop()
            names = [scope["name"] for scope in scopes] + [closed["name"]]
            if closed["exported"] and closed["virtual"] and None not in names:
                if all(scope["public"] for scope in scopes):
                    uses.append(f"    End<{'::'.join(names)}>();")

for header in headers:
    print(f"#include <{header}>")
print("""
#include <cstdio>
#include <type_traits>

static int taken = 0;

template <typename T>
void Take(T const * constant) {
    taken += constant != nullptr && sizeof *constant != 0;
}

// What ends an object knows the class's table; and so does what begins one, if a host can.
template <typename T>
void End() {
    static T * volatile none = nullptr;
    if constexpr (std::is_destructible_v<T>)
        if (none != nullptr)
            none->T::~T();
    if constexpr (std::is_default_constructible_v<T>)
        if (none != nullptr)
            new T;
    ++taken;
}

int main() {""")
print("\n".join(uses))
print(f'    std::printf("%d uses\\n", taken);\n    return taken == {len(uses)} ? 0 : 1;\n}}')
