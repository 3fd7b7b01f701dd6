#!/usr/bin/env python3
"""Measures the tool beside the programs of the system that have the same names, by turns.

Benchmarks/Tool/beside_coreutils.py TOOL [--files N] [--rounds N] [--folder FOLDER]

Makes a tree of N small files, a hundred in a folder, in a new folder below FOLDER, and prints for each
command the median ratio of the tool's time to theirs in the same round: by processor time, and by the
clock. Everything is in the system's cache, as both read the same files.
"""
import argparse
import os
import pathlib
import resource
import shutil
import statistics
import subprocess
import tempfile
import time

COMMANDS = [
    ('ls', ['ls', 'flat']),
    ('ls -l', ['ls', '-l', 'flat']),
    ('ls -R', ['ls', '-R', 'tree']),
    ('du', ['du', '-s', 'tree']),
    ('find', ['find', 'tree', '-name', '*7']),
    ('cp -r', ['cp', '-rp', 'tree', 'copy']),
    ('rm -r', ['rm', '-rf', 'copy']),
]


def make_tree(folder, files):
    for number in range(files):
        place = folder / 'tree' / f'd{number // 10000}' / f'e{number // 100 % 100}'
        if number % 100 == 0:
            place.mkdir(parents=True)
        (place / f'file-{number}').write_bytes(b'x' * (number % 3000))
    (folder / 'flat').mkdir()
    for number in range(files // 10):
        (folder / 'flat' / f'file-{number}').touch()


def run(program, command, folder):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.perf_counter()
    subprocess.run(program + command, cwd=folder, stdout=subprocess.DEVNULL, check=True,
                   env=dict(os.environ, LC_ALL='C.UTF-8'))
    clock = time.perf_counter() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, clock


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('tool', type=pathlib.Path)
    parser.add_argument('--files', type=int, default=100000)
    parser.add_argument('--rounds', type=int, default=5)
    parser.add_argument('--folder', default='.')
    arguments = parser.parse_args()
    programs = [[str(arguments.tool.resolve())], []]
    folder = pathlib.Path(tempfile.mkdtemp(prefix='tool-bench-', dir=arguments.folder))
    try:
        make_tree(folder, arguments.files)
        ratios = {name: [] for name, _ in COMMANDS}
        for number in range(arguments.rounds + 1):  # the first warms up
            # What one copies it deletes before the other's turn, and who begins takes turns.
            times = {}
            for program in (programs, programs[::-1])[number % 2]:
                for name, command in COMMANDS:
                    times.setdefault(name, {})[len(program)] = run(program, command, folder)
            for name, of in times.items():
                if number > 0:
                    ratios[name].append([ours / theirs for ours, theirs in zip(of[1], of[0])])
        print(f'{arguments.files} files, medians of {arguments.rounds} rounds, ours : theirs')
        for name, of in ratios.items():
            cpu, clock = (statistics.median(column) for column in zip(*of))
            print(f'{name:8} {cpu:5.2f} processor time {clock:5.2f} clock')
    finally:
        shutil.rmtree(folder)


if __name__ == '__main__':
    main()
