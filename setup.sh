#!/usr/bin/env bash
# Sets up a Debian 12 machine for Velloran, builds it, and then runs it or its tests.
#   ./setup.sh run [ARGS...]   install what is missing, build, start Velloran
#   ./setup.sh test            install what is missing, build, run the whole test suite
#   ./setup.sh package         install what is missing, build velloran_<version>_<arch>.deb
#   ./setup.sh format-check    fail when a source file differs from clang-format's output
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build="${VELLORAN_BUILD_DIR:-$here/build}"
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

install_missing() {
  local missing=()
  for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "Installing: ${missing[*]}"
  local sudo=()
  [ "$(id -u)" -eq 0 ] || sudo=(sudo)
  "${sudo[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

configure_and_build() {
  local werror=OFF
  [ "${CI:-}" = "true" ] && werror=ON
  cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELLORAN_WERROR="$werror" >/dev/null
  cmake --build "$build" -j "$(nproc)"
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
    install_missing
    configure_and_build
    cd "$build"
    QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j "$(nproc)"
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
    echo "usage: $0 run [ARGS...] | test | package | format-check" >&2
    exit 2
    ;;
esac
