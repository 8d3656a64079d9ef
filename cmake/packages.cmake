# What `cpack` makes: Debian packages of what is installed (`cpack -G DEB`) and an archive of the sources
# (`cpack --config CPackSourceConfig.cmake`). A shared build gives a package to run with and one to compile with; a
# static build gives the latter alone.
#
#   tools/package [FOLDER]     all of them

set(CPACK_PACKAGE_NAME zarn)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_CONTACT "the zarn maintainers <maintainers@zarn.invalid>")
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME "zarn-${PROJECT_VERSION}")
set(CPACK_SOURCE_IGNORE_FILES "/\\.git/" "/build/" "/out/" "/\\.cache/")

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

# A package's name follows the number that tells apart what programs cannot run with.
set(zarn_runtime_package "libzarn${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "${zarn_runtime_package}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# Only the half-float class needs the header of halves, which not every release packs.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS libhalf-dev)
if(BUILD_SHARED_LIBS)
    set(CPACK_COMPONENTS_ALL runtime development)
    set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "${PROJECT_DESCRIPTION}: the shared library")
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzarn-dev)
    set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "${PROJECT_DESCRIPTION}: headers")
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${zarn_runtime_package} (= ${PROJECT_VERSION})")
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_CONFLICTS libzarn-static-dev)
else()
    set(CPACK_COMPONENTS_ALL development)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzarn-static-dev)
    set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "${PROJECT_DESCRIPTION}: headers and the static library")
    # find_package(zarn) asks pkg-config for the libraries that a static zarn is linked with.
    set(zarn_static_depends "pkg-config, liblz4-dev, libagg-dev, libhwy-dev")
    if(ZARN_WITH_DEVIL)
        string(APPEND zarn_static_depends ", libdevil-dev")
    endif()
    if(ZARN_WITH_FREEIMAGE)
        string(APPEND zarn_static_depends ", libfreeimage-dev")
    endif()
    if(ZARN_WITH_CLIPBOARD)
        string(APPEND zarn_static_depends ", libxcb1-dev")
    endif()
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${zarn_static_depends}")
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_CONFLICTS libzarn-dev)
endif()

include(CPack)
