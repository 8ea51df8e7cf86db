# `cpack -G DEB` in a build configured with CMAKE_INSTALL_PREFIX=/usr (./setup.sh
# package does this) makes velloran_<version>_<arch>.deb. The dependencies come
# from dpkg-shlibdeps over the installed programs, so they follow what is linked.
set(CPACK_PACKAGE_NAME velloran)
set(CPACK_PACKAGE_VENDOR "The Velloran developers")
set(CPACK_PACKAGE_CONTACT "The Velloran developers <maintainers@velloran.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "privacy and disk cleaner for Wine prefixes and the desktop")
set(CPACK_PACKAGE_DESCRIPTION
    "Velloran removes the traces a desktop keeps: the shell's most-recently-used\n\
lists, the clipboard, the recycle bin, recent documents, other programs'\n\
history lists, and browser caches, histories, cookies and form data. It cleans\n\
Wine prefixes and the desktop's own equivalents: the freedesktop trash, the\n\
recently-used list and the X11 clipboard. Beside the one-button clean it has a\n\
junk file finder, a cookie manager and a file eradicator, in a Qt window\n\
(velloran) and on the console (velloran-cli).")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${VELLORAN_HOMEPAGE})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded at run time, so the linked libraries do not name them: sd-bus for power
# off and reboot, Qt's platform and SVG plugins.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libsystemd0")
if(VELLORAN_GUI)
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libsystemd0, qt6-qpa-plugins, libqt6svg6")
endif()
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "xdg-utils, adwaita-icon-theme")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "wine")
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
include(CPack)
