#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Regenerates the seed corpora under fuzz/corpus/ from the command transcripts.

usage: fuzz/seeds.py BUILD_DIR

BUILD_DIR is a fuzz build (scripts/fuzz.sh makes one): its brakk runs the
transcripts' file-mode commands to produce configurations, and its
print_seeds turns those into printer, property-tree and reply seeds. The
argument seeds are the option arguments that the transcripts type; the
daemon's seeds are the requests that such commands send, laid out as on
the channel. Seed files are named by a hash of their content, so running
this again only adds what is new. Crash inputs kept as regression seeds
(named crash-*) are left alone.
"""

import hashlib
import os
import re
import shlex
import struct
import subprocess
import sys
import tempfile
import warnings

# Transcripts hold regular expressions whose backslashes are not string escapes.
warnings.simplefilter("ignore", DeprecationWarning)

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
CORPUS = os.path.join(ROOT, "fuzz", "corpus")
TARGETS = ["args_fuzz", "print_fuzz", "config_fuzz", "kernel_fuzz", "server_fuzz", "reply_fuzz"]

# The rows of argTable in args_fuzz.cpp, in order.
ARG_ROWS = ["-v", "-V", "-m", "--setLACP", "--configLAG", "-b", "-N", "-o", "-F", "-k", "-K",
            "-z", "-j", "-H", "-L", "--vlanMTUChkParam", "-M", "-s", "-u", "-B", "--nopersist",
            "--vlan", "--batch"]
ROW_ALIASES = {"--qeltVLMChkParam": "--vlanMTUChkParam"}
MAX_CONFIGS_PER_FILE = 5
MAX_CONFIG_BYTES = 16384


def write_seed(target, data):
    name = hashlib.sha1(data).hexdigest()[:16]
    path = os.path.join(CORPUS, target, name)
    if not os.path.exists(path):
        with open(path, "wb") as f:
            f.write(data)


def literals():
    """Every C++ string literal of the transcripts, one file at a time."""
    cmd_dir = os.path.join(ROOT, "tests", "cmd")
    for name in sorted(os.listdir(cmd_dir)):
        if name.endswith("_test.cpp"):
            with open(os.path.join(cmd_dir, name), encoding="utf-8") as f:
                text = f.read()
            yield name, [bytes(m.group(1), "utf-8").decode("unicode_escape")
                         for m in re.finditer(r'"((?:[^"\\\n]|\\.)*)"', text)]


def argument_seeds():
    count = 0
    for _, lits in literals():
        for lit in lits:
            try:
                words = shlex.split(lit)
            except ValueError:
                continue
            for i, word in enumerate(words[:-1]):
                row = ROW_ALIASES.get(word, word)
                if row in ARG_ROWS:
                    arg = words[i + 1].encode()
                    # Switch 0 and port "5"; the overlay's global form on globalPropList too.
                    write_seed("args_fuzz", bytes([ARG_ROWS.index(row), 0]) + arg)
                    if row == "-o":
                        write_seed("args_fuzz", bytes([ARG_ROWS.index(row), 2 << 2]) + arg)
                    count += 1
    return count


def file_mode_commands():
    """The transcripts' file-mode commands, grouped by test file, in order."""
    for name, lits in literals():
        commands = []
        for lit in lits:
            if not lit.startswith("-f $F "):
                continue
            try:
                commands.append(shlex.split(lit[len("-f $F "):]))
            except ValueError:
                continue
        if commands:
            yield name, commands


def configurations(brakk, scratch):
    """Runs each test file's commands on a fresh file; keeps every new state it passes through."""
    seen = set()
    configs = []
    for name, commands in file_mode_commands():
        path = os.path.join(scratch, name + ".db")
        kept_here = 0
        for words in commands:
            if kept_here >= MAX_CONFIGS_PER_FILE:
                break
            subprocess.run([brakk, "-f", path] + words, stdin=subprocess.DEVNULL,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=20,
                           env=dict(os.environ, ZORCORE_SOCKET=os.path.join(scratch, "none")))
            if not os.path.exists(path):
                continue
            with open(path, "rb") as f:
                data = f.read()
            if data in seen or len(data) > MAX_CONFIG_BYTES:
                continue
            seen.add(data)
            kept = os.path.join(scratch, "config-%d" % len(configs))
            with open(kept, "wb") as f:
                f.write(data)
            configs.append((kept, data))
            kept_here += 1
    return configs


def text(s):
    b = s.encode()
    return struct.pack("<I", len(b)) + b


def block(b):
    return struct.pack("<I", len(b)) + b


SW = "64 76 73 30 00 00 00 00-00 00 00 00 00 00 00 00"


def requests(config):
    """Requests of a kernel-mode session, as (op, body): what brakk's commands send."""
    uuid = bytes([0x64, 0x76, 0x73, 0x30] + [0] * 12)
    return [
        (6, text(SW) + text("etherswitch") + struct.pack("<ii", 64, 5)),     # switch add
        (12, text(SW) + text("5") + block(b"")),                             # port add
        (12, text(SW) + text("uplink0") + block(b"")),
        (14, text(SW) + text("5") + text("com.corvane.etherswitch.port.vlan") +
         struct.pack("<i", 0x10) + block(struct.pack("<I", 100))),           # port data set
        (15, text(SW) + text("5") + text("com.corvane.etherswitch.port.vlan")),
        (17, text(SW) + text("") + text("com.corvane.common.uplinkPorts") +
         struct.pack("<i", 0x10) + block(b"uplink0".ljust(81, b"\0"))),      # global set
        (20, text(SW) + text("") + text("com.corvane.common.host.uplinkPorts") +
         struct.pack("<i", 0x10) + block(b"uplink0".ljust(48, b"\0"))),      # host set
        (23, text(SW) + text("uplink0") + struct.pack("<Ii", 1, 0x10) + block(struct.pack("<Q", 3))),
        (24, text(SW) + text("uplink0") + struct.pack("<I", 2)),             # uplink data get
        (25, text(SW) + text("echo") + block(b"x\0")),                       # cmd exec
        (29, struct.pack("<I", 3) + uuid + text("5") + block(b"")),          # event post
        (33, text(SW) + text("5") + struct.pack("<I", 1)),                   # ctl port state
        (34, text(SW) + text("uplink0") + struct.pack("<I", 2) + struct.pack("<II", 7, 9)),
        (7, text(SW)),                                                       # switch remove
        (2, b""),                                                            # state get
        (4, config),                                                         # state init
        (27, config),                                                        # store write
        (26, b""),                                                           # store read
        (3, b""),                                                            # persistent get
        (31, b""),                                                           # ctl info
        (35, struct.pack("<III", 14, 0xbad0001, 1)),                         # ctl fault
        (5, b""),                                                            # state cleanup
    ]


def daemon_seeds(config):
    reqs = requests(config)
    kernel = b""
    stream = b""
    for op, body in reqs:
        if op not in (28, 29, 31, 35):
            kernel += bytes([op]) + struct.pack("<H", len(body)) + body
        stream += struct.pack("<IHHII", 0x4e48435a, 1, op, 0, len(body)) + body
    write_seed("kernel_fuzz", kernel)
    write_seed("server_fuzz", b"\x00" + stream)
    write_seed("server_fuzz", b"\x01" + stream)
    for op, body in reqs:
        write_seed("kernel_fuzz", bytes([op]) + struct.pack("<H", len(body)) + body)


def reply_seeds():
    def framed(status, body):
        return b"\x00" + struct.pack("<IH", status, len(body)) + body
    write_seed("reply_fuzz", bytes([3, 0]) + framed(0, struct.pack("<I", 7)))
    write_seed("reply_fuzz", bytes([4, 1]) + framed(0, struct.pack("<26I", *range(26))))
    write_seed("reply_fuzz", bytes([5, 1]) + framed(0, struct.pack("<I", 1)))
    write_seed("reply_fuzz", bytes([6, 1]) + framed(0, struct.pack("<Q", 3)))
    write_seed("reply_fuzz", bytes([7, 0]) + framed(0, b"x\0"))
    event = struct.pack("<I", 3) + bytes(16) + text("5") + block(b"")
    write_seed("reply_fuzz", bytes([8, 0]) + framed(0, b"") + framed(0, event))
    write_seed("reply_fuzz", bytes([0, 0]) + b"\x01" + struct.pack("<IH", 0, 5) + b"ZCHN\x01")


# Batch files for the --batch row: one that succeeds, one that fails half way, quoting.
BATCH_SEEDS = [
    "-A -p 9 dvs0\n-s 'note=a b' -p 9 dvs0\n-v '100;t;1-5' -p 9 dvs0\n",
    "# provision\n-s a=1 -p 5 dvs0\n-s b=2 -p nope dvs0\n-l dvs0\n",
    "-s \"q=say \\\"hi\\\"\" -p 5 dvs0 # note\r\n-u q -p 5 dvs0\n--persist\n",
]


def batch_seeds():
    for text in BATCH_SEEDS:
        write_seed("args_fuzz", bytes([ARG_ROWS.index("--batch"), 0]) + text.encode())
    return len(BATCH_SEEDS)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    build = os.path.abspath(sys.argv[1])
    for t in TARGETS:
        os.makedirs(os.path.join(CORPUS, t), exist_ok=True)
    print("argument seeds:", argument_seeds())
    print("batch seeds:", batch_seeds())
    with tempfile.TemporaryDirectory() as scratch:
        configs = configurations(os.path.join(build, "apps", "net", "dvs", "brakk"), scratch)
        print("configurations:", len(configs))
        for path, data in configs:
            write_seed("config_fuzz", b"\x00" + data)
            write_seed("config_fuzz", b"\x02" + data)
        subprocess.run([os.path.join(build, "fuzz", "print_seeds"), CORPUS] +
                       [p for p, _ in configs], check=True)
        smallest = min((d for _, d in configs), key=len)
        daemon_seeds(smallest)
    reply_seeds()
    for t in TARGETS:
        print(t, len(os.listdir(os.path.join(CORPUS, t))), "seeds")


if __name__ == "__main__":
    main()
