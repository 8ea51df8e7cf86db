#!/usr/bin/env python3
"""Makes a real Chromium profile, offline and headless, for checking the Opera
cleaner by hand, and dumps the schemas the tests build their databases from.

    make-profile.py USER_DATA_DIR [SCHEMA_DIR]

The browser visits a local server: an address typed into the bar, a typed search,
a linked page, cookies of three sites and a submitted form. A bookmark is written
into the profile first so that a check afterwards can see it kept. A headless
browser has no address bar, so Shortcuts and Network Action Predictor are not
made; their schemas here come from a profile of a browser used by hand.
"""
import http.server
import json
import os
import sqlite3
import subprocess
import sys
import threading
import time

PAGES = {
    "/": b"<a id=l href='/linked'>link</a>",
    "/linked": b"<p>linked</p>",
    "/form": b"<form action='/done'><input name='q' id='q' autocomplete='on'>"
             b"<input type=submit id=s></form>",
    "/done": b"<p>done</p>",
}


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        body = PAGES.get(self.path.split("?")[0], b"<p>search</p>")
        self.send_response(200)
        self.send_header("Content-Type", "text/html")
        self.send_header("Cache-Control", "max-age=3600")
        host = self.headers.get("Host", "").split(":")[0]
        self.send_header("Set-Cookie", "id=%s; Max-Age=86400; Path=/" % host.replace(".", "_"))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *args):
        pass


class Pipe:
    def __init__(self, args):
        to_chrome_r, self.to_chrome = os.pipe()
        self.from_chrome, from_chrome_w = os.pipe()

        def fds():
            os.dup2(to_chrome_r, 3)
            os.dup2(from_chrome_w, 4)

        self.proc = subprocess.Popen(args, preexec_fn=fds, close_fds=False,
                                     stdout=subprocess.DEVNULL, stderr=open("/tmp/chromium-make.log", "w"))
        os.close(to_chrome_r)
        os.close(from_chrome_w)
        self.next_id = 0
        self.buffer = b""

    def call(self, method, session=None, **params):
        self.next_id += 1
        msg = {"id": self.next_id, "method": method, "params": params}
        if session:
            msg["sessionId"] = session
        os.write(self.to_chrome, json.dumps(msg).encode() + b"\0")
        while True:
            while b"\0" not in self.buffer:
                self.buffer += os.read(self.from_chrome, 65536)
            raw, self.buffer = self.buffer.split(b"\0", 1)
            reply = json.loads(raw)
            if reply.get("id") == self.next_id:
                return reply.get("result", reply.get("error"))


def main():
    user_data = os.path.abspath(sys.argv[1])
    schema_dir = sys.argv[2] if len(sys.argv) > 2 else None
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    port = server.server_address[1]
    threading.Thread(target=server.serve_forever, daemon=True).start()

    os.makedirs(os.path.join(user_data, "Default"), exist_ok=True)
    with open(os.path.join(user_data, "Default", "Bookmarks"), "w") as f:
        json.dump({"version": 1, "roots": {
            "bookmark_bar": {"type": "folder", "name": "Bookmarks bar", "id": "1", "children": [
                {"type": "url", "name": "kept", "id": "4",
                 "url": "http://kept.test:%d/" % port}]},
            "other": {"type": "folder", "name": "Other", "id": "2", "children": []},
            "synced": {"type": "folder", "name": "Mobile", "id": "3", "children": []}}}, f)

    sandbox = ["--no-sandbox"] if os.geteuid() == 0 else []
    chrome = Pipe(["chromium", "--headless", "--user-data-dir=" + user_data,
                   "--password-store=basic", "--no-first-run", "--remote-debugging-pipe",
                   "--host-resolver-rules=MAP *.test 127.0.0.1"] + sandbox + ["about:blank"])
    target = chrome.call("Target.createTarget", url="about:blank")["targetId"]
    session = chrome.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
    chrome.call("Page.enable", session)

    def go(url, transition):
        chrome.call("Page.navigate", session, url=url, transitionType=transition)
        time.sleep(1.5)

    base = "http://typed.test:%d" % port
    go(base + "/", "typed")
    # Only a click makes a link visit; a navigation from here counts as typed.
    chrome.call("Runtime.evaluate", session, expression="document.getElementById('l').click()",
                userGesture=True)
    time.sleep(1.5)
    go("http://search.test:%d/?q=secret+words" % port, "generated")
    go("http://form.test:%d/form" % port, "typed")
    chrome.call("Runtime.evaluate", session,
                expression="document.getElementById('q').focus()")
    chrome.call("Input.insertText", session, text="my diary entry")
    chrome.call("Runtime.evaluate", session, expression="document.getElementById('s').click()",
                userGesture=True)
    time.sleep(2)
    chrome.call("Browser.close")
    chrome.proc.wait(timeout=30)
    server.shutdown()

    if schema_dir:
        for name in ["History", "Cookies", "Web Data", "Shortcuts", "Network Action Predictor"]:
            path = os.path.join(user_data, "Default", name)
            if not os.path.exists(path):
                path = os.path.join(user_data, "Default", "Network", name)
            if not os.path.exists(path):
                continue  # made only by a browser with a visible address bar
            db = sqlite3.connect("file:%s?mode=ro" % path, uri=True)
            sql = ";\n".join(r[0] for r in db.execute(
                "SELECT sql FROM sqlite_master WHERE sql IS NOT NULL")) + ";\n"
            with open(os.path.join(schema_dir, name.replace(" ", "_") + ".sql"), "w") as f:
                f.write(sql)


if __name__ == "__main__":
    main()
