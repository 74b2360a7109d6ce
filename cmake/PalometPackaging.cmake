# SPDX-License-Identifier: GPL-3.0-or-later
# A Debian package of what `cmake --install` puts in place: the executable,
# the desktop entry, the icons and the metainfo. Its dependencies are the
# shared libraries the executable links, as dpkg-shlibdeps finds them,
# plus the package that brings wit and wwt and the unzip that unpacks the
# downloaded archives.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME palomet)
set(CPACK_PACKAGE_VENDOR "Palomet developers")
set(CPACK_PACKAGE_CONTACT "Palomet developers <palomet@users.noreply.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION
    "Palomet lists the games of folders of disc images and of WBFS partitions, shows them as a table or as a grid of covers, and copies, converts, extracts, adds, removes, recovers and renames them with the wit and wwt tools.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION games)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "wit, unzip")
# Qt loads its SVG plugin at run time, so dpkg-shlibdeps cannot see it; the
# scalable icon needs it.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libqt6svg6")
include(CPack)
