# The Debian packages that `cpack` makes of a build with shared libraries, one for each component of the
# install step. They follow the version that is part of the library's file name, so that hosts of two
# versions can be installed side by side.

set(abiVersion ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(library libtelvora${abiVersion})
set(simulatedLibrary libtelvora-simulated${abiVersion})
set(same "(= ${PROJECT_VERSION})")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "Telvora maintainers <maintainers@telvora.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Which packages of the system a program or library needs is read from it. Those of our own are written
# out below; their libraries are found where they are built.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/Telvora)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
# Whatever the umask of who builds them.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# telvora_add_deb(COMPONENT PACKAGE SECTION DEPENDS DESCRIPTION)
macro(telvora_add_deb component package section depends description)
    string(TOUPPER ${component} upper)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}")
    set(CPACK_COMPONENT_${upper}_DESCRIPTION "${PROJECT_DESCRIPTION}: ${description}")
    install(FILES ${CMAKE_CURRENT_LIST_DIR}/debian/copyright DESTINATION share/doc/${package}
        COMPONENT ${component} EXCLUDE_FROM_ALL)
endmacro()

set(CPACK_COMPONENTS_ALL "")
telvora_add_deb(library ${library} libs "" "shared library")
telvora_add_deb(development libtelvora-dev libdevel
    "${library} ${same}, libboost1.81-dev, libboost-json1.81-dev" "headers and build files")
telvora_add_deb(simulated_library ${simulatedLibrary} libs "${library} ${same}"
    "shared library of the simulated platform")
telvora_add_deb(simulated libtelvora-simulated-dev libdevel
    "${simulatedLibrary} ${same}, libtelvora-dev ${same}"
    "simulated platform for a host's tests")
if(TELVORA_PLATFORM_QT)
    set(qtLibrary libtelvora-qt${abiVersion})
    telvora_add_deb(qt_library ${qtLibrary} libs "${library} ${same}"
        "shared libraries of the integration of Qt 6")
    telvora_add_deb(qt libtelvora-qt-dev libdevel
        "${qtLibrary} ${same}, libtelvora-dev ${same}, qt6-base-dev"
        "integration of Qt 6")
endif()
if(TELVORA_BUILD_TOOLS)
    telvora_add_deb(tools telvora-tools devel "${library} ${same}, ${simulatedLibrary} ${same}"
        "telvora-host and telvora-collector")
endif()
include(CPack)
