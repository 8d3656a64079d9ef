# Headers, library, and the two ways to find them: zarnConfig.cmake and zarn.pc. Neither holds a path of this machine.

include(CMakePackageConfigHelpers)

set(zarn_config_dir "${CMAKE_INSTALL_LIBDIR}/cmake/zarn")

# Two components, for packages: what programs run with, and what they are compiled with.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/zarn" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
    FILES_MATCHING PATTERN "*.h")
install(TARGETS zarn EXPORT zarn_targets
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime)
install(EXPORT zarn_targets FILE zarnTargets.cmake NAMESPACE zarn:: DESTINATION "${zarn_config_dir}")

if(BUILD_SHARED_LIBS)
    set(ZARN_STATIC_CONFIG OFF)
else()
    set(ZARN_STATIC_CONFIG ON)
endif()
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/zarnConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/zarnConfig.cmake"
    INSTALL_DESTINATION "${zarn_config_dir}"
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/zarnConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/zarnConfig.cmake" "${PROJECT_BINARY_DIR}/zarnConfigVersion.cmake"
    DESTINATION "${zarn_config_dir}")

# pkg-config: the prefix follows from where the file lies, so an installed tree can be moved.
set(zarn_pc_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
cmake_path(ABSOLUTE_PATH zarn_pc_dir BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" NORMALIZE OUTPUT_VARIABLE zarn_pc_place)
file(RELATIVE_PATH zarn_pc_to_prefix "${zarn_pc_place}" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/+$" "" zarn_pc_to_prefix "${zarn_pc_to_prefix}")
foreach(kind LIBDIR INCLUDEDIR)
    set(zarn_pc_${kind} "${CMAKE_INSTALL_${kind}}")
    if(IS_ABSOLUTE "${zarn_pc_${kind}}")
        file(RELATIVE_PATH zarn_pc_${kind} "${CMAKE_INSTALL_PREFIX}" "${zarn_pc_${kind}}")
    endif()
endforeach()
set(zarn_pc_cflags "")
set(zarn_pc_requires_private "")
set(zarn_pc_libs_private "")
if(NOT BUILD_SHARED_LIBS)
    set(zarn_pc_cflags " -DZARN_STATIC")
    # By name, not by their .pc files where they have any: DevIL's asks for the codecs behind its shared library.
    set(zarn_pc_requires_private "liblz4, libagg, libhwy")
    set(zarn_pc_libs_private "-pthread")
    if(ZARN_WITH_FREEIMAGE)
        string(PREPEND zarn_pc_libs_private "-lfreeimage ")
    endif()
    if(ZARN_WITH_DEVIL)
        string(PREPEND zarn_pc_libs_private "-lILU -lIL ")
    endif()
    if(WIN32)
        string(APPEND zarn_pc_libs_private " -lgdi32 -luser32")
    elseif(ZARN_WITH_CLIPBOARD)
        string(APPEND zarn_pc_requires_private ", xcb")
    endif()
endif()
configure_file("${PROJECT_SOURCE_DIR}/cmake/zarn.pc.in" "${PROJECT_BINARY_DIR}/zarn.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/zarn.pc" DESTINATION "${zarn_pc_dir}")

if(NOT BUILD_SHARED_LIBS AND ZARN_WITH_FREEIMAGE)
    install(FILES "${PROJECT_SOURCE_DIR}/cmake/FindFreeImage.cmake" DESTINATION "${zarn_config_dir}")
endif()
