#!/usr/bin/env python3
"""--version, --help and -delstart of both programs, run with no display at all."""
import os
import subprocess
import sys
import tempfile

version, programs = sys.argv[1], sys.argv[2:]
problems = []


def check(cond, msg):
    if not cond:
        problems.append(msg)


def clean_env(root):
    env = {k: v for k, v in os.environ.items()
           if k not in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "WINEPREFIX")}
    env.update(HOME=os.path.join(root, "home"),
               XDG_CONFIG_HOME=os.path.join(root, "config"),
               XDG_STATE_HOME=os.path.join(root, "state"),
               XDG_DATA_HOME=os.path.join(root, "data"),
               XDG_RUNTIME_DIR=os.path.join(root, "run"))
    for d in ("home", "config/autostart", "state/velloran", "data", "run"):
        os.makedirs(os.path.join(root, d), mode=0o700, exist_ok=True)
    return env


def run(args, env):
    return subprocess.run(args, env=env, capture_output=True, text=True, timeout=60)


for program in programs:
    name = os.path.basename(program)
    with tempfile.TemporaryDirectory(prefix="velloran-entry-") as root:
        env = clean_env(root)

        r = run([program, "--version"], env)
        check(r.returncode == 0 and r.stdout == f"{name} {version}\n",
              f"{name} --version: {r.returncode} {r.stdout!r} {r.stderr!r}")

        # The autostart entry's command at a login whose display is not up yet.
        victim = os.path.join(root, "in use", "locked.dat")
        os.makedirs(os.path.dirname(victim))
        with open(victim, "w") as f:
            f.write("x")
        listing = os.path.join(root, "state/velloran/delstart.dat")
        with open(listing, "w") as f:
            f.write(victim + "\n")
        entry = os.path.join(root, "config/autostart/velloran-delstart.desktop")
        with open(entry, "w") as f:
            f.write(f"[Desktop Entry]\nType=Application\nExec={program} -delstart\n")
        r = run([program, "-delstart"], env)
        check(r.returncode == 0, f"{name} -delstart: status {r.returncode}: {r.stderr!r}")
        check(not os.path.exists(victim), f"{name} -delstart left the listed file")
        check(not os.path.exists(listing), f"{name} -delstart left its list")
        check(not os.path.exists(entry), f"{name} -delstart left the autostart entry")
        check(r.stdout == "", f"{name} -delstart printed {r.stdout!r}")

        if name == "velloran":
            # Started with no display at all it says so, instead of the toolkit aborting.
            r = run([program], env)
            check(r.returncode == 1 and "no display" in r.stderr,
                  f"velloran without a display: {r.returncode} {r.stderr!r}")

        if name == "velloran-cli":
            usage = run([program, "help"], env)
            check(usage.returncode == 0 and usage.stdout.startswith("usage: velloran-cli"),
                  f"help: {usage.returncode} {usage.stdout[:80]!r}")
            for flag in ("--help", "-h"):
                r = run([program, flag], env)
                check(r.returncode == 0 and r.stdout == usage.stdout,
                      f"{flag} differs from help: {r.returncode} {r.stdout[:80]!r}")
            r = run([program, "--versions"], env)
            check(r.returncode == 2 and r.stdout == "", f"--versions: status {r.returncode}")

if problems:
    print("\n".join(problems))
    sys.exit(1)
print("entry points fine for", ", ".join(os.path.basename(p) for p in programs))
