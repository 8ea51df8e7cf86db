#!/usr/bin/env python3
"""Installs the build into a temporary prefix and checks every file a package ships."""
import gzip
import os
import struct
import subprocess
import sys
import tempfile

build, gui = sys.argv[1], sys.argv[2] == "1"

ICON_SIZES = (16, 22, 24, 32, 48, 64, 128, 256)
EXPECTED = {
    "bin/velloran-cli": "exec",
    "share/man/man1/velloran-cli.1.gz": "gzip",
    "share/velloran/junk-filters.txt": "text",
    "share/velloran/help/index.html": "text",
    "share/velloran/help/console.html": "text",
    "share/bash-completion/completions/velloran-cli": "text",
    "share/zsh/vendor-completions/_velloran-cli": "text",
    "share/doc/velloran/copyright": "text",
    "share/doc/velloran/changelog.gz": "gzip",
}
if gui:
    EXPECTED.update({
        "bin/velloran": "exec",
        "share/man/man1/velloran.1.gz": "gzip",
        "share/applications/velloran.desktop": "text",
        "share/metainfo/org.velloran.Velloran.metainfo.xml": "text",
        "share/bash-completion/completions/velloran": "text",
        "share/icons/hicolor/scalable/apps/velloran.svg": "text",
    })
    for n in ICON_SIZES:
        EXPECTED[f"share/icons/hicolor/{n}x{n}/apps/velloran.png"] = f"png{n}"

failures = []


def fail(msg):
    failures.append(msg)


def png_size(path):
    with open(path, "rb") as f:
        head = f.read(24)
    if head[:8] != b"\x89PNG\r\n\x1a\n":
        return None
    return struct.unpack(">II", head[16:24])


def check_file(root, rel, kind):
    path = os.path.join(root, rel)
    if not os.path.isfile(path):
        return fail(f"missing: {rel}")
    if os.path.getsize(path) == 0:
        return fail(f"empty: {rel}")
    executable = os.access(path, os.X_OK)
    if (kind == "exec") != executable:
        fail(f"{rel}: executable bit is {executable}")
    if kind == "gzip":
        with open(path, "rb") as f:
            if f.read(2) != b"\x1f\x8b":
                fail(f"{rel}: not gzip-compressed")
    if kind.startswith("png"):
        n = int(kind[3:])
        if png_size(path) != (n, n):
            fail(f"{rel}: PNG of size {png_size(path)}, want {n}x{n}")


def run(cmd, strict):
    """Fails on a non-zero status; `strict` also on any output but hints."""
    r = subprocess.run(cmd, capture_output=True, text=True)
    findings = [l for l in (r.stdout + r.stderr).splitlines() if l.strip() and ": hint:" not in l]
    if r.returncode != 0 or (strict and findings):
        fail(f"{' '.join(cmd)} -> {r.returncode}\n{r.stdout}{r.stderr}")


with tempfile.TemporaryDirectory(prefix="velloran-install-") as root:
    r = subprocess.run(["cmake", "--install", build, "--prefix", root],
                       capture_output=True, text=True)
    if r.returncode != 0:
        sys.exit(f"cmake --install failed:\n{r.stdout}{r.stderr}")
    for rel, kind in EXPECTED.items():
        check_file(root, rel, kind)

    # Nothing beyond the expected files, the help pages and their style sheet.
    for dirpath, _, files in os.walk(root):
        for name in files:
            rel = os.path.relpath(os.path.join(dirpath, name), root)
            if rel not in EXPECTED and not rel.startswith("share/velloran/help/"):
                fail(f"unexpected file installed: {rel}")

    for page in ("velloran-cli", "velloran") if gui else ("velloran-cli",):
        man = os.path.join(root, f"share/man/man1/{page}.1.gz")
        if os.path.isfile(man):
            with gzip.open(man, "rt", encoding="utf-8") as f:
                text = f.read()
            if "@" in text:
                fail(f"{page}.1: placeholder left: {text[text.index('@'):][:30]}")
            g = subprocess.run(["groff", "-man", "-ww", "-z"], input=text,
                               capture_output=True, text=True)
            if g.stderr.strip():
                fail(f"{page}.1: groff warnings:\n{g.stderr}")

    bash_completion = os.path.join(root, "share/bash-completion/completions/velloran-cli")
    if os.path.isfile(bash_completion):
        run(["bash", "-n", bash_completion], True)

    if gui:
        desktop = os.path.join(root, "share/applications/velloran.desktop")
        metainfo = os.path.join(root, "share/metainfo/org.velloran.Velloran.metainfo.xml")
        if os.path.isfile(desktop):
            run(["desktop-file-validate", desktop], True)
        if os.path.isfile(metainfo):
            run(["appstreamcli", "validate", "--no-net", metainfo], False)
            with open(metainfo, encoding="utf-8") as f:
                xml = f.read()
            if "@" in xml.replace("xml version", ""):
                fail("metainfo: placeholder left")
            if xml.count("<caption>") != xml.count("</screenshot>"):
                fail("metainfo: every screenshot needs its description")

if failures:
    print("\n".join(failures))
    sys.exit(1)
print(f"{len(EXPECTED)} files in place")
