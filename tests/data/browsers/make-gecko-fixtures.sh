#!/bin/sh
# Makes the small Gecko profile databases the browser tests copy: the real
# schemas Firefox ESR 153 wrote (schemas/), filled with a few known rows.
# Usage: tests/data/browsers/make-gecko-fixtures.sh   (needs the sqlite3 program)
set -eu
here=$(cd "$(dirname "$0")" && pwd)
out="$here/gecko"
mkdir -p "$out"
rm -f "$out"/places.sqlite "$out"/cookies.sqlite "$out"/formhistory.sqlite
# SQLite makes its own sqlite_* tables; the dumps list them too.
schema() { grep -v '^CREATE TABLE sqlite_' "$here/schemas/firefox153-$1.sql"; }

# Four pages: typed only (goes), typed and bookmarked with a keyword (stays),
# only followed links (untouched), typed once and followed once (stays).
{ schema places; cat <<'SQL'
PRAGMA journal_mode=WAL;
INSERT INTO moz_origins(id, prefix, host, frecency) VALUES
  (1, 'https://', 'typed-only.test', 100), (2, 'https://', 'bookmarked.test', 100),
  (3, 'https://', 'visited.test', 100), (4, 'https://', 'mixed.test', 100);
INSERT INTO moz_places(id, url, title, visit_count, typed, foreign_count, origin_id, last_visit_date) VALUES
  (1, 'https://typed-only.test/', 'Typed only', 1, 1, 0, 1, 1700000000000000),
  (2, 'https://bookmarked.test/', 'Bookmarked', 1, 1, 2, 2, 1700000001000000),
  (3, 'https://visited.test/page', 'Visited', 2, 0, 0, 3, 1700000003000000),
  (4, 'https://mixed.test/', 'Mixed', 2, 1, 0, 4, 1700000005000000);
INSERT INTO moz_historyvisits(id, place_id, visit_date, visit_type) VALUES
  (1, 1, 1700000000000000, 2), (2, 2, 1700000001000000, 2),
  (3, 3, 1700000002000000, 1), (4, 3, 1700000003000000, 1),
  (5, 4, 1700000004000000, 2), (6, 4, 1700000005000000, 1);
INSERT INTO moz_inputhistory(place_id, input, use_count) VALUES (1, 'typ', 1), (4, 'mix', 1);
INSERT INTO moz_bookmarks(id, type, fk, parent, position, title, guid) VALUES
  (1, 2, NULL, 0, 0, '', 'root________'),
  (2, 1, 2, 1, 0, 'Bookmarked', 'bookmark____');
INSERT INTO moz_keywords(id, keyword, place_id) VALUES (1, 'bk', 2);
SQL
} | sqlite3 "$out/places.sqlite" >/dev/null

{ schema cookies; cat <<'SQL'
PRAGMA journal_mode=WAL;
INSERT INTO moz_cookies(name, value, host, path, expiry) VALUES
  ('a', '1', '.example.test', '/', 9999999999999), ('b', '2', 'example.test', '/', 9999999999999),
  ('c', '3', 'keep.test', '/', 9999999999999), ('d', '4', '.sub.keep.test', '/', 9999999999999),
  ('e', '5', 'notkeep.test', '/', 9999999999999);
SQL
} | sqlite3 "$out/cookies.sqlite" >/dev/null

{ schema formhistory; cat <<'SQL'
INSERT INTO moz_formhistory(id, fieldname, value, timesUsed, guid) VALUES
  (1, 'email', 'user@example.test', 2, 'g1'), (2, 'name', 'Alice', 1, 'g2'),
  (3, 'searchbar-history', 'secret search', 1, 'g3');
INSERT INTO moz_sources(id, source) VALUES (1, 'Example Search');
INSERT INTO moz_history_to_sources(history_id, source_id) VALUES (3, 1);
SQL
} | sqlite3 "$out/formhistory.sqlite" >/dev/null

# Fold the WAL into the main files so each fixture is one file.
for db in places cookies; do sqlite3 "$out/$db.sqlite" "PRAGMA wal_checkpoint(TRUNCATE);" >/dev/null; done
rm -f "$out"/*-wal "$out"/*-shm
