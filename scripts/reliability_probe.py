#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Probes brakk and zorcored as a hostile user and a careful administrator
would, and prints one line of figures per probe (docs/reliability.md quotes
them). Everything runs in a scratch directory that is removed at the end;
the daemon it starts is its own (private socket and state; started as in
production, without --testing, so random frames cannot stop it on purpose).

  scripts/reliability_probe.py BUILD_DIR [--scale X] [--daemon-only]

BUILD_DIR holds apps/net/dvs/brakk and zorcored/zorcored. --scale
multiplies the size of every probe (default 1: 20,000 mutated files,
300,000 hostile frames, 200 killed saves, 6 x 25 concurrent edits). Exits 1 when any probe finds a
crash, a hang, a lost update or a leftover file.
"""
import os, random, shutil, signal, socket, struct, subprocess, sys, tempfile, time

if len(sys.argv) < 2:
    sys.exit(__doc__)
build = os.path.abspath(sys.argv[1])
scale = float(sys.argv[sys.argv.index('--scale') + 1]) if '--scale' in sys.argv else 1.0
BRAKK = build + '/apps/net/dvs/brakk'
ZORCORED = build + '/zorcored/zorcored'
work = tempfile.mkdtemp(prefix='brakk-probe.')
sock = work + '/zc.sock'
env = dict(os.environ, ZORCORE_SOCKET=sock, ZORCORE_TIMEOUT_MS='5000')
nosock = dict(os.environ, ZORCORE_SOCKET=work + '/none.sock')
problems = []
rng = random.Random(2026)


def brakk(*args, environ=nosock, timeout=60):
    return subprocess.run([BRAKK] + list(args), cwd=work, env=environ, capture_output=True,
                          timeout=timeout)


def report(name, text):
    print(f'{name:22} {text}', flush=True)


def entries(exclude=()):
    return sorted(n for n in os.listdir(work) if n not in exclude)


def peak_kb(pid):
    with open(f'/proc/{pid}/status') as f:
        for line in f:
            if line.startswith('VmHWM:'):
                return int(line.split()[1])
    return -1


def crc32c(data):
    """The checksum of configuration blocks (CRC-32C)."""
    if not hasattr(crc32c, 'table'):
        crc32c.table = []
        for i in range(256):
            c = i
            for _ in range(8):
                c = (c >> 1) ^ 0x82F63B78 if c & 1 else c >> 1
            crc32c.table.append(c)
    c = 0xffffffff
    for b in data:
        c = (c >> 8) ^ crc32c.table[(c ^ b) & 0xff]
    return c ^ 0xffffffff


def mutate(b):
    for _ in range(rng.randint(1, 4)):
        kind = rng.randrange(4)
        at = rng.randrange(len(b))
        if kind == 0:
            b[at] ^= 1 << rng.randrange(8)
        elif kind == 1:
            b[at] = rng.randrange(256)
        elif kind == 2:
            del b[at:at + rng.randint(1, 16)]
        else:
            b[at:at] = bytes(rng.randrange(256) for _ in range(rng.randint(1, 16)))


def frame(op, body, magic=0x4e48435a, version=1, length=None):
    n = len(body) if length is None else length
    return struct.pack('<IHHII', magic, version, op, 0, n) + body


def connect():
    s = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    s.connect(sock)
    s.settimeout(5)
    s.recv(16)  # the greeting
    return s


def start_daemon(*extra):
    d = subprocess.Popen([ZORCORED, '--socket', sock, '--state-dir', work + '/state'] + list(extra), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    for _ in range(500):
        if os.path.exists(sock):
            return d
        time.sleep(0.01)
    raise SystemExit('zorcored did not start')


def stop_daemon(d):
    d.send_signal(signal.SIGTERM)
    d.wait(20)


def wait_for(pred, seconds=10):
    end = time.time() + seconds
    while not pred():
        if time.time() > end:
            raise SystemExit('timed out waiting')
        time.sleep(0.05)


def info(name):
    out = subprocess.run([ZORCORED, 'ctl', '--socket', sock, 'info'], capture_output=True,
                         text=True).stdout
    for line in out.splitlines():
        if line.startswith(name + ': '):
            return int(line.split()[1])
    return -1


def probe_mutated_files():
    brakk('-f', 'm.db', '-i')
    brakk('-f', 'm.db', '-a', '-C', '-P', '8', 'dvs0')
    brakk('-f', 'm.db', '-s', 'k=v', '-p', '3', 'dvs0')
    good = open(work + '/m.db', 'rb').read()
    counts = {'listed': 0, 'refused': 0}
    n = int(20000 * scale)
    start = time.time()
    for i in range(n):
        if i % 2:
            # Every other file has its length and checksum made to match the
            # damaged body, so that the decoder itself meets the damage.
            body = bytearray(good[16:])
            mutate(body)
            b = good[:8] + struct.pack('<II', len(body), crc32c(body)) + body
        else:
            b = bytearray(good)
            mutate(b)
        open(work + '/m.db', 'wb').write(b)
        r = brakk('-f', 'm.db', '-l')
        if r.returncode < 0 or r.returncode not in (0, 1):
            problems.append(f'mutated file {i}: exit {r.returncode}')
        counts['listed' if r.returncode == 0 else 'refused'] += 1
    report('mutated files', f'{n} files (half resealed): {counts["refused"]} refused, {counts["listed"]} listed, '
           f'{n - sum(counts.values())} crashes; {time.time() - start:.0f} s')
    os.remove(work + '/m.db')


def probe_hostile_frames(d):
    n = int(300000 * scale)
    sent = dropped = 0
    s = connect()
    for i in range(n):
        kind = rng.randrange(5)
        op = rng.randrange(1, 40)
        body = bytes(rng.randrange(256) for _ in range(rng.randrange(0, 48)))
        if kind == 0:
            data = frame(op, body, magic=rng.getrandbits(32))
        elif kind == 1:
            data = frame(op, body, length=rng.getrandbits(32))
        elif kind == 2:
            data = frame(op, body)[:rng.randrange(1, 16 + len(body))]
        elif kind == 3:
            data = frame(op | 0x8000 if rng.random() < 0.2 else op, body)
        else:
            data = bytes(rng.randrange(256) for _ in range(rng.randrange(1, 64)))
        try:
            s.sendall(data)
            sent += 1
            if kind in (2, 4) or rng.random() < 0.05:
                s.close()
                s = connect()
        except OSError:
            dropped += 1
            s.close()
            s = connect()
    s.close()
    alive = d.poll() is None and brakk('-l', environ=env).returncode == 0
    if not alive:
        problems.append('hostile frames: the daemon stopped serving')
    report('hostile frames', f'{n} frames ({dropped} senders dropped mid-send); daemon '
           f'{"serving" if alive else "DOWN"}, peak {peak_kb(d.pid) // 1024} MiB')


def probe_killed_saves():
    brakk('-f', 'k.db', '-i')
    brakk('-f', 'k.db', '-a', '-C', '-P', '1500', 'dvs0')
    t0 = time.time()
    brakk('-f', 'k.db', '-s', 'round=start', '-p', '7', 'dvs0')
    edit = time.time() - t0
    n, killed, bad = int(200 * scale), 0, 0
    for i in range(n):
        p = subprocess.Popen([BRAKK, '-f', 'k.db', '-s', f'round={i}', '-p', '7', 'dvs0'], cwd=work,
                             env=nosock, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        time.sleep(rng.uniform(0, edit))
        p.kill()
        killed += p.wait() == -signal.SIGKILL
        if b'\tport 1499:\n' not in brakk('-f', 'k.db', '-l', 'dvs0').stdout:
            bad += 1
    leftovers = [e for e in entries() if e.startswith('k.db.')]
    brakk('-f', 'k.db', '-s', 'round=end', '-p', '7', 'dvs0')
    after = [e for e in entries() if e.startswith('k.db.')]
    if bad or after:
        problems.append(f'killed saves: {bad} unreadable, leftovers {after}')
    report('kills during saves', f'{n} edits of a 1500-port file, {killed} killed mid-edit: '
           f'{bad} unreadable; {len(leftovers)} temporary file(s) between kills, '
           f'{len(after)} after the next save')
    os.remove(work + '/k.db')


def probe_concurrent_editors():
    writers, edits = 6, max(1, int(25 * scale))
    brakk('-f', 'c.db', '-i')
    brakk('-f', 'c.db', '-a', 'dvs0')
    for w in range(writers):
        brakk('-f', 'c.db', '-A', '-p', f'w{w}', 'dvs0')
    script = ' '.join(f'(for e in $(seq 0 {edits - 1}); do "{BRAKK}" -f c.db -s k$e=v{w}_$e '
                      f'-p w{w} dvs0 || echo FAIL; done) &' for w in range(writers))
    t0 = time.time()
    out = subprocess.run(['sh', '-c', script + ' wait'], cwd=work, env=nosock,
                         capture_output=True, text=True).stdout
    took = time.time() - t0
    listing = brakk('-f', 'c.db', '-l').stdout.decode()
    lost = sum(f'\t\tk{e} = v{w}_{e} ,' not in listing for w in range(writers) for e in range(edits))
    failed = out.count('FAIL')
    left = [e for e in entries() if e.startswith('c.db.')]
    if lost or failed or left:
        problems.append(f'concurrent editors: {lost} lost, {failed} failed, left {left}')
    report('concurrent editors', f'{writers} x {edits} edits in {took:.1f} s: {lost} lost, '
           f'{failed} failed, {len(left)} files left beside it')
    os.remove(work + '/c.db')


def probe_files_misc():
    os.mkfifo(work + '/fifo.db')
    t0 = time.time()
    r = brakk('-f', 'fifo.db', '-l', timeout=30)
    fifo = time.time() - t0
    with open(work + '/sparse.db', 'wb') as f:
        f.write(b'#!/bin/sh\n')
        f.truncate(4 << 30)
    t0 = time.time()
    s = brakk('-f', 'sparse.db', '-l', timeout=60)
    sparse = time.time() - t0
    report('hostile paths', f'FIFO refused in {fifo * 1000:.0f} ms ({r.stderr.decode().strip()}); '
           f'4 GiB sparse file in {sparse * 1000:.0f} ms ({s.stderr.decode().strip()})')
    os.remove(work + '/fifo.db')
    os.remove(work + '/sparse.db')


def probe_daemon_limits(d):
    crowd = [connect() for _ in range(1000)]
    ok = brakk('-l', environ=env).returncode == 0
    report('idle crowd', f'1000 idle connections: brakk -l {"succeeds" if ok else "FAILS"}')
    if not ok:
        problems.append('idle crowd locks brakk out')
    for c in crowd:
        c.close()
    clients = [connect() for _ in range(4)]
    before = peak_kb(d.pid)
    chunk = b'x' * (1 << 20)
    for c in clients:
        try:
            c.sendall(frame(4, b'', length=200 << 20))
            for _ in range(199):
                c.sendall(chunk)
        except OSError:
            pass
    alive = brakk('-l', environ=env).returncode == 0
    for c in clients:
        c.close()
    report('memory budget', f'4 clients announcing 200 MiB frames: daemon peak '
           f'{peak_kb(d.pid) // 1024} MiB (was {before // 1024} MiB), '
           f'{"still serving" if alive else "DOWN"}')


def probe_listener_outage(d):
    out = open(work + '/listener.out', 'wb')
    g = subprocess.Popen([BRAKK, '-g'], cwd=work, env=env, stdout=out, stderr=out)
    wait_for(lambda: info('listeners') == 1)
    down = time.time()
    stop_daemon(d)
    time.sleep(3)
    d = start_daemon()
    wait_for(lambda: info('listeners') == 1)
    outage = time.time() - down
    subprocess.run([ZORCORED, 'ctl', '--socket', sock, 'post-event', '12', 'dvs0', '7', 'str:back'])
    time.sleep(0.5)
    g.kill()
    g.wait()
    out.close()
    text = open(work + '/listener.out', 'rb').read()
    back = b'back' in text
    report('listener outage', f'daemon away {outage:.1f} s (until the listener was back): '
           f'{len(text)} bytes of output, {text.count(b"failed with")} failure lines; '
           f'events again after the restart: '
           f'{"yes" if back else "NO"}')
    if not back:
        problems.append('listener did not come back')
    return d


try:
    if '--daemon-only' not in sys.argv:
        probe_files_misc()
        probe_concurrent_editors()
        probe_killed_saves()
        probe_mutated_files()
    daemon = start_daemon()
    brakk('-a', 'dvs0', environ=env)
    probe_hostile_frames(daemon)
    probe_daemon_limits(daemon)
    daemon = probe_listener_outage(daemon)
    stop_daemon(daemon)
finally:
    shutil.rmtree(work, ignore_errors=True)
for p in problems:
    print('PROBLEM:', p)
sys.exit(1 if problems else 0)
