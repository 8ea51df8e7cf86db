#!/usr/bin/env python3
"""Writes a large Wine user.reg for the registry benchmarks, in wineserver's form.

  make-user-reg.py OUT [--shape keys|values] [--mb 52]

keys:   the shape of a prefix with much software installed: about 171,000 keys
        of one to four short values each (classes, interfaces, per-program
        settings), 52 MB.
values: the older benchmark's shape: fewer keys of 16 values each.

Both carry the most-recently-used lists the Windows and Programs tasks clear,
200 entries each, so a clean has work to do. The keys come out in Wine's order
(sorted without regard to case), as wineserver writes them.
"""
import argparse
import random

LISTS = [
    r"Software\Microsoft\Windows\CurrentVersion\Explorer\StreamMRU",
    r"Software\Microsoft\Windows\CurrentVersion\Explorer\RunMRU",
    r"Software\Microsoft\Windows\CurrentVersion\Explorer\DesktopStreamMRU",
    r"Software\Microsoft\Windows\CurrentVersion\Explorer\PrnPortsMRU",
    r"Software\Microsoft\Windows\CurrentVersion\Explorer\FindComputerMRU",
    r"Software\Microsoft\Windows\CurrentVersion\Explorer\Doc Find Spec MRU",
    r"Software\Microsoft\Windows\CurrentVersion\Explorer\ComDlg32\LastVisitedMRU",
    r"Software\Microsoft\Windows\CurrentVersion\Explorer\ComDlg32\OpenSaveMRU",
    r"Software\Microsoft\Windows\CurrentVersion\Explorer\ComDlg32\OpenSaveMRU\txt",
    r"Software\Microsoft\Windows\CurrentVersion\Explorer\UserAssist"
    r"\{5E6AB780-7743-11CF-A12B-00AA004AE837}\Count",
    r"Software\Microsoft\Search Assistant\ACMru",
    r"Software\Microsoft\Internet Explorer\Explorer Bars"
    r"\{C4EE31F3-4768-11D2-BE5C-00A0C9A83DA1}\FilesNamedMRU",
    r"Software\Nico Mak Computing\WinZip\extract",
    r"Software\Nico Mak Computing\WinZip\filemenu",
    r"Software\Microsoft\Microsoft Management Console\Recent File List",
    r"Software\Microsoft\MediaPlayer\Player\RecentFileList",
    r"Software\Microsoft\Conferencing\UI\CallMRU",
    r"Software\Microsoft\FrontPage\Explorer\FrontPage Explorer\Recent File List",
    r"Software\Microsoft\Office\9.0\Excel\Recent Files",
    r"Software\Microsoft\Office\10.0\PowerPoint\Recent File List",
]


def esc(s):
    return s.replace("\\", "\\\\").replace('"', '\\"')


def guid(rng):
    h = "%032X" % rng.getrandbits(128)
    return "{%s-%s-%s-%s-%s}" % (h[:8], h[8:12], h[12:16], h[16:20], h[20:])


def key_heavy(rng, target, pad):
    """(key, [(name, rendered value)]) in no particular order, ~`target` keys;
    each key's text grows by about `pad` bytes of a description."""
    size = 0
    n = 0
    while size < target:
        text = "Installed by setup %d. " % n
        note = ("Description", '"%s"' % (text * (1 + pad // len(text)))[:max(pad - 16, 1)])
        g = guid(rng)
        kind = n % 4
        if kind == 0:
            base = r"Software\Classes\CLSID\%s" % g
            yield base, [("", '"Component %d"' % n)]
            yield base + r"\InprocServer32", [
                ("", '"C:\\\\windows\\\\system32\\\\comp%d.dll"' % n),
                ("ThreadingModel", '"Both"'), note]
            size += 2
        elif kind == 1:
            base = r"Software\Classes\Interface\%s" % g
            yield base, [("", '"IThing%d"' % n)]
            yield base + r"\ProxyStubClsid32", [("", '"%s"' % guid(rng)), note]
            size += 2
        elif kind == 2:
            yield r"Software\Classes\.ext%d" % n, [
                ("", '"ext%dfile"' % n), ("Content Type", '"application/x-ext%d"' % n), note]
            size += 1
        else:
            app = r"Software\Vendor %03d\Application %05d" % (n % 300, n)
            yield app + r"\Settings", [
                ("Version", "dword:%08x" % n), ("Window", 'hex:%02x,00,00,00,10,00,00,00' % (n & 255)),
                ("Path", '"C:\\\\Program Files\\\\App %d"' % n), note]
            size += 1
        n += 1


def value_heavy(rng, target, pad):
    size = 0
    k = 0
    while size < target:
        key = r"Software\Vendor %03d\Application %03d\Settings %02d" % (k // 1000, (k // 20) % 50, k % 20)
        vals = []
        for v in range(16):
            if v % 2:
                vals.append(("Value%d" % v, "dword:%08x" % ((k * 31 + v) & 0xFFFFFFFF)))
            else:
                vals.append(("Value%d" % v, '"C:\\\\users\\\\me\\\\Documents\\\\Report %d caf\u00e9.doc"' % k))
        yield key, vals
        size += 800
        k += 1


def fold(s):
    return s.upper()


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("out")
    ap.add_argument("--shape", choices=["keys", "values"], default="keys")
    ap.add_argument("--mb", type=float, default=52)
    ap.add_argument("--keys", type=int, default=171000, help="keys of the keys shape")
    ap.add_argument("--seed", type=int, default=25)
    a = ap.parse_args()
    if a.shape == "keys":
        # Two tries tell how the size grows with the padding.
        bare = len(render(build(key_heavy, a.seed, a.keys, 0)))
        padded = len(render(build(key_heavy, a.seed, a.keys, 200)))
        pad = max(0, int(200 * (a.mb * 1e6 - bare) / (padded - bare)))
        keys = build(key_heavy, a.seed, a.keys, pad)
    else:
        keys = build(value_heavy, a.seed, int(a.mb * 1e6 * 0.97), 0)
    text = render(keys)
    with open(a.out, "w", encoding="utf-8", newline="\n") as f:
        f.write(text)
    print("%s: %d keys, %.1f MB" % (a.out, len(keys), len(text.encode()) / 1e6))


def build(gen, seed, target, pad):
    rng = random.Random(seed)
    keys = {}
    for key, vals in gen(rng, target, pad):
        keys.setdefault(key, []).extend(vals)
    for lst in LISTS:
        keys[lst] = [("entry%d" % i, '"C:\\\\some\\\\recent\\\\file%d.txt"' % i) for i in range(200)]
    return keys


def render(keys):
    # Depth first, siblings sorted without regard to case, as wineserver writes.
    order = sorted(keys, key=lambda k: [fold(p) for p in k.split("\\")])
    t = 1700000000
    out = ["WINE REGISTRY Version 2\n;; All keys relative to REGISTRY\\\\User\\\\S-1-5-21-0-0-0-1000\n\n#arch=win64\n"]
    for i, key in enumerate(order):
        out.append("\n[%s] %d\n#time=1d%014x\n" % (esc(key), t, i))
        for name, val in sorted(keys[key], key=lambda v: fold(v[0])):
            out.append(("@=" if not name else '"%s"=' % esc(name)) + val + "\n")
    return "".join(out)


if __name__ == "__main__":
    main()
