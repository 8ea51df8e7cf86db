#!/bin/sh
# Makes a 64-bit Wine prefix with Internet Explorer traces and copies the small
# parts the IE cleaner tests read into this folder. Needs wine and python3; the
# tests themselves never run Wine.
#
#   tests/data/ie/make-ie-prefix.sh [PREFIX]   (default: a fresh temp folder)
#
# wininet fills the cache, the cookies and their index.dat files when a script
# fetches pages through MSXML; the registry keys that only Microsoft's IE writes
# are added with "wine reg add".
set -eu
here=$(cd "$(dirname "$0")" && pwd)
prefix=${1:-$(mktemp -d /tmp/velloran-ie-prefix.XXXXXX)}
work=$(mktemp -d /tmp/velloran-ie-work.XXXXXX)
export WINEPREFIX="$prefix" WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="

# A local server: every page sets a lasting cookie and may be cached.
cat >"$work/server.py" <<'PY'
import http.server, sys
class H(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        body = ("<html><body>page %s</body></html>" % self.path).encode() * 20
        self.send_response(200)
        self.send_header("Content-Type", "text/html")
        self.send_header("Cache-Control", "max-age=86400")
        # wininet keeps only cookies with an expiry date on disk.
        self.send_header("Set-Cookie", "visit%s=yes; Path=/; expires=Fri, 01-Jan-2038 00:00:00 GMT" % self.path.strip("/").replace("/", "_"))
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)
    def log_message(self, *a): pass
s = http.server.HTTPServer(("127.0.0.1", 0), H)
print(s.server_address[1], flush=True)
s.serve_forever()
PY
python3 "$work/server.py" >"$work/port" &
server=$!
trap 'kill $server 2>/dev/null; rm -rf "$work"' EXIT
sleep 1
port=$(cat "$work/port")

wineboot -i >/dev/null 2>&1
cat >"$work/fetch.js" <<EOF2
var pages = ["a.html", "b.html", "c.html", "shop/item1.html", "shop/item2.html", "news/today.html"];
for (var i = 0; i < pages.length; i++) {
    var x = new ActiveXObject("Msxml2.XMLHTTP");
    x.open("GET", "http://127.0.0.1:$port/" + pages[i], false);
    x.send();
    WScript.Echo(pages[i] + " " + x.status);
}
EOF2
cp "$work/fetch.js" "$prefix/drive_c/fetch.js"
wine cscript //nologo 'C:\fetch.js'
rm -f "$prefix/drive_c/fetch.js"

ie='HKCU\Software\Microsoft\Internet Explorer'
wine reg add "$ie\\TypedURLs" /v url1 /t REG_SZ /d "http://127.0.0.1:$port/a.html" /f
wine reg add "$ie\\TypedURLs" /v url2 /t REG_SZ /d "http://example.test/" /f
wine reg add "$ie\\TypedURLs" /v url3 /t REG_SZ /d "http://shop.test/cart" /f
wine reg add "$ie\\TypedURLsTime" /v url1 /t REG_BINARY /d 00a1b2c3d4e5d601 /f
wine reg add "$ie\\TypedURLsTime" /v url2 /t REG_BINARY /d 00a1b2c3d4e5d602 /f
wine reg add "$ie\\IntelliForms\\Storage1" /v 4C21A9E6F29A5F3BF5D6A1F3 /t REG_BINARY /d 0102030405060708 /f
wine reg add "$ie\\IntelliForms\\Storage1" /v 9D3F7E21AB64C0117733AA01 /t REG_BINARY /d 1112131415161718 /f
wine reg add "$ie\\IntelliForms\\Storage2" /v 7E1AF1E0D7F2C8E6B3A1C4D9 /t REG_BINARY /d 2122232425262728 /f
wine reg add "$ie\\Main" /v Window_Placement /t REG_BINARY /d 2c0000000000000001000000ffffffffffffffffffffffffffffffff1600000016000000f6030000ee020000 /f
wine reg add "$ie\\Main" /v "Start Page" /t REG_SZ /d "about:blank" /f
ps='HKCU\Software\Microsoft\Protected Storage System Provider\S-1-5-21-1004336348-1177238915-682003330-1000\Data'
wine reg add "$ps\\e161255a-37c3-11d2-bcaa-00c04fd929db\\e161255a-37c3-11d2-bcaa-00c04fd929db" /v "http://shop.test/login:StringData" /t REG_BINARY /d 3132333435 /f
wine reg add "$ps\\e161255a-37c3-11d2-bcaa-00c04fd929db\\e161255a-37c3-11d2-bcaa-00c04fd929db" /v "username:StringData" /t REG_BINARY /d 4142434445 /f
wine reg add "$ps\\5e7e8100-9138-11d1-945a-00c04fc308ff\\00000000-0000-0000-0000-000000000000" /v "item" /t REG_BINARY /d 5152 /f
wineserver -w

# The parts the tests read: the user registry, and the wininet folders.
appdata="$prefix/drive_c/users/$(id -un)/AppData/Local/Microsoft/Windows"
out="$here/prefix"
rm -rf "$out"
mkdir -p "$out/profile"
sed "s/\\\\\\\\users\\\\\\\\$(id -un)/\\\\\\\\users\\\\\\\\tester/g" "$prefix/user.reg" >"$out/user.reg"
# wininet makes History.IE5 only for pages a browser window visited, which a
# script cannot do; a history folder laid out the same way (an index.dat of the
# same container format and a per-day MSHist folder) stands in for it.
hist="$appdata/History/History.IE5"
if [ ! -f "$hist/index.dat" ]; then
    mkdir -p "$hist/MSHist012026112320261124"
    cp "$appdata/INetCookies/index.dat" "$hist/index.dat"
    cp "$appdata/INetCookies/index.dat" "$hist/MSHist012026112320261124/index.dat"
fi
for f in INetCache INetCookies History; do
    [ -d "$appdata/$f" ] && cp -r "$appdata/$f" "$out/profile/"
done
find "$out" -type f | sort
echo "prefix: $prefix"
