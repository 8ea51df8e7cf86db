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
# Usage: tests/data/browsers/make-mork-fixtures.sh
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
