# What `cmake --install` installs: headers, libraries, the CMake package, pkg-config files, the
# license and those of others, and the tools if they are built.

include(CMakePackageConfigHelpers)

if(TELVORA_PLATFORM_LINUX)
    set(platformTargets telvora telvora_linux)
    set(pkgConfigFiles telvora telvora-simulated)
else()
    set(platformTargets "")
    set(pkgConfigFiles telvora-simulated)
endif()

# One set for each component, which `cmake --install --component` and the packages of a system tell
# apart: what a program needs to run, and what is needed to build one.
function(telvora_install_libraries exportName library development)
    install(TARGETS ${ARGN}
        EXPORT ${exportName}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${library}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${library}
            NAMELINK_COMPONENT ${development}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${development}
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT ${development}
        FILE_SET generated DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT ${development})
    install(EXPORT ${exportName} NAMESPACE Telvora:: DESTINATION ${packageFolder}
        COMPONENT ${development})
endfunction()

set(packageFolder ${CMAKE_INSTALL_LIBDIR}/cmake/Telvora)
telvora_install_libraries(TelvoraTargets library development ${platformTargets} telvora_core)
telvora_install_libraries(TelvoraSimulatedTargets simulated_library simulated telvora_simulated)
if(TELVORA_PLATFORM_QT)
    telvora_install_libraries(TelvoraQtTargets qt_library qt
        telvora_qt telvora_qt_core telvora_qt_widgets telvora_qt_quick)
endif()

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/docs/third-party-licences.md
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT library)
if(TELVORA_BUILD_TOOLS)
    install(TARGETS telvora-host telvora-collector
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    # So that they find shared libraries of the same tree, wherever it is moved.
    file(RELATIVE_PATH libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(telvora-host telvora-collector PROPERTIES
        INSTALL_RPATH "$ORIGIN/${libraries}")
endif()

# CMake: find_package(Telvora) gives Telvora::telvora, what it consists of (Telvora::core and
# Telvora::linux), and Telvora::simulated. A host may name those three, without "Telvora::", as
# components; Telvora::qt it gets only if it names the component qt.
configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/TelvoraConfig.cmake.in ${PROJECT_BINARY_DIR}/TelvoraConfig.cmake
    INSTALL_DESTINATION ${packageFolder}
    NO_SET_AND_CHECK_MACRO)
# Before 1.0 a minor version may change what a host compiles against.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TelvoraConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/TelvoraConfig.cmake ${PROJECT_BINARY_DIR}/TelvoraConfigVersion.cmake
    DESTINATION ${packageFolder} COMPONENT development)

# pkg-config. The prefix is relative to the file, so that the installed tree can be moved; the other
# folders are relative to the prefix unless they were given as absolute paths.
set(pkgConfigFolder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
foreach(kind IN ITEMS LIBDIR INCLUDEDIR)
    set(TELVORA_PC_${kind} ${CMAKE_INSTALL_${kind}})
    cmake_path(IS_ABSOLUTE TELVORA_PC_${kind} isAbsolute)
    if(NOT isAbsolute)
        string(PREPEND TELVORA_PC_${kind} "\${prefix}/")
    endif()
endforeach()
cmake_path(IS_ABSOLUTE pkgConfigFolder isAbsolute)
if(isAbsolute)
    set(TELVORA_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
else()
    file(RELATIVE_PATH upToPrefix /prefix/${pkgConfigFolder} /prefix)
    string(REGEX REPLACE "/$" "" upToPrefix "${upToPrefix}")
    set(TELVORA_PC_PREFIX "\${pcfiledir}/${upToPrefix}")
endif()

if(BUILD_SHARED_LIBS)
    set(TELVORA_PC_CFLAGS "")
    set(TELVORA_PC_PLATFORM_LIBS
        "-Wl,--push-state,--no-as-needed -ltelvora_linux -Wl,--pop-state")
    set(TELVORA_PC_CORE_LIBS "")
    set(TELVORA_PC_ARCHIVE_LIBS "")
else()
    set(TELVORA_PC_CFLAGS " -DTELVORA_STATIC")
    set(TELVORA_PC_PLATFORM_LIBS "-Wl,--undefined=telvoraDefaultPlatform -ltelvora_linux")
    set(TELVORA_PC_CORE_LIBS " -lz")
    set(TELVORA_PC_ARCHIVE_LIBS " -lz -lcurl")
endif()
foreach(file IN LISTS pkgConfigFiles)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/${file}.pc.in ${PROJECT_BINARY_DIR}/${file}.pc @ONLY)
    if(file STREQUAL telvora-simulated)
        set(component simulated)
    else()
        set(component development)
    endif()
    install(FILES ${PROJECT_BINARY_DIR}/${file}.pc
        DESTINATION ${pkgConfigFolder} COMPONENT ${component})
endforeach()
