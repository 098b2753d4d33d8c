# The Windows install rules and installer (cpack -G NSIS; scripts/windows-test
# and scripts/windows-installer-test).
#
# Installed layout: one folder (C:\Program Files\Linkport Toolkit):
#   linkport-toolkit.exe, linkport.exe, Qt6*.dll, the mingw runtime DLLs
#   platforms\qwindows.dll, styles\qwindowsvistastyle.dll, imageformats\qico.dll
#   demo-firmware\, doc\manual.md, doc\README.md
#   demo\LP2RP32.dll      the test driver (component "demo"): kept out of the
#                         programs' folder so that it never shadows a real
#                         LP2RP32.dll in the Windows folder
# Component "tests" (never in the installer; tests/CMakeLists.txt) adds the
# test programs, both test driver builds beside them and the offscreen
# platform plugin, so that `cmake --install . --component tests` beside the
# rest gives a folder the tests run in as in an installed copy.
# Keep platform/shipped_files.cpp and ui/help_window.cpp in step.

# Qt's folder: Qt6_DIR is <prefix>/lib/cmake/Qt6.
get_filename_component(LP_QT_PREFIX "${Qt6_DIR}/../../.." ABSOLUTE)
set(LP_QT_PLUGINS ${LP_QT_PREFIX}/plugins)

# The compiler's runtime DLLs, which Qt's DLLs need (our own programs link
# them statically).
set(LP_MINGW_RUNTIME)
foreach(dll IN ITEMS libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
                  OUTPUT_VARIABLE found OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT IS_ABSOLUTE "${found}" OR NOT EXISTS "${found}")
    find_file(found_${dll} ${dll} PATHS /usr/${LP_MINGW_PREFIX}/lib /usr/lib/gcc/${LP_MINGW_PREFIX}
              PATH_SUFFIXES 12-posix 13-posix 14-posix NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    set(found ${found_${dll}})
  endif()
  if(NOT found OR NOT EXISTS "${found}")
    message(FATAL_ERROR "${dll} not found beside the compiler ${CMAKE_CXX_COMPILER}")
  endif()
  list(APPEND LP_MINGW_RUNTIME ${found})
endforeach()

set(LP_QT_DLLS)
foreach(module IN ITEMS Core Gui Widgets Network SerialPort)
  list(APPEND LP_QT_DLLS ${LP_QT_PREFIX}/bin/Qt6${module}.dll)
endforeach()

install(TARGETS linkport-toolkit linkport RUNTIME DESTINATION . COMPONENT programs)
install(FILES ${LP_QT_DLLS} ${LP_MINGW_RUNTIME} DESTINATION . COMPONENT programs)
install(FILES ${LP_QT_PLUGINS}/platforms/qwindows.dll DESTINATION platforms COMPONENT programs)
install(FILES ${LP_QT_PLUGINS}/styles/qwindowsvistastyle.dll DESTINATION styles COMPONENT programs)
install(FILES ${LP_QT_PLUGINS}/imageformats/qico.dll DESTINATION imageformats COMPONENT programs)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/resources/demo-firmware/ DESTINATION demo-firmware COMPONENT programs)
install(FILES ${CMAKE_SOURCE_DIR}/docs/manual.md ${CMAKE_SOURCE_DIR}/README.md DESTINATION doc COMPONENT programs)
install(TARGETS lp2rp32 RUNTIME DESTINATION demo COMPONENT demo)


# --- the installer -----------------------------------------------------------
set(CPACK_PACKAGE_NAME "Linkport Toolkit")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "HVN")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "Linkport datalink adapter toolkit: versions, firmware flash, datalink tests")
set(CPACK_PACKAGE_FILE_NAME "LinkportToolkit-${PROJECT_VERSION}-win64")
set(CPACK_PACKAGE_INSTALL_DIRECTORY "Linkport Toolkit")
# The installer's own key (HKLM\Software\HVN\...), which the uninstaller
# deletes: never the key the toolkit keeps its settings in.
set(CPACK_PACKAGE_INSTALL_REGISTRY_KEY "Linkport Toolkit Installer")
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR NSIS)
set(CPACK_COMPONENTS_ALL programs demo)
set(CPACK_COMPONENT_PROGRAMS_DISPLAY_NAME "Linkport Toolkit")
set(CPACK_COMPONENT_PROGRAMS_DESCRIPTION "The toolkit, the linkport command line, the demo firmware and the manual.")
set(CPACK_COMPONENT_PROGRAMS_REQUIRED ON)
set(CPACK_COMPONENT_DEMO_DISPLAY_NAME "Test driver for the simulator")
set(CPACK_COMPONENT_DEMO_DESCRIPTION
    "LP2RP32.dll built from the simulated adapter, for trying the toolkit against linkport-sim. Not a driver for a real adapter.")
set(CPACK_NSIS_PACKAGE_NAME "Linkport Toolkit ${PROJECT_VERSION}")
set(CPACK_NSIS_DISPLAY_NAME "Linkport Toolkit")
set(CPACK_NSIS_INSTALL_ROOT "$PROGRAMFILES64")
set(CPACK_NSIS_EXECUTABLES_DIRECTORY .)
set(CPACK_PACKAGE_EXECUTABLES linkport-toolkit "Linkport Toolkit")
set(CPACK_NSIS_INSTALLED_ICON_NAME linkport-toolkit.exe)
# The manual is Markdown, which Windows opens with nothing by default:
# Notepad (which takes the rest of its command line, blanks and all, as the
# file name).
set(CPACK_NSIS_CREATE_ICONS_EXTRA
    "CreateShortCut '$SMPROGRAMS\\\\$STARTMENU_FOLDER\\\\Linkport Toolkit Manual.lnk' '$WINDIR\\\\notepad.exe' '$INSTDIR\\\\doc\\\\manual.md'")
set(CPACK_NSIS_DELETE_ICONS_EXTRA
    "Delete '$SMPROGRAMS\\\\$MUI_TEMP\\\\Linkport Toolkit Manual.lnk'")
set(CPACK_NSIS_ENABLE_UNINSTALL_BEFORE_INSTALL ON)

# A 64-bit installer: CMake's NSIS script with the target set at its top
# (the default 32-bit stub would need a 32-bit Windows layer to run).
set(lp_nsis_template_dir ${CMAKE_BINARY_DIR}/nsis-template)
file(READ ${CMAKE_ROOT}/Modules/Internal/CPack/NSIS.template.in lp_nsis_template)
string(FIND "${lp_nsis_template}" "\n" lp_first_line_end)
string(SUBSTRING "${lp_nsis_template}" 0 ${lp_first_line_end} lp_nsis_head)
string(SUBSTRING "${lp_nsis_template}" ${lp_first_line_end} -1 lp_nsis_rest)
file(WRITE ${lp_nsis_template_dir}/NSIS.template.in
     "${lp_nsis_head}\nUnicode true\nTarget amd64-unicode\n${lp_nsis_rest}")
list(PREPEND CMAKE_MODULE_PATH ${lp_nsis_template_dir})
include(CPack)
