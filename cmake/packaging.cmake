# Install rules and the Debian package (cpack -G DEB; scripts/package).
# Windows: packaging-windows.cmake (one folder, the NSIS installer).
#
# Installed layout, relative to the prefix (/usr in the package):
#   bin/linkport-toolkit, bin/linkport, bin/linkport-sim
#   lib/linkport-toolkit/libLP2RP32.so           private: not on the loader's path
#   share/linkport-toolkit/demo-firmware/
#   share/doc/linkport-toolkit/{manual.md,README.md}
#   share/applications/linkport-toolkit.desktop
#   share/icons/hicolor/{scalable,256x256}/apps/linkport-toolkit.{svg,png}
# The programs find the library and the demo firmware from their own folder
# in this layout and in the build tree alike (src/platform/shipped_files.cpp);
# keep the two in step.
if(NOT LP_BUILD_GUI)
  return()
endif()
if(WIN32)
  include(${CMAKE_CURRENT_LIST_DIR}/packaging-windows.cmake)
  return()
endif()

include(GNUInstallDirs)

# Not GNUInstallDirs' LIBDIR: on Debian that is the multiarch folder, which
# the loader searches, and this library is only for the programs' demo.
set(LP_INSTALL_PRIVATE_LIBDIR lib/linkport-toolkit)
set(LP_INSTALL_DATADIR ${CMAKE_INSTALL_DATADIR}/linkport-toolkit)
# GNUInstallDirs would name it after the CMake project.
set(LP_INSTALL_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/linkport-toolkit)

install(TARGETS linkport-toolkit linkport linkport-sim
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# The library is loaded by path, never linked: no SONAME link, no dev files.
install(TARGETS lp2rp32
        LIBRARY DESTINATION ${LP_INSTALL_PRIVATE_LIBDIR} NAMELINK_SKIP)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/resources/demo-firmware/
        DESTINATION ${LP_INSTALL_DATADIR}/demo-firmware)
install(FILES ${CMAKE_SOURCE_DIR}/docs/manual.md ${CMAKE_SOURCE_DIR}/README.md
        DESTINATION ${LP_INSTALL_DOCDIR})
install(FILES ${CMAKE_SOURCE_DIR}/resources/linkport-toolkit.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
# The PNG is rendered from the SVG and kept beside it (see the SVG's note).
install(FILES ${CMAKE_SOURCE_DIR}/resources/icons/linkport-toolkit.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
install(FILES ${CMAKE_SOURCE_DIR}/resources/icons/linkport-toolkit-256.png
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/256x256/apps
        RENAME linkport-toolkit.png)

set(CPACK_PACKAGE_NAME linkport-toolkit)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "HVN")
set(CPACK_PACKAGE_CONTACT "HVN Linkport Toolkit maintainers <toolkit@linkport.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "Linkport datalink adapter toolkit: versions, firmware flash, datalink tests")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_INSTALL_DIRECTORY linkport-toolkit)

set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${CPACK_PACKAGE_CONTACT}")
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://linkport.invalid/toolkit")
# The long description; CPack puts the summary line above it and indents it
# the way dpkg wants (an empty line becomes " .").
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Linkport Toolkit works with HVN Linkport datalink adapters: the Linkport II
(serial or USB, through its RP1210 driver), the Compact Linkport (serial)
and the Wireless Linkport (over the network).

It shows what an adapter holds (hardware, application and loader versions,
driver details), flashes new application firmware into it and tests its
datalinks (J1708, J1939 and the HVN datalink) through the RP1210 driver.

The package has the desktop program linkport-toolkit, the command line
program linkport for scripts and for machines without a desktop, and the
adapter simulator linkport-sim.

Both programs have a demo mode (--demo) with simulated adapters, a test
RP1210 driver library and demo firmware files, so the toolkit can be tried
without any adapter connected.")
# Runtime dependencies from the libraries the programs link (dpkg-shlibdeps).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# linkport-toolkit_1.0.0_amd64.deb
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)

set(CPACK_GENERATOR DEB)
include(CPack)
