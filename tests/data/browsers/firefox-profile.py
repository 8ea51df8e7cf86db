#!/usr/bin/env python3
"""Drives a real Firefox ESR (headless, offline, Marionette) on a profile, to check
the Netscape boxes as a user would. Not used by the test suite.

  firefox-profile.py fill PROFILE    bookmark + keyword, saved login, setting,
                                     typed and followed visits, cookies, form entries
  firefox-profile.py show PROFILE    prints what the browser itself now reports
"""
import http.server, json, os, socket, subprocess, sys, threading, time

PORT_SERVER = 8765


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        self.send_response(200)
        self.send_header("Content-Type", "text/html")
        self.send_header("Set-Cookie", "session=abc; Max-Age=86400")
        self.end_headers()
        self.wfile.write(b"<html><title>t</title><body>hello</body></html>")

    def log_message(self, *a):
        pass


class Marionette:
    def __init__(self, port):
        for _ in range(100):
            try:
                self.s = socket.create_connection(("127.0.0.1", port))
                break
            except OSError:
                time.sleep(0.2)
        self.buf = b""
        self.id = 0
        self.read()

    def read(self):
        while b":" not in self.buf:
            self.buf += self.s.recv(65536)
        n, rest = self.buf.split(b":", 1)
        while len(rest) < int(n):
            rest += self.s.recv(65536)
        self.buf = rest[int(n):]
        return json.loads(rest[: int(n)])

    def call(self, name, params):
        self.id += 1
        data = json.dumps([0, self.id, name, params]).encode()
        self.s.sendall(str(len(data)).encode() + b":" + data)
        reply = self.read()
        if reply[2]:
            raise RuntimeError(reply[2])
        return reply[3]

    def chrome(self, script):
        return self.call("WebDriver:ExecuteScript", {"script": script, "args": []})["value"]


FILL = r"""
return (async () => {
  const {PlacesUtils} = ChromeUtils.importESModule("resource://gre/modules/PlacesUtils.sys.mjs");
  const {FormHistory} = ChromeUtils.importESModule("resource://gre/modules/FormHistory.sys.mjs");
  const T = PlacesUtils.history.TRANSITIONS;
  await PlacesUtils.bookmarks.insert({parentGuid: PlacesUtils.bookmarks.toolbarGuid,
                                      url: "http://bookmarked.test/", title: "Kept bookmark"});
  await PlacesUtils.keywords.insert({keyword: "kw", url: "http://bookmarked.test/%s"});
  await PlacesUtils.history.insert({url: "http://typed.test/", visits: [{transition: T.TYPED}]});
  await PlacesUtils.history.insert({url: "http://bookmarked.test/", visits: [{transition: T.TYPED}]});
  await PlacesUtils.history.insert({url: "http://visited.test/", visits: [{transition: T.LINK}]});
  await PlacesUtils.withConnectionWrapper("fill", db => db.execute(
    "INSERT INTO moz_inputhistory(place_id, input, use_count) SELECT id, 'typ', 1 FROM moz_places WHERE url_hash = hash('http://typed.test/')"));
  const li = Cc["@mozilla.org/login-manager/loginInfo;1"].createInstance(Ci.nsILoginInfo);
  li.init("http://login.test", "http://login.test", null, "alice", "s3cret", "u", "p");
  await Services.logins.addLoginAsync(li);
  await FormHistory.update([{op: "add", fieldname: "searchbar-history", value: "secret search"},
                            {op: "add", fieldname: "email", value: "alice@example.test"}]);
  Services.prefs.setCharPref("browser.startup.homepage", "http://home.test/");
  return "filled";
})();
"""

SHOW = r"""
return (async () => {
  const {PlacesUtils} = ChromeUtils.importESModule("resource://gre/modules/PlacesUtils.sys.mjs");
  const {FormHistory} = ChromeUtils.importESModule("resource://gre/modules/FormHistory.sys.mjs");
  const bm = await PlacesUtils.bookmarks.fetch({url: "http://bookmarked.test/"});
  const kw = await PlacesUtils.keywords.fetch("kw");
  const logins = (await Services.logins.getAllLogins()).map(l => l.username + "@" + l.origin);
  const db = await PlacesUtils.promiseDBConnection();
  const rows = await db.execute("SELECT url, typed FROM moz_places WHERE url LIKE :p", {p: "http://%.test/"});
  const typed = await db.execute("SELECT count(*) FROM moz_historyvisits WHERE visit_type = 2");
  const input = await db.execute("SELECT count(*) FROM moz_inputhistory");
  const forms = await FormHistory.count({});
  return JSON.stringify({
    bookmark: bm ? bm.title : null, keyword: kw ? kw.keyword : null, logins,
    homepage: Services.prefs.getCharPref("browser.startup.homepage", ""),
    places: rows.map(r => r.getResultByName("url") + " typed=" + r.getResultByName("typed")),
    typedVisits: typed[0].getResultByIndex(0), inputHistory: input[0].getResultByIndex(0),
    cookies: Services.cookies.cookies.length, formEntries: forms});
})();
"""


def main():
    what, profile = sys.argv[1], sys.argv[2]
    os.makedirs(profile, exist_ok=True)
    with open(os.path.join(profile, "user.js"), "w") as f:
        f.write('user_pref("marionette.port", 2828);\n'
                'user_pref("network.dns.localDomains", "cookies.test");\n'
                'user_pref("browser.shell.checkDefaultBrowser", false);\n')
    server = http.server.HTTPServer(("127.0.0.1", PORT_SERVER), Handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    ff = subprocess.Popen(["firefox-esr", "--headless", "--marionette", "--remote-allow-system-access", "--no-remote",
                           "--profile", profile], stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL)
    try:
        m = Marionette(2828)
        m.call("WebDriver:NewSession", {})
        if what == "fill":
            m.call("WebDriver:Navigate", {"url": "http://cookies.test:%d/" % PORT_SERVER})
        m.call("Marionette:SetContext", {"value": "chrome"})
        print(m.chrome(FILL if what == "fill" else SHOW))
        m.call("Marionette:Quit", {"flags": ["eForceQuit"]})
    finally:
        try:
            ff.wait(timeout=30)
        except subprocess.TimeoutExpired:
            ff.kill()
        server.shutdown()


if __name__ == "__main__":
    main()
