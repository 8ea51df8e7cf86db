#!/usr/bin/env python3
"""The Windows installer under Wine, as a user meets it: installs silently,
leaves the program folder the portable zip holds, a Start menu entry and the
uninstall key; the installed console program runs and finds its data beside
itself; a silent uninstall removes all of it but the user's settings, and with
/REMOVESETTINGS those too.

windows_installer.py WINE_RUN PREFIX SETUP_EXE PORTABLE_ZIP VERSION

PREFIX is made anew, and its drive Z: (the build machine's root) is taken away,
so the installed program cannot reach the source tree's data.
"""
import glob
import os
import shutil
import struct
import subprocess
import sys
import tempfile
import zipfile

wine_run, prefix, setup_exe, portable_zip, version = sys.argv[1:6]
prefix = os.path.abspath(prefix)
drive_c = os.path.join(prefix, "drive_c")
install_dir = os.path.join(drive_c, "Program Files", "Velloran")
install_win = "C:\\Program Files\\Velloran"
start_link = os.path.join(drive_c, "ProgramData", "Microsoft", "Windows", "Start Menu",
                          "Programs", "Velloran.lnk")
uninstall_key = "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Velloran"
run_key = "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Run"
env = dict(os.environ, WINEPREFIX=prefix, WINEDEBUG="-all",
           WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d")
env.pop("DISPLAY", None)
env.pop("WAYLAND_DISPLAY", None)

failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
    return condition


def wine(*args, timeout=300):
    """Runs a Windows program in the prefix, waiting for it; (exit code, output).

    The output goes through a file, not a pipe: the system processes Wine starts
    along with the first program would hold a pipe open after the program ends.
    """
    # Drive C: as the current folder: it is there when drive Z: is not.
    cwd = drive_c if os.path.isdir(drive_c) else prefix
    with tempfile.TemporaryFile() as out:
        code = subprocess.run([wine_run, prefix, *args], cwd=cwd, env=env,
                              stdin=subprocess.DEVNULL, stdout=out, stderr=subprocess.DEVNULL,
                              timeout=timeout).returncode
        out.seek(0)
        return code, out.read().decode("utf-8", "replace")


def wine_and_children(*args):
    """Runs a program and waits until every process it started has ended too.

    The uninstaller copies itself to the temporary folder, starts the copy and ends
    at once; the copy does the work. A wineserver of this run alone (not the
    persistent one wine-run.sh starts) ends with the last process, so waiting for
    it waits for the copy. Its output goes nowhere, so ctest waits for nobody.
    """
    subprocess.run(["wineserver", "-k"], env=env, stdin=subprocess.DEVNULL,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    code = subprocess.run(["wine", *args], cwd=drive_c, env=env, stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          timeout=300).returncode
    subprocess.run(["wineserver", "-w"], env=env, stdin=subprocess.DEVNULL,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=300)
    return code


def reg_values(key):
    """A key's values as {name: data}, or None when the key is not there."""
    code, out = wine("reg", "query", key)
    if code != 0:
        return None
    values = {}
    for line in out.splitlines():
        parts = line.strip().split(None, 2)
        if len(parts) >= 2 and parts[1].startswith("REG_"):
            values[parts[0]] = parts[2] if len(parts) == 3 else ""
    return values


def user_folder(kind):
    """The Wine user's AppData\\<kind> folder on the host."""
    found = [p for p in glob.glob(os.path.join(drive_c, "users", "*", "AppData", kind))
             if os.sep + "Public" + os.sep not in p]
    return found[0] if found else os.path.join(drive_c, "users", "nobody", "AppData", kind)


def tree(root):
    """Every file below root, as relative paths with "/"."""
    files = set()
    for folder, _, names in os.walk(root):
        for name in names:
            files.add(os.path.relpath(os.path.join(folder, name), root).replace(os.sep, "/"))
    return files


def read_link(path):
    """A shell link's target path, arguments and working folder (MS-SHLLINK)."""
    with open(path, "rb") as f:
        data = f.read()
    flags = struct.unpack_from("<I", data, 20)[0]
    pos = 76
    if flags & 0x1:  # an item ID list
        pos += 2 + struct.unpack_from("<H", data, pos)[0]
    target = ""
    if flags & 0x2:  # link information, with the local base path
        size, _, info_flags, _, base = struct.unpack_from("<IIIII", data, pos)
        if info_flags & 0x1:
            target = data[pos + base:data.index(b"\0", pos + base)].decode("latin-1")
        pos += size
    strings = {}
    for bit, name in ((0x4, "name"), (0x8, "relative"), (0x10, "folder"), (0x20, "arguments"),
                      (0x40, "icon")):
        if flags & bit:
            count = struct.unpack_from("<H", data, pos)[0]
            width = 2 if flags & 0x80 else 1
            raw = data[pos + 2:pos + 2 + count * width]
            strings[name] = raw.decode("utf-16-le" if width == 2 else "latin-1").rstrip("\0")
            pos += 2 + count * width
    return target, strings.get("arguments", ""), strings.get("folder", "")


def install():
    code, out = wine("C:\\setup\\" + os.path.basename(setup_exe), "/S")
    return check(code == 0, f"the silent installation ended with {code}: {out}")


# A fresh prefix without drive Z:, the installer copied onto its drive C:.
shutil.rmtree(prefix, ignore_errors=True)
os.makedirs(prefix)
code, out = wine("cmd", "/c", "ver")
if not check(code == 0 and os.path.isdir(drive_c), f"the Wine prefix was not made: {out}"):
    print("\n".join(failures))
    sys.exit(1)
subprocess.run(["wineserver", "-k"], env=env, stdin=subprocess.DEVNULL,
               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
os.remove(os.path.join(prefix, "dosdevices", "z:"))
os.makedirs(os.path.join(drive_c, "setup"))
shutil.copy(setup_exe, os.path.join(drive_c, "setup"))

# --- Installation: the zip's program folder, plus the uninstaller.
if install():
    with zipfile.ZipFile(portable_zip) as z:
        zipped = {n[len("Velloran/"):] for n in z.namelist()
                  if n.startswith("Velloran/") and not n.endswith("/")}
        check(zipped and all(n.startswith("Velloran/") for n in z.namelist()),
              f"the zip holds more than one folder Velloran: {sorted(z.namelist())}")
        for name in zipped:
            with open(os.path.join(install_dir, name), "rb") as f:
                check(f.read() == z.read("Velloran/" + name),
                      f"{name} differs between the installation and the zip")
    installed = tree(install_dir)
    check(installed == zipped | {"uninstall.exe"},
          f"installed files {sorted(installed)} are not the zip's {sorted(zipped)} and the "
          "uninstaller")
    for needed in ("velloran-cli.exe", "junk-filters.txt", "help/index.html", "help/help.css"):
        check(needed in zipped, f"{needed} is not shipped")
    main_program = "velloran.exe" if "velloran.exe" in zipped else "velloran-cli.exe"

    # The uninstall entry, in the 64-bit view only.
    values = reg_values(uninstall_key)
    if check(values is not None, "no uninstall key"):
        expected = {
            "DisplayName": "Velloran",
            "DisplayVersion": version,
            "Publisher": "The Velloran developers",
            "DisplayIcon": f"{install_win}\\{main_program},0",
            "InstallLocation": install_win,
            "UninstallString": f'"{install_win}\\uninstall.exe"',
            "QuietUninstallString": f'"{install_win}\\uninstall.exe" /S',
            "NoModify": "0x1",
            "NoRepair": "0x1",
        }
        for name, data in expected.items():
            check(values.get(name) == data, f"uninstall value {name} is {values.get(name)!r}, "
                  f"not {data!r}")
        size = int(values.get("EstimatedSize", "0"), 16)
        total = sum(os.path.getsize(os.path.join(install_dir, n)) for n in installed)
        check(total // 2048 <= size <= total // 1024 + len(installed),
              f"EstimatedSize {size} KiB for {total} bytes")
    check(reg_values(uninstall_key.replace("Software\\", "Software\\Wow6432Node\\")) is None,
          "the uninstall key is in the 32-bit view")

    # The Start menu entry opens the main program: it names it, and the shell starts
    # it (start fails when a link's program is not there).
    if check(os.path.isfile(start_link), "no Start menu entry"):
        target, arguments, folder = read_link(start_link)
        check((target, arguments, folder) == (f"{install_win}\\{main_program}", "", install_win),
              f"the Start menu entry opens {target!r} {arguments!r} in {folder!r}")
        if main_program == "velloran-cli.exe":
            code, out = wine("start", "/wait",
                             "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Velloran.lnk")
            check(code == 0, f"the Start menu entry did not start the program: {code}")

    # The installed program runs, and its junk filters come from its own folder:
    # with drive Z: gone there is no other.
    code, out = wine(f"{install_win}\\velloran-cli.exe", "--version")
    check(code == 0 and out.strip() == f"velloran-cli {version}", f"--version gave {code}: {out}")
    os.makedirs(os.path.join(drive_c, "scan"))
    open(os.path.join(drive_c, "scan", "left.tmp"), "w").close()
    code, out = wine(f"{install_win}\\velloran-cli.exe", "junk", "scan", "--drive", "C:\\scan")
    check(code == 0 and "left.tmp" in out, f"the junk scan with the shipped filters gave {code}: {out}")

# --- What the program and its user leave: settings, own filters, a pending
# start-up deletion; and a Run value of some other program.
code, out = wine(f"{install_win}\\velloran-cli.exe", "settings", "secure-delete=1")
check(code == 0, f"storing a setting gave {code}: {out}")
appdata, localappdata = user_folder("Roaming"), user_folder("Local")
for folder in (appdata, localappdata):
    os.makedirs(os.path.join(folder, "Velloran"), exist_ok=True)
    open(os.path.join(folder, "Velloran", "junk-filters.txt"), "w").close()
open(os.path.join(install_dir, "delstart.dat"), "w").close()
wine("reg", "add", run_key, "/v", "Velloran", "/d", f"{install_win}\\velloran.exe -delstart", "/f")
wine("reg", "add", run_key, "/v", "Other", "/d", "C:\\other\\other.exe", "/f")


def check_removed(settings_kept):
    check(not os.path.exists(install_dir), f"left in the program folder: {tree(install_dir)}")
    check(not os.path.exists(start_link), "the Start menu entry is left")
    check(reg_values(uninstall_key) is None, "the uninstall key is left")
    run = reg_values(run_key) or {}
    check("Velloran" not in run, "the start-up deletion's Run value is left")
    check(run.get("Other") == "C:\\other\\other.exe", "another program's Run value went")
    settings = reg_values("HKCU\\Software\\Velloran\\settings")
    what = "kept" if settings_kept else "removed"
    check((settings is not None) == settings_kept, f"the settings were not {what}")
    for folder in (appdata, localappdata):
        there = os.path.exists(os.path.join(folder, "Velloran", "junk-filters.txt"))
        check(there == settings_kept, f"{folder}\\Velloran was not {what}")


# --- Silent uninstallation, as the uninstall key's QuietUninstallString runs it.
code = wine_and_children(f"{install_win}\\uninstall.exe", "/S")
check(code == 0, f"the silent uninstallation ended with {code}")
check_removed(settings_kept=True)

# --- Again, with the user's settings removed too.
if install():
    wine("reg", "add", run_key, "/v", "Velloran", "/d", f'"{install_win}\\velloran.exe" -delstart',
         "/f")
    code = wine_and_children(f"{install_win}\\uninstall.exe", "/S", "/REMOVESETTINGS")
    check(code == 0, f"the silent uninstallation with /REMOVESETTINGS ended with {code}")
    check_removed(settings_kept=False)

subprocess.run(["wineserver", "-k"], env=env, stdin=subprocess.DEVNULL,
               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
if failures:
    print("\n".join(failures))
    sys.exit(1)
print("installer checks passed")
