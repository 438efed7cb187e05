# Installation and the Debian package. Included at the end of the top-level CMakeLists.txt.
#
#   cmake --install build/release --prefix /usr   # programs, units, D-Bus policies, docs
#   cd build/release && cpack -G DEB              # glyphd_<version>_<arch>.deb
#
# Both units are user units: the daemon's icons live in the graphical session, and the router
# it needs runs beside it in the same user manager.

include(GNUInstallDirs)
set(GLYPHD_DOC_DIR ${CMAKE_INSTALL_DATADIR}/doc/${PROJECT_NAME})

install(TARGETS glyphd clientmgr RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# The units name the programs by their full path, so they are written at install time, when
# the prefix is known (cpack installs into /usr whatever the build was configured with).
# The build keeps a copy that names the programs in the build tree, for the unit test.
foreach(unit clientmgr.service glyphd.service)
    set(template ${CMAKE_CURRENT_LIST_DIR}/${unit}.in)
    set(GLYPHD_UNIT_BINDIR ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    configure_file(${template} ${CMAKE_BINARY_DIR}/packaging/${unit} @ONLY)
    set(installed_unit ${CMAKE_BINARY_DIR}/packaging/install/${unit})
    install(CODE "
        set(GLYPHD_UNIT_BINDIR \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
        configure_file(\"${template}\" \"${installed_unit}\" @ONLY)")
    install(FILES ${installed_unit} DESTINATION lib/systemd/user)
endforeach()

# D-Bus policies for the platform services the daemon talks to on the system bus.
file(GLOB glyphd_dbus_policies CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/dbus/*.conf)
if(glyphd_dbus_policies)
    install(FILES ${glyphd_dbus_policies} DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/system.d)
endif()

# Debian wants the changelog and the manual pages compressed, reproducibly (no time stamp).
find_program(GLYPHD_GZIP gzip REQUIRED)
set(glyphd_package_docs "")
foreach(doc changelog man/glyphd.1 man/clientmgr.1)
    get_filename_component(name ${doc} NAME)
    set(compressed ${CMAKE_BINARY_DIR}/packaging/${name}.gz)
    add_custom_command(
        OUTPUT ${compressed}
        COMMAND ${GLYPHD_GZIP} -9 -n -c ${CMAKE_CURRENT_LIST_DIR}/${doc} > ${compressed}
        DEPENDS ${CMAKE_CURRENT_LIST_DIR}/${doc}
        COMMENT "Compressing ${name}")
    list(APPEND glyphd_package_docs ${compressed})
endforeach()
add_custom_target(glyphd_package_docs ALL DEPENDS ${glyphd_package_docs})
install(FILES ${CMAKE_CURRENT_LIST_DIR}/copyright ${CMAKE_BINARY_DIR}/packaging/changelog.gz
        DESTINATION ${GLYPHD_DOC_DIR})
install(FILES ${CMAKE_BINARY_DIR}/packaging/glyphd.1.gz ${CMAKE_BINARY_DIR}/packaging/clientmgr.1.gz
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

# --- Debian package ---------------------------------------------------------------------------
set(GLYPHD_PACKAGE_MAINTAINER "glyphd developers <glyphd-dev@lists.example.org>"
    CACHE STRING "Maintainer field of the Debian package")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${GLYPHD_PACKAGE_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "status-bar daemon of the test instrument")
set(CPACK_PACKAGE_DESCRIPTION
    "glyphd connects to the instrument's local message router, registers with the\n"
    "control panel and shows one tray icon per piece of instrument status: storage,\n"
    "remote users, network, Bluetooth, jobs, time sources, fan and laser alarms.\n"
    "The package also holds clientmgr, the message router, and systemd user units\n"
    "for both.")
string(JOIN "" CPACK_PACKAGE_DESCRIPTION ${CPACK_PACKAGE_DESCRIPTION})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Library dependencies are read from the binaries by dpkg-shlibdeps.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Not a library: the Wayland platform plugin is loaded at run time, so no tool can see it.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qtwayland5")
# Only a purge needs a script: it removes the links an administrator made by enabling the units.
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
