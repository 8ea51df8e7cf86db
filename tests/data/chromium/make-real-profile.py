#!/usr/bin/env python3
"""Makes the Chromium profile the Chromium-family tests copy into every browser's
folders: the real Debian `chromium`, run offline with a window on a private X
server, typing into its address bar as a user does.

    make-real-profile.py [OUT]      (default: real-profile/ beside this script)

Needs chromium, Xvfb, xdotool, openssl and python3-cryptography. What the browser
does, in a fresh home:
  - typed into the address bar: typed.test/, both.test/, form.test/form,
    bookmarked.test/ (a bookmark made beforehand keeps it), and the search
    "secret words" (the default engine's host answers locally over TLS);
  - followed links: typed.test/ -> typed.test/linked -> both.test/ (so both.test
    is typed once and linked once, and typed.test/linked is only linked);
  - submitted a form (field q: "my diary entry"); every page sets a cookie and
    has a favicon.
Then a saved login is added to `Login Data` (the password manager only saves
after a click on its bubble), encrypted as `--password-store=basic` does.

The profile is written as the browser left it, except that each SQLite database
is stored as its SQL text (`History.sql` for `History`, ...) and the GPU caches
and the many files that hold none of the traces are left out. OUT holds
`config/` (the user data folder, `~/.config/chromium`) and `cache/` (its disk
cache folder, `~/.cache/chromium`).
"""
import http.server
import json
import os
import shutil
import socket
import sqlite3
import ssl
import struct
import subprocess
import sys
import tempfile
import threading
import time
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))

# What the tests need of a profile; everything else the browser wrote stays out.
DATABASES = ["History", "Cookies", "Web Data", "Login Data", "Shortcuts",
             "Network Action Predictor", "Favicons", "Top Sites"]
PLAIN_FILES = ["Preferences", "Bookmarks"]
CACHE_FOLDERS = ["Cache", "Code Cache"]


def png_icon():
    """A 16x16 one-colour PNG, so that the browser stores favicons."""
    raw = b"".join(b"\0" + b"\x20\x80\xe0" * 16 for _ in range(16))

    def chunk(kind, data):
        return (struct.pack(">I", len(data)) + kind + data +
                struct.pack(">I", zlib.crc32(kind + data) & 0xffffffff))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", 16, 16, 8, 2, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b""))


ICON = png_icon()
PAGES = {
    "/": b"<title>Typed</title><a id=l href='/linked'>a link</a>",
    "/linked": b"<title>Linked</title><a id=l href='http://both.test/'>both</a>",
    "/form": b"<title>Form</title><form action='/done'><input name='q' id='q' autocomplete='on'>"
             b"<input type=submit id=s></form>",
    "/done": b"<title>Done</title><p>done</p>",
}


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        path = self.path.split("?")[0]
        host = self.headers.get("Host", "").split(":")[0]
        if path == "/favicon.ico":
            body, kind = ICON, "image/png"
        else:
            body, kind = PAGES.get(path, b"<title>Results</title><p>results</p>"), "text/html"
        self.send_response(200)
        self.send_header("Content-Type", kind)
        self.send_header("Cache-Control", "max-age=86400")
        self.send_header("Set-Cookie", "id=%s; Max-Age=8640000; Path=/" % host.replace(".", "_"))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *args):
        pass


class QuietServer(http.server.ThreadingHTTPServer):
    # The address bar's suggestion requests are cut short while typing.
    def handle_error(self, request, client_address):
        pass


def serve(tls_dir=None):
    server = QuietServer(("127.0.0.1", 0), Handler)
    if tls_dir:
        key, cert = os.path.join(tls_dir, "key.pem"), os.path.join(tls_dir, "cert.pem")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                        "-subj", "/CN=duckduckgo.com", "-keyout", key, "-out", cert],
                       check=True, capture_output=True)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(cert, key)
        server.socket = context.wrap_socket(server.socket, server_side=True)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server


class DevTools:
    """The browser's DevTools protocol over --remote-debugging-pipe (fds 3 and 4)."""

    def __init__(self, args, env):
        to_r, self.to_w = os.pipe()
        self.from_r, from_w = os.pipe()

        def fds():
            # Copies first: either end may itself be descriptor 3 or 4.
            read, write = os.dup(to_r), os.dup(from_w)
            os.dup2(read, 3)
            os.dup2(write, 4)
        self.log = open(os.path.join(tempfile.gettempdir(), "chromium-real-profile.log"), "w")
        self.proc = subprocess.Popen(args, env=env, preexec_fn=fds, close_fds=False,
                                     stdout=subprocess.DEVNULL, stderr=self.log)
        os.close(to_r)
        os.close(from_w)
        self.next_id = 0
        self.buffer = b""

    def call(self, method, session=None, **params):
        self.next_id += 1
        msg = {"id": self.next_id, "method": method, "params": params}
        if session:
            msg["sessionId"] = session
        os.write(self.to_w, json.dumps(msg).encode() + b"\0")
        while True:
            while b"\0" not in self.buffer:
                self.buffer += os.read(self.from_r, 65536)
            raw, self.buffer = self.buffer.split(b"\0", 1)
            reply = json.loads(raw)
            if reply.get("id") == self.next_id:
                if "error" in reply:
                    raise RuntimeError("%s: %s" % (method, reply["error"]))
                return reply["result"]


def start_x():
    read, write = os.pipe()
    xvfb = subprocess.Popen(["Xvfb", "-displayfd", str(write), "-screen", "0", "1280x800x24",
                             "-nolisten", "tcp"], pass_fds=[write])
    os.close(write)
    display = b""
    while not display.endswith(b"\n"):
        display += os.read(read, 16)
    return xvfb, ":" + display.decode().strip()


def basic_store_encrypt(text):
    """What Chromium on Linux writes with --password-store=basic: "v10", then
    AES-128-CBC with the fixed key derived from "peanuts"."""
    from cryptography.hazmat.primitives import hashes, padding
    from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes
    from cryptography.hazmat.primitives.kdf.pbkdf2 import PBKDF2HMAC
    key = PBKDF2HMAC(hashes.SHA1(), 16, b"saltysalt", 1).derive(b"peanuts")
    padder = padding.PKCS7(128).padder()
    data = padder.update(text.encode()) + padder.finalize()
    enc = Cipher(algorithms.AES(key), modes.CBC(b" " * 16)).encryptor()
    return b"v10" + enc.update(data) + enc.finalize()


def browse(home, http_port, https_port):
    env = dict(os.environ, HOME=home, XDG_CONFIG_HOME=os.path.join(home, ".config"),
               XDG_CACHE_HOME=os.path.join(home, ".cache"))
    env.pop("DBUS_SESSION_BUS_ADDRESS", None)
    profile = os.path.join(home, ".config", "chromium", "Default")
    os.makedirs(profile)
    with open(os.path.join(profile, "Bookmarks"), "w") as f:
        json.dump({"version": 1, "roots": {
            "bookmark_bar": {"type": "folder", "name": "Bookmarks bar", "id": "1", "children": [
                {"type": "url", "name": "Kept bookmark", "id": "4",
                 "url": "http://bookmarked.test/"}]},
            "other": {"type": "folder", "name": "Other bookmarks", "id": "2", "children": []},
            "synced": {"type": "folder", "name": "Mobile bookmarks", "id": "3",
                       "children": []}}}, f)

    xvfb, display = start_x()
    env["DISPLAY"] = display
    rules = ("MAP *.test 127.0.0.1:%d, MAP duckduckgo.com 127.0.0.1:%d, MAP * ~NOTFOUND"
             % (http_port, https_port))
    args = ["chromium", "--password-store=basic", "--no-first-run", "--no-default-browser-check",
            "--disable-sync", "--disable-component-update", "--disable-background-networking",
            "--ignore-certificate-errors", "--remote-debugging-pipe",
            "--host-resolver-rules=" + rules, "about:blank"]
    if os.geteuid() == 0:
        args.insert(1, "--no-sandbox")
    chrome = DevTools(args, env)
    try:
        time.sleep(5)
        page = [t for t in chrome.call("Target.getTargets")["targetInfos"] if t["type"] == "page"][0]
        session = chrome.call("Target.attachToTarget", targetId=page["targetId"],
                              flatten=True)["sessionId"]

        def xdo(*a):
            return subprocess.run(["xdotool"] + list(a), env=env, capture_output=True,
                                  text=True).stdout

        window = xdo("search", "--onlyvisible", "--class", "chromium").split()[-1]
        xdo("windowfocus", "--sync", window)

        def address_bar(text):
            xdo("key", "ctrl+l")
            time.sleep(0.5)
            xdo("type", "--delay", "80", text)
            time.sleep(1)
            xdo("key", "Return")
            time.sleep(3)

        def click(element):
            chrome.call("Runtime.evaluate", session, userGesture=True,
                        expression="document.getElementById('%s').click()" % element)
            time.sleep(2.5)

        address_bar("both.test/")
        address_bar("typed.test/")
        click("l")  # typed.test/linked
        click("l")  # both.test/
        address_bar("secret words")
        address_bar("bookmarked.test/")
        address_bar("form.test/form")
        chrome.call("Runtime.evaluate", session, expression="document.getElementById('q').focus()")
        chrome.call("Input.insertText", session, text="my diary entry")
        click("s")
        time.sleep(2)
        chrome.call("Browser.close")
        chrome.proc.wait(timeout=60)
    finally:
        if chrome.proc.poll() is None:
            chrome.proc.kill()
        xvfb.terminate()
        xvfb.wait()

    logins = sqlite3.connect(os.path.join(profile, "Login Data"))
    logins.execute(
        "INSERT INTO logins (origin_url, action_url, username_element, username_value,"
        " password_element, password_value, submit_element, signon_realm, date_created,"
        " blacklisted_by_user, scheme, password_type, times_used, date_last_used,"
        " date_password_modified) VALUES ('http://login.test/', 'http://login.test/in', 'user',"
        " 'alice', 'pass', ?, '', 'http://login.test/', 13400000000000000, 0, 0, 0, 1,"
        " 13400000000000000, 13400000000000000)", (basic_store_encrypt("s3cret"),))
    logins.commit()
    logins.close()


def dump(database, out):
    db = sqlite3.connect("file:%s?mode=ro" % database, uri=True)
    with open(out, "w") as f:
        for line in db.iterdump():
            f.write(line + "\n")
    db.close()


def main():
    out = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, "real-profile"))
    work = tempfile.mkdtemp(prefix="chromium-real-")
    try:
        plain = serve()
        tls = serve(work)
        browse(os.path.join(work, "home"), plain.server_address[1], tls.server_address[1])
        plain.shutdown()
        tls.shutdown()

        config = os.path.join(work, "home", ".config", "chromium")
        cache = os.path.join(work, "home", ".cache", "chromium")
        shutil.rmtree(out, ignore_errors=True)
        os.makedirs(os.path.join(out, "config", "Default"))
        shutil.copy(os.path.join(config, "Local State"), os.path.join(out, "config"))
        for name in PLAIN_FILES:
            shutil.copy(os.path.join(config, "Default", name), os.path.join(out, "config", "Default"))
        for name in DATABASES:
            dump(os.path.join(config, "Default", name),
                 os.path.join(out, "config", "Default", name + ".sql"))
        for name in CACHE_FOLDERS:
            shutil.copytree(os.path.join(cache, "Default", name),
                            os.path.join(out, "cache", "Default", name))
    finally:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
