#!/usr/bin/env bash
# Makes SQLite's amalgamation (sqlite3.c, sqlite3.h) for the Windows build from
# Debian's own sqlite3 source package, into the folder given (kept there as a cache).
#
# The package is fetched with apt-get source through a private source list made
# at run time from this machine's apt sources (the same addresses, as deb-src),
# with private lists and cache folders: the system's apt configuration and state
# stay as they are, and no address is written into the repository.
set -euo pipefail

out="${1:?usage: $0 OUTPUT_DIR}"
mkdir -p "$out"
out=$(cd "$out" && pwd)
[ -s "$out/sqlite3.c" ] && [ -s "$out/sqlite3.h" ] && exit 0

work="$out/apt"
rm -rf "$work"
mkdir -p "$work/lists/partial" "$work/cache/archives/partial" "$work/src"

# deb lines of sources.list files, and deb822 stanzas of .sources files, as
# one-line deb-src entries.
sources_list="$work/sources.list"
{
  for f in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    [ -f "$f" ] || continue
    sed -n -E 's/^[[:space:]]*deb([[:space:]])/deb-src\1/p' "$f"
  done
  for f in /etc/apt/sources.list.d/*.sources; do
    [ -f "$f" ] || continue
    awk '
      function flush() {
        if (types ~ /(^|[[:space:]])deb([[:space:]]|$)/ && enabled != "no" && uris != "") {
          n = split(uris, u, /[[:space:]]+/)
          m = split(suites, s, /[[:space:]]+/)
          opt = signed != "" ? "[signed-by=" signed "] " : ""
          for (i = 1; i <= n; i++)
            for (j = 1; j <= m; j++)
              if (u[i] != "" && s[j] != "") print "deb-src " opt u[i] " " s[j] " " comps
        }
        types = uris = suites = comps = signed = enabled = ""
      }
      /^[[:space:]]*#/ { next }
      /^[[:space:]]*$/ { flush(); next }
      {
        key = tolower($1); sub(/:$/, "", key)
        val = $0; sub(/^[^:]*:[[:space:]]*/, "", val)
        if (key == "types") types = val
        else if (key == "uris") uris = val
        else if (key == "suites") suites = val
        else if (key == "components") comps = val
        else if (key == "signed-by") signed = val
        else if (key == "enabled") enabled = tolower(val)
      }
      END { flush() }' "$f"
  done
} >"$sources_list"
if ! [ -s "$sources_list" ]; then
  echo "sqlite-windows: no deb sources found in /etc/apt" >&2
  exit 1
fi

apt_options=(
  -o Dir::Etc::SourceList="$sources_list"
  -o Dir::Etc::SourceParts=/nonexistent
  -o Dir::State::Lists="$work/lists"
  -o Dir::State::Status=/var/lib/dpkg/status
  -o Dir::Cache="$work/cache"
  -o Dir::Cache::archives="$work/cache/archives"
  -o Dir::Cache::pkgcache=""
  -o Dir::Cache::srcpkgcache=""
  -o APT::Sandbox::User=root
  -o Debug::NoLocking=1
)
apt-get -qq "${apt_options[@]}" update
(cd "$work/src" && apt-get -qq "${apt_options[@]}" source sqlite3 >/dev/null)

tree=$(find "$work/src" -mindepth 1 -maxdepth 1 -type d -name 'sqlite3-*' | head -n 1)
[ -n "$tree" ] || {
  echo "sqlite-windows: apt-get source gave no sqlite3 tree" >&2
  exit 1
}
# The amalgamation is generated (it needs tclsh) in a build folder of its own.
mkdir -p "$work/bld"
(cd "$work/bld" && "$tree/configure" --disable-tcl >/dev/null && make -s sqlite3.c >/dev/null)
cp "$work/bld/sqlite3.c" "$work/bld/sqlite3.h" "$out/"
version=$(sed -n -E 's/^#define SQLITE_VERSION[[:space:]]+"([^"]+)".*/\1/p' "$out/sqlite3.h")
echo "$version (from $(basename "$tree"))" >"$out/VERSION"
rm -rf "$work"
echo "sqlite-windows: SQLite $version ready in $out"
