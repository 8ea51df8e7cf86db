#!/bin/sh
# Makes the Mork history.dat the legacy-profile tests read, in the shape Netscape 7
# and the Mozilla Suite 1.7 write it: column names, values (page titles in UTF-16LE,
# as "$00" escapes), the history table with its meta row, then transactions that
# the browser appended later. No such browser runs here, so the text is written by
# hand after real files of that era.
#
# What the file holds once read (the tests count on it):
#   8  visited.test   not typed, rewritten by transaction 2 ([-8 ...]): stays
#   9  typed-only.test typed: goes
#   A  mixed.test     typed by transaction 1: goes
#   B  untyped.test   typed, its Typed cell cut by transaction 2: stays
#   C  expired.test   cut from the table by transaction 2: already gone
#   D  new-typed.test added typed by transaction 1: goes
#   E  aborted.test   only in an aborted transaction: never there
#   F  unfinished.test only in a transaction that never ends: never there
#
# thunderbird/*.msf are real Mork files, written by Thunderbird's own Mork code (the
# same code the old browsers used), made with THUNDERBIRD=1 and the Debian package
# thunderbird installed: a new profile with only Local Folders, started under Xvfb.
# Trash-reopened.msf is the proof that a real Mork reader takes the files Velloran
# writes: Trash.msf rewritten by Velloran's writer, then opened again by Thunderbird,
# which kept it and appended its own transaction.
# Usage: [THUNDERBIRD=1] tests/data/browsers/make-mork-fixtures.sh
set -eu
here=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$here/mork"
cat > "$here/mork/history.dat" <<'MORK'
// <!-- <mdb:mork:z v="1.4"/> -->
< <(a=c)> // (f=iso-8859-1)
  (B8=Typed)(B9=LastPageVisited)(BA=ByteOrder)(BB=Hidden)
  (80=ns:history:db:row:scope:history:all)
  (81=ns:history:db:table:kind:history)(82=URL)(83=Referrer)
  (84=LastVisitDate)(85=FirstVisitDate)(86=VisitCount)(87=Name)
  (88=Hostname)>

<(80=LE)(8A=http://visited.test/page)(8B=1098300829520000)(8C=1)
  (8D=visited.test)(8E=V$00i$00s$00i$00t$00e$00d$00)(8F=http://typed-only.test/)
  (90=1098300830000000)(91=typed-only.test)
  (92=T$00y$00p$00e$00d$00 $00s$00e$00c$00r$00e$00t$00)(93=http://mixed.test/)
  (94=mixed.test)(95=http://untyped.test/)(96=untyped.test)
  (97=http://expired.test/)(98=expired.test)(99=2)(9A=http://linked.test/)>

{1:^80 {(k^81:c)(s=9)[1(^BA^80)(^B9^8A)]}
  [8(^82^8A)(^83^9A)(^84^8B)(^85^8B)(^86^8C)(^87^8E)(^88^8D)]
  [9(^82^8F)(^84^90)(^85^90)(^86^8C)(^87^92)(^88^91)(^B8=1)]
  [A(^82^93)(^84^90)(^85^90)(^86^99)(^88^94)]
  [B(^82^95)(^84^90)(^85^90)(^86^8C)(^88^96)(^B8=1)]
  [C(^82^97)(^84^8B)(^85^8B)(^86^8C)(^88^98)]}

@$${1{@
<(9B=http://new-typed.test/)(9C=1098300900000000)(9D=new-typed.test)
  (9E=a long title that goes on past the end of \
the line)>
{1:^80 {(k^81:c)(s=9)}
  [D(^82^9B)(^84^9C)(^85^9C)(^86^8C)(^87^9E)(^88^9D)(^B8=1)]
  [A(^B8=1)(^84^9C)]}
@$$}1}@

@$${2{@
{1:^80 -C}
[B:^80 -(^B8=)]
[-8:^80(^82^8A)(^83^9A)(^84^9C)(^85^8B)(^86^99)(^87^8E)(^88^8D)]
@$$}2}@

@$${3{@
<(9F=http://aborted.test/)>
{1:^80 [E(^82^9F)(^B8=1)]}
@$$}~~}@

@$${4{@
<(A0=http://unfinished.test/)>
{1:^80 [F(^82^A0)(^B8=1)]}
MORK

if [ "${THUNDERBIRD:-}" = 1 ]; then
  tmp=$(mktemp -d)
  trap 'rm -rf "$tmp"' EXIT
  HOME="$tmp" thunderbird --headless -CreateProfile "t $tmp/prof"
  cat > "$tmp/prof/user.js" <<'PREFS'
user_pref("mail.accountmanager.localfoldersserver", "server1");
user_pref("mail.server.server1.type", "none");
user_pref("mail.server.server1.hostname", "Local Folders");
user_pref("mail.server.server1.userName", "nobody");
user_pref("mail.server.server1.directory-rel", "[ProfD]Mail/Local Folders");
user_pref("mail.account.account1.server", "server1");
user_pref("mail.accountmanager.accounts", "account1");
user_pref("mail.provider.suppress_dialog_on_startup", true);
user_pref("mailnews.start_page.enabled", false);
PREFS
  run() { HOME="$tmp" timeout 45 xvfb-run -a thunderbird --profile "$tmp/prof" || true; }
  run
  folders="$tmp/prof/Mail/Local Folders"
  mkdir -p "$here/mork/thunderbird"
  cp "$folders/"*.msf "$here/mork/thunderbird/"
  src="$here/../../../src"
  cat > "$tmp/rewrite.cpp" <<'CPP'
#include <fstream>
#include <sstream>
#include "cleaning/browsers/MorkFile.hpp"
int main(int, char** argv) {
    std::ifstream in(argv[1], std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    const std::string out = velloran::MorkStore::Parse(text.str()).Write();
    std::ofstream(argv[1], std::ios::binary | std::ios::trunc) << out;
}
CPP
  g++ -std=c++20 -I"$src" "$tmp/rewrite.cpp" "$src"/cleaning/browsers/Mork*.cpp -o "$tmp/rewrite"
  "$tmp/rewrite" "$folders/Trash.msf"
  run
  cp "$folders/Trash.msf" "$here/mork/thunderbird/Trash-reopened.msf"
fi
