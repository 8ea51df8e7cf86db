#!/usr/bin/env python3
"""Starts the real Chromium (headless, offline) on a profile and prints what the
browser itself reports of it, to check a cleaned profile by hand. Not used by the
test suite.

    show-profile.py HOME [--visit]

HOME is the home folder holding .config/chromium (and .cache/chromium). Prints the
history as chrome://history shows it, the bookmarks, the saved logins, the
cookies, then each database's own check after the browser has closed, and the
browser's complaints about its databases if it had any. --visit also types one
new address, to see that the cleaned History takes new visits.
"""
import json
import os
import sqlite3
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
from importlib import import_module  # noqa: E402

maker = import_module("make-real-profile")

HISTORY = """(async () => {
  const app = document.querySelector('history-app');
  await new Promise(r => setTimeout(r, 1500));
  const list = app.shadowRoot.querySelector('history-list');
  return [...list.shadowRoot.querySelectorAll('history-item')].map(i => i.item.url);
})()"""
BOOKMARKS = """new Promise(r => chrome.bookmarks.getTree(t => {
  const out = []; const walk = n => { if (n.url) out.push(n.title + ' ' + n.url);
  (n.children || []).forEach(walk); }; t.forEach(walk); r(out); }))"""
LOGINS = """chrome.passwordsPrivate.getSavedPasswordList().then(
  l => l.map(p => p.username + ' @ ' + p.affiliatedDomains.map(d => d.name).join(' ')))"""
DATABASES = ["History", "Cookies", "Web Data", "Login Data", "Shortcuts",
             "Network Action Predictor", "Favicons", "Top Sites"]


def main():
    home = os.path.abspath(sys.argv[1])
    env = dict(os.environ, HOME=home, XDG_CONFIG_HOME=os.path.join(home, ".config"),
               XDG_CACHE_HOME=os.path.join(home, ".cache"))
    env.pop("DBUS_SESSION_BUS_ADDRESS", None)
    server = maker.serve()
    # Headless Chromium takes a fresh temporary profile unless it is named.
    args = ["chromium", "--headless", "--password-store=basic", "--no-first-run",
            "--user-data-dir=" + os.path.join(home, ".config", "chromium"),
            "--disable-sync", "--disable-component-update", "--disable-background-networking",
            "--remote-debugging-pipe",
            "--host-resolver-rules=MAP *.test 127.0.0.1:%d, MAP * ~NOTFOUND"
            % server.server_address[1], "about:blank"]
    if os.geteuid() == 0:
        args.insert(1, "--no-sandbox")
    chrome = maker.DevTools(args, env)
    try:
        target = chrome.call("Target.createTarget", url="about:blank")["targetId"]
        session = chrome.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]

        def page(url, script):
            chrome.call("Page.navigate", session, url=url)
            time.sleep(2)
            reply = chrome.call("Runtime.evaluate", session, expression=script,
                                awaitPromise=True, returnByValue=True)
            return reply["result"].get("value", reply)

        if "--visit" in sys.argv:
            chrome.call("Page.navigate", session, url="http://after.test/", transitionType="typed")
            time.sleep(2)
        print("history:", json.dumps(page("chrome://history", HISTORY), indent=1))
        print("bookmarks:", json.dumps(page("chrome://bookmarks", BOOKMARKS), indent=1))
        print("logins:", json.dumps(page("chrome://password-manager/passwords", LOGINS), indent=1))
        cookies = chrome.call("Storage.getCookies")["cookies"]
        print("cookies:", sorted(c["domain"] for c in cookies))
        chrome.call("Browser.close")
        chrome.proc.wait(timeout=60)
    finally:
        if chrome.proc.poll() is None:
            chrome.proc.kill()
        server.shutdown()
    profile = os.path.join(home, ".config", "chromium", "Default")
    for name in DATABASES:
        db = sqlite3.connect("file:%s?mode=ro" % os.path.join(profile, name), uri=True)
        print("%s: %s" % (name, db.execute("PRAGMA integrity_check").fetchone()[0]))
        db.close()
    chrome.log.close()
    with open(chrome.log.name) as log:
        complaints = [line.rstrip() for line in log
                      if any(w in line.lower() for w in ("sql", "database", "corrupt"))]
    print("database complaints:", complaints or "none")


if __name__ == "__main__":
    main()
