#!/usr/bin/env bash
# Screenshots of velloran.exe's windows under Wine on a virtual display: the test
# driver opens each window from its button and reads it off the screen; the
# pictures land in docs/windows-*.png.
#   tools/windows-screenshots.sh [BUILD_DIR]    (default: build-windows)
set -euo pipefail

here=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$here/build-windows}" && pwd)
driver=$build/tests/velloran_gui_driver.exe
program=$build/src/win32/velloran.exe
[ -f "$driver" ] && [ -f "$program" ] || {
  echo "build the Windows programs first: ./setup.sh windows" >&2
  exit 1
}

# ImageMagick turns the BMPs into PNGs.
converter() {
  for c in magick /usr/bin/convert convert; do
    if command -v "$c" >/dev/null 2>&1 && "$c" -version 2>/dev/null | grep -q ImageMagick; then
      echo "$c"
      return
    fi
  done
}
if [ -z "$(converter)" ]; then
  sudo apt-get install -y --no-install-recommends imagemagick || apt-get install -y --no-install-recommends imagemagick
fi
convert_tool=$(converter)

shots=$(mktemp -d)
trap 'rm -rf "$shots"' EXIT
"$here/cmake/wine-gui-run.sh" "$build/wineprefix-gui" "$driver" "Z:$program" shots "Z:$shots"
for bmp in "$shots"/*.bmp; do
  "$convert_tool" "$bmp" "$here/docs/$(basename "${bmp%.bmp}").png"
  echo "docs/$(basename "${bmp%.bmp}").png"
done
