# What `cmake --install` puts under the prefix: the library, its headers, the package for find_package(kel) and kel.pc for
# pkg-config. The tree may be moved as a whole: no file holds the prefix as it was at the time of the build.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

install(TARGETS kel EXPORT kelTargets INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(KEL_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kel)
configure_package_config_file(cmake/kelConfig.cmake.in ${PROJECT_BINARY_DIR}/kelConfig.cmake
    INSTALL_DESTINATION ${KEL_PACKAGE_DIR})
# The SONAME holds the minor version, so another minor version is another interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kelConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(EXPORT kelTargets NAMESPACE kel:: DESTINATION ${KEL_PACKAGE_DIR})
install(FILES ${PROJECT_BINARY_DIR}/kelConfig.cmake ${PROJECT_BINARY_DIR}/kelConfigVersion.cmake
    DESTINATION ${KEL_PACKAGE_DIR})

# From the folder of kel.pc back to the prefix.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(KEL_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
    file(RELATIVE_PATH KEL_PC_UP "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
    string(REGEX REPLACE "/$" "" KEL_PC_UP "${KEL_PC_UP}")
    set(KEL_PC_PREFIX "\${pcfiledir}/${KEL_PC_UP}")
endif()
foreach(dir IN ITEMS LIBDIR INCLUDEDIR)
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
        set(KEL_PC_${dir} "${CMAKE_INSTALL_${dir}}")
    else()
        set(KEL_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
    endif()
endforeach()
configure_file(cmake/kel.pc.in ${PROJECT_BINARY_DIR}/kel.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# `cpack` in the build tree packs what would be installed into a .tar.gz.
if(PROJECT_IS_TOP_LEVEL)
    set(CPACK_GENERATOR TGZ)
    set(CPACK_PACKAGE_VENDOR "KEL maintainers")
    include(CPack)
endif()
