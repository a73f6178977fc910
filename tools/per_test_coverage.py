#!/usr/bin/env python3
"""What each test of the default suite reaches of the library, one test at a
time: for finding tests whose every line and branch outcome others reach too
(candidates to fold or delete, to be read before anything goes: reaching the
same code is not checking the same results).

  per_test_coverage.py collect [BUILD] [OUT]  run every default-suite test alone
                                      in the pertest build (tools/run pertest)
                                      and keep what each reached (OUT, default
                                      BUILD/per_test.json)
  per_test_coverage.py lost TEST...   what no remaining test reaches if these go
  per_test_coverage.py overlap TEST   the tests sharing most of what it reaches
  per_test_coverage.py redundant      a set of tests that can all go together
                                      without losing any line or branch outcome,
                                      largest first, by file
  per_test_coverage.py cut [LINES]    a greedy cut: tests removed one at a time,
                                      each time the one losing the least reach
                                      per line of its body, until LINES (default
                                      all) are gone; with what is lost so far

Tests are named as gtest names them (Suite.Name); the instances of a
parametrised test count as one.  Forked children write their counts through
child_exit(); a child killed by a signal writes none, so a test of a fatal
path may look as if it reached little.  exports.match_headers fails in this
build: the profile runtime adds exported names of its own.
"""
import collections
import concurrent.futures
import glob
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DEFAULT_BUILD = os.path.join(ROOT, 'build', 'pertest')


def run_one(build, objects, scratch, test):
    """Runs one ctest test with its own profile directory; returns the set of
    library lines ("file:line") and branch outcomes ("B file:line:n:k") it reached."""
    d = tempfile.mkdtemp(dir=scratch)
    env = dict(os.environ, LLVM_PROFILE_FILE=f'{d}/%p.profraw', CI='true')
    props = {p['name']: p['value'] for p in test.get('properties', [])}
    env.update(kv.split('=', 1) for kv in props.get('ENVIRONMENT', []))
    try:
        rc = subprocess.run(test['command'], cwd=props.get('WORKING_DIRECTORY', build), env=env,
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                            timeout=600).returncode
    except subprocess.TimeoutExpired:
        rc = 124
    reached = set()
    raws = glob.glob(f'{d}/*.profraw')
    # A process killed while writing leaves a profile that cannot be read:
    # it is passed over, the others still count.
    merged = raws and subprocess.run(
        ['llvm-profdata', 'merge', '-sparse', '-failure-mode=all', '-o', f'{d}/all.profdata'] +
        raws, stderr=subprocess.DEVNULL).returncode == 0
    if merged:
        own = [test['command'][0]] if test['command'][0].startswith(build) else []
        objs = own + objects
        args = ['llvm-cov', 'export', '-format=lcov', '-instr-profile', f'{d}/all.profdata', objs[0]]
        for o in objs[1:]:
            args += ['-object', o]
        reached = parse_lcov(subprocess.run(args, capture_output=True, text=True).stdout)
    shutil.rmtree(d, ignore_errors=True)
    return {'name': test['name'], 'rc': rc, 'reached': sorted(reached)}


def parse_lcov(text):
    reached, source = set(), None
    for line in text.splitlines():
        if line.startswith('SF:'):
            rel = os.path.relpath(line[3:], ROOT)
            source = rel if rel.startswith('libcairn/') else None
        elif source is None:
            continue
        elif line.startswith('DA:'):
            number, count = line[3:].split(',')[:2]
            if int(count) > 0:
                reached.add(f'{source}:{number}')
        elif line.startswith('BRDA:'):
            number, block, branch, taken = line[5:].split(',')
            if taken not in ('-', '0'):
                reached.add(f'B {source}:{number}:{block}:{branch}')
    return reached


def collect(build, out):
    listing = json.loads(subprocess.check_output(
        ['ctest', '--show-only=json-v1', '-LE', 'slow'], cwd=build))
    objects = [p for p in (os.path.join(build, 'libcairn', 'libcairn.so'),
                           os.path.join(build, 'tools', 'cairn', 'cairn'),
                           os.path.join(build, 'tests', 'tool_target')) if os.path.exists(p)]
    scratch = tempfile.mkdtemp(prefix='cairn-pertest-')
    with concurrent.futures.ThreadPoolExecutor(int(os.environ.get('JOBS', '2'))) as pool:
        results = list(pool.map(lambda t: run_one(build, objects, scratch, t), listing['tests']))
    shutil.rmtree(scratch, ignore_errors=True)
    with open(out, 'w') as f:
        json.dump(results, f)
    failed = [r['name'] for r in results if r['rc'] != 0]
    print(f'{len(results)} tests measured into {out}; failed: {failed or "none"}')


def test_key(name):
    parts = name.split(' ')[0].split('/')
    if len(parts) == 3:
        return parts[1]
    if len(parts) == 2:
        return parts[0] if '.' in parts[0] else parts[1]
    return parts[0]


def load(path):
    groups = collections.defaultdict(set)
    with open(path) as f:
        for r in json.load(f):
            groups[test_key(r['name'])].update(r['reached'])
    return groups


def test_sizes():
    """Counted lines (not blank, not comment) of each TEST body in tests/."""
    sizes = {}
    for path in glob.glob(os.path.join(ROOT, 'tests', '**', '*.cpp'), recursive=True):
        lines = open(path).read().split('\n')
        starts = [(i, m.group(2) + '.' + m.group(3)) for i, l in enumerate(lines)
                  for m in [re.match(r'\s*(TEST|TEST_F|TEST_P)\((\w+),\s*(\w+)\)', l)] if m]
        for k, (i, name) in enumerate(starts):
            end = starts[k + 1][0] if k + 1 < len(starts) else len(lines)
            body = [l for l in lines[i:end] if l.strip() and not l.strip().startswith('//')]
            sizes[name] = (os.path.relpath(path, ROOT), len(body))
    return sizes


def redundant(groups):
    counts = collections.Counter(x for reached in groups.values() for x in reached)
    sizes = test_sizes()
    gone = []
    for name in sorted((n for n in groups if n in sizes), key=lambda n: -sizes[n][1]):
        if all(counts[x] > 1 for x in groups[name]):
            gone.append(name)
            counts.subtract(groups[name])
    by_file = collections.defaultdict(list)
    for name in gone:
        by_file[sizes[name][0]].append(name)
    for path in sorted(by_file, key=lambda p: -sum(sizes[n][1] for n in by_file[p])):
        print(path)
        for name in by_file[path]:
            print(f'  {sizes[name][1]:4d} {name}')
    print(f'{len(gone)} tests, {sum(sizes[n][1] for n in gone)} lines')


def cut(groups, limit):
    sizes = test_sizes()
    alive = {k: v for k, v in groups.items() if k in sizes}
    counts = collections.Counter(x for v in alive.values() for x in v)
    totals = collections.Counter('branch' if x.startswith('B ') else 'line'
                                 for x in counts)
    lost = collections.Counter()
    removed = 0
    print('removed  body  lines lost  branch outcomes lost  test')
    while alive and removed < limit:
        def unique_per_line(name):
            return sum(counts[x] == 1 for x in alive[name]) / max(1, sizes[name][1])
        name = min(alive, key=unique_per_line)
        for x in alive.pop(name):
            counts[x] -= 1
            if counts[x] == 0:
                lost['branch' if x.startswith('B ') else 'line'] += 1
        removed += sizes[name][1]
        print(f"{removed:7d} {sizes[name][1]:5d} {lost['line']:6d} "
              f"({100 * lost['line'] / max(1, totals['line']):4.1f}%) {lost['branch']:6d} "
              f"({100 * lost['branch'] / max(1, totals['branch']):4.1f}%)  {name}")


def main(argv):
    if len(argv) < 2 or argv[1] not in ('collect', 'lost', 'overlap', 'redundant', 'cut'):
        sys.exit(__doc__)
    if argv[1] == 'collect':
        build = argv[2] if len(argv) > 2 else DEFAULT_BUILD
        collect(build, argv[3] if len(argv) > 3 else os.path.join(build, 'per_test.json'))
        return
    groups = load(os.environ.get('PER_TEST_JSON', os.path.join(DEFAULT_BUILD, 'per_test.json')))
    if argv[1] == 'cut':
        cut(groups, int(argv[2]) if len(argv) > 2 else 1 << 60)
        return
    names = argv[2:]
    unknown = [n for n in names if n not in groups]
    if unknown:
        sys.exit(f'unknown tests: {unknown}')
    if argv[1] == 'redundant':
        redundant(groups)
    elif argv[1] == 'lost':
        rest = set().union(*(v for k, v in groups.items() if k not in names))
        lost = sorted(set().union(*(groups[n] for n in names)) - rest)
        print(f'{len(lost)} lines and branch outcomes lost')
        for x in lost:
            print(' ', x)
    else:
        mine = groups[names[0]]
        shared = sorted(((len(mine & v), k) for k, v in groups.items() if k != names[0]),
                        reverse=True)
        for n, k in shared[:8]:
            print(f'{100 * n // max(1, len(mine)):3d}% {k}')


if __name__ == '__main__':
    main(sys.argv)
