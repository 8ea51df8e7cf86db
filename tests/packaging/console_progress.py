#!/usr/bin/env python3
"""A junk scan and deletion show progress on a terminal's standard error, and
standard output carries the same bytes whether standard error is a terminal or not."""
import os
import pty
import subprocess
import sys
import tempfile

cli = sys.argv[1]
problems = []


def run(args, env, stderr_tty):
    if not stderr_tty:
        r = subprocess.run(args, env=env, capture_output=True, timeout=60)
        return r.returncode, r.stdout, r.stderr
    master, slave = pty.openpty()
    p = subprocess.Popen(args, env=env, stdout=subprocess.PIPE, stderr=slave)
    os.close(slave)
    out = p.stdout.read()
    err = b""
    while True:
        try:
            chunk = os.read(master, 4096)
        except OSError:  # the terminal's other end closed
            break
        if not chunk:
            break
        err += chunk
    os.close(master)
    return p.wait(timeout=60), out, err


with tempfile.TemporaryDirectory(prefix="velloran-progress-") as root:
    env = {k: v for k, v in os.environ.items() if k not in ("WINEPREFIX", "DISPLAY")}
    for d in ("home", "config", "state", "data"):
        os.makedirs(os.path.join(root, d))
    env.update(HOME=os.path.join(root, "home"), XDG_CONFIG_HOME=os.path.join(root, "config"),
               XDG_STATE_HOME=os.path.join(root, "state"), XDG_DATA_HOME=os.path.join(root, "data"))

    def make_junk():
        drive = os.path.join(root, "drive")
        for i in range(5):
            os.makedirs(os.path.join(drive, f"d{i}"), exist_ok=True)
            with open(os.path.join(drive, f"d{i}", f"f{i}.tmp"), "w") as f:
                f.write("junk" * i)
        return drive

    drive = make_junk()
    scan = [cli, "junk", "scan", "--drive", drive, "--filter", "*.tmp;Temporary file;tmp"]
    code_plain, out_plain, err_plain = run(scan, env, False)
    code_tty, out_tty, err_tty = run(scan, env, True)
    if code_plain != 0 or code_tty != 0:
        problems.append(f"scan status {code_plain} / {code_tty}")
    # The search may meet the files in another order from run to run; the lines
    # themselves must be the same.
    if sorted(out_plain.splitlines()) != sorted(out_tty.splitlines()) or \
            out_plain.count(b".tmp\n") != 5:
        problems.append(f"scan output differs with a terminal:\n{out_plain!r}\n{out_tty!r}")
    if err_plain:
        problems.append(f"progress written to a non-terminal: {err_plain!r}")
    if b"Files Found:" not in err_tty or not err_tty.endswith(b"\r\x1b[K"):
        problems.append(f"no scan progress on the terminal, or not cleared: {err_tty!r}")

    delete = [cli, "junk", "delete", "--drive", drive, "--filter", "*.tmp;Temporary file;tmp"]
    outs = []
    for tty in (False, True):
        make_junk()
        code, out, err = run(delete, env, tty)
        outs.append(out)
        if code != 0 or out.count(b"deleted\t") != 5:
            problems.append(f"delete (terminal {tty}): status {code}, {out!r}")
        if tty and b"%] " not in err:
            problems.append(f"no deletion percentage on the terminal: {err!r}")
        if not tty and err:
            problems.append(f"progress written to a non-terminal: {err!r}")
    if sorted(outs[0].splitlines()) != sorted(outs[1].splitlines()):
        problems.append(f"deletion output differs with a terminal:\n{outs[0]!r}\n{outs[1]!r}")

if problems:
    print("\n".join(problems))
    sys.exit(1)
print("progress only on the terminal; standard output unchanged")
