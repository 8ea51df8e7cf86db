#!/usr/bin/env python3
"""The console's help text and its manual page name the same commands and options."""
import re
import shlex
import subprocess
import sys

cli, manpage = sys.argv[1], sys.argv[2]


def help_names(text):
    commands, options = set(), set()
    section = None
    for line in text.splitlines():
        if line and not line.startswith(" "):
            section = line.rstrip(":")
            continue
        if section != "commands":
            continue
        if re.match(r"^  \S", line):
            # "  junk scan [options]   ..." -> "junk scan"; "  help | --help | -h" -> three
            head = re.split(r"\s{2,}", line.strip())[0]
            for alt in head.split(" | "):
                words = []
                for w in alt.split():
                    if w.startswith("[") or w.isupper() or w.endswith("..."):
                        break
                    words.append(w)
                if words:
                    commands.add(" ".join(words))
        elif re.match(r"^ {6}-", line):
            options.update(re.findall(r"(--[a-z][a-z-]*)", re.split(r"\s{2,}", line.strip())[0]))
    return commands, options


def bold_parts(macro, args):
    """The bold words of a .B/.BI/.BR/.RB line."""
    words = shlex.split(args) if macro != "B" else [args]
    if macro == "B":
        return words
    start = 0 if macro[0] == "B" else 1
    return words[start::2]


def man_names(source):
    text = source.replace("\\-", "-")
    text = re.sub(r"\\f[A-Z]", "", text)
    commands, options = set(), set()
    section = None
    lines = text.splitlines()
    for i, line in enumerate(lines):
        if line.startswith(".SH "):
            section = line[4:].strip()
        elif line == ".TP" and i + 1 < len(lines) and section in ("COMMANDS", "OPTIONS"):
            m = re.match(r"^\.(B|BI|BR)\s+(.*)$", lines[i + 1])
            if not m:
                continue
            for part in bold_parts(m.group(1), m.group(2)):
                part = part.strip().rstrip("=")
                if section == "COMMANDS":
                    commands.add(part)
                elif part.startswith("--"):
                    options.add(part)
    return commands, options


help_text = subprocess.run([cli, "help"], capture_output=True, text=True, check=True).stdout
with open(manpage, encoding="utf-8") as f:
    man = f.read()

h_cmds, h_opts = help_names(help_text)
m_cmds, m_opts = man_names(man)
problems = []
if not h_cmds or not h_opts:
    problems.append(f"no commands or options read from the help text: {h_cmds} {h_opts}")
for what, h, m in (("command", h_cmds, m_cmds), ("option", h_opts, m_opts)):
    for name in sorted(h - m):
        problems.append(f"{what} '{name}' is in the help text but not in the manual page")
    for name in sorted(m - h):
        problems.append(f"{what} '{name}' is in the manual page but not in the help text")
if problems:
    print("\n".join(problems))
    sys.exit(1)
print(f"commands: {sorted(h_cmds)}\noptions: {sorted(h_opts)}")
