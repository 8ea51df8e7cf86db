#!/usr/bin/env bash
# Sets up a Debian 12 machine for Velloran, builds it, and then runs it or its tests.
#   ./setup.sh run [ARGS...]   install what is missing, build, start Velloran
#   ./setup.sh test            install what is missing, build, run the whole test suite,
#                              then the same for the Windows build under Wine
#   ./setup.sh windows         install what is missing, build the Windows programs,
#                              their installer and the portable zip
#   ./setup.sh package         install what is missing, build velloran_<version>_<arch>.deb
#   ./setup.sh format-check    fail when a source file differs from clang-format's output
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build="${VELLORAN_BUILD_DIR:-$here/build}"
windows_build="${VELLORAN_WINDOWS_BUILD_DIR:-$here/build-windows}"
mode="${1:-run}"
shift || true

packages=(
  build-essential cmake pkg-config git
  qt6-base-dev qt6-base-dev-tools libgl-dev libqt6svg6
  libgtest-dev libgmock-dev libbenchmark-dev
  libsqlite3-dev libsystemd-dev libxcb1-dev
  adwaita-icon-theme xdg-utils
  python3 e2fsprogs
  dbus python3-dbusmock
  clang-format ccache
  librsvg2-bin desktop-file-utils appstream groff-base dpkg-dev file
)
# The Windows build: the cross compiler, Wine for its tests, GoogleTest's sources,
# tclsh, which SQLite's amalgamation is made with, makensis and zip for the
# installer and the portable zip, and xvfb for the window program's tests.
windows_packages=(g++-mingw-w64-x86-64-posix wine wine64 googletest tcl nsis zip xvfb)

install_missing() {
  local missing=()
  for p in "${packages[@]}" "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "Installing: ${missing[*]}"
  local sudo=()
  [ "$(id -u)" -eq 0 ] || sudo=(sudo)
  "${sudo[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

werror=OFF
[ "${CI:-}" = "true" ] && werror=ON

configure_and_build() {
  cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELLORAN_WERROR="$werror" >/dev/null
  cmake --build "$build" -j "$(nproc)"
}

# velloran-cli.exe and the test program, without debug information (-O1 would
# save less than a tenth of the compile time).
build_windows() {
  cmake -S "$here" -B "$windows_build" --toolchain "$here/cmake/toolchain-mingw-w64.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DVELLORAN_WERROR="$werror" >/dev/null
  cmake --build "$windows_build" -j "$(nproc)"
}

# The Windows suite under Wine, in the build's own prefix. Its wineserver is
# started first, with its output away from ctest's pipes, and stopped after.
test_windows() {
  local prefix="$windows_build/wineprefix"
  "$here/cmake/wine-run.sh" "$prefix" wineboot </dev/null >/dev/null 2>&1
  local status=0
  # A test that fails is run once more: Wine under load now and then refuses a
  # window or a pipe that a second run gets (the failure stays in the log).
  (cd "$windows_build" && ctest --output-on-failure -j "$(nproc)" --repeat until-pass:2) ||
    status=$?
  WINEPREFIX="$prefix" wineserver -k >/dev/null 2>&1 || true
  return "$status"
}

case "$mode" in
  run)
    install_missing
    configure_and_build
    if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
      exec "$build/src/qt/velloran" "$@"
    fi
    echo "No display found: starting the console front end."
    if [ $# -eq 0 ]; then set -- tasks; fi
    exec "$build/src/velloran-cli" "$@"
    ;;
  test)
    install_missing "${windows_packages[@]}"
    configure_and_build
    (cd "$build" && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j "$(nproc)")
    build_windows
    test_windows
    ;;
  windows)
    install_missing "${windows_packages[@]}"
    build_windows
    cmake --build "$windows_build" --target installer portable
    ls "$windows_build"/src/velloran-cli.exe "$windows_build"/src/win32/velloran.exe \
      "$windows_build"/velloran-*-setup.exe "$windows_build"/velloran-*-windows-x64.zip
    ;;
  package)
    install_missing
    # A build of its own: the package installs under /usr, the checkout build does not.
    pkg="${VELLORAN_PACKAGE_BUILD_DIR:-$here/build-package}"
    # Debian's hardening flags (stack protector, fortify, full RELRO and BIND_NOW).
    export DEB_BUILD_MAINT_OPTIONS=hardening=+all
    CXXFLAGS="$(dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS)" \
      LDFLAGS="$(dpkg-buildflags --get LDFLAGS)" \
      cmake -S "$here" -B "$pkg" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr \
      -DVELLORAN_TESTS=OFF -DVELLORAN_BENCH=OFF >/dev/null
    cmake --build "$pkg" -j "$(nproc)"
    (cd "$pkg" && cpack -G DEB)
    cp "$pkg"/velloran_*.deb "$here/"
    ls "$here"/velloran_*.deb
    ;;
  format-check)
    install_missing
    cd "$here"
    find src tests bench \( -name '*.cpp' -o -name '*.hpp' \) -print0 |
      xargs -0 clang-format --dry-run --Werror
    echo "format check passed"
    ;;
  *)
    echo "usage: $0 run [ARGS...] | test | windows | package | format-check" >&2
    exit 2
    ;;
esac
