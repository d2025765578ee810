#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Plants a fault in every printer and command handler, one at a time, and
checks that the test suite catches it.

The fault is an early return at the top of the function (a printer prints
nothing, a handler does nothing and reports success). Names are taken from
the printer rows that the families declare (PropPrinterRow arrays) and the
command table (brakk.cpp).
Works on a copy of the tree made from HEAD, so the working tree is never
touched. Prints one line per function and exits 1 if any fault survives.

  scripts/mutants.py [NAME...]     (default: every printer and handler)

Environment: DIR=/tmp/brakkmutants (scratch, wiped), SKIP_TESTS (gtest
negative filter for slow tests that cover nothing the others do not).
"""
import glob, os, re, shutil, subprocess, sys

root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
scratch = os.environ.get('DIR', '/tmp/brakkmutants')
if not scratch.startswith('/tmp/') or scratch == '/tmp/':
    sys.exit('DIR must be under /tmp')
src, build = scratch + '/src', scratch + '/build'
shutil.rmtree(scratch, ignore_errors=True)
os.makedirs(src)
archive = subprocess.run(['git', '-C', root, 'archive', 'HEAD'], capture_output=True, check=True)
subprocess.run(['tar', '-x', '-C', src], input=archive.stdout, check=True)
subprocess.run(['cmake', '-S', src, '-B', build, '-G', 'Ninja', '-DCMAKE_BUILD_TYPE=Release',
                '-DBRAKK_BENCH=OFF'], capture_output=True, check=True)
targets = ['brakk', 'zorcored', 'unit_tests', 'cmd_tests']
subprocess.run(['ninja', '-C', build] + targets, capture_output=True, check=True)

files = glob.glob(src + '/apps/net/dvs/**/*.cpp', recursive=True)
names = sys.argv[1:]
if not names:
    printers = {'Prop_PrintHexDump'}  # the default row
    for path in files:
        for rows in re.findall(r'PropPrinterRow \w+\[\] = \{(.*?)\n\};', open(path).read(), re.S):
            printers |= set(re.findall(r'\b(Prop_Print\w+)\b', rows))
    names = sorted(printers)
    commands = open(src + '/apps/net/dvs/brakk.cpp').read()
    rows = commands[commands.index('commandTable[]'):]
    names += sorted(set(re.findall(r'\b((?:Cmd|Run)_\w+)\}', rows)))

skip = os.environ.get('SKIP_TESTS', '')
survivors = 0
for name in names:
    pattern = re.compile(r'^(\S[^\n;]*\b' + re.escape(name) + r'\([^;{]*\)\s*\{)', re.M)
    found = None
    for path in files:
        text = open(path).read()
        m = pattern.search(text)
        if m:
            found = (path, text, m)
            break
    if not found:
        print(f'{name}: definition not found', flush=True)
        survivors += 1
        continue
    path, text, m = found
    head = m.group(1)
    ret = 'return;' if head.startswith('void') else 'return 0;' if head.startswith('int') \
        else 'return ZOR_OK;'
    open(path, 'w').write(text[:m.end()] + ' ' + ret + text[m.end():])
    try:
        built = subprocess.run(['ninja', '-C', build] + targets, capture_output=True)
        if built.returncode != 0:
            print(f'{name}: the planted fault does not build', flush=True)
            survivors += 1
            continue
        caught = False
        for suite in ['unit_tests', 'cmd_tests']:
            args = [f'{build}/tests/{suite}', '--gtest_brief=1']
            if skip:
                args.append('--gtest_filter=-' + skip)
            run = subprocess.run(args, capture_output=True, timeout=900)
            if run.returncode != 0:
                caught = True
                break
        print(f'{name}: {"caught" if caught else "SURVIVED"}', flush=True)
        survivors += not caught
    finally:
        open(path, 'w').write(text)
print(f'{len(names)} faults planted, {survivors} not caught')
sys.exit(1 if survivors else 0)
