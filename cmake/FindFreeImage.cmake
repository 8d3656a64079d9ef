# Finds FreeImage and defines the imported target FreeImage::FreeImage.
# Sets FreeImage_FOUND and FreeImage_VERSION; FREEIMAGE_INCLUDE_DIR and FREEIMAGE_LIBRARY may be given.

find_path(FREEIMAGE_INCLUDE_DIR FreeImage.h)
find_library(FREEIMAGE_LIBRARY NAMES freeimage FreeImage)
mark_as_advanced(FREEIMAGE_INCLUDE_DIR FREEIMAGE_LIBRARY)

if(FREEIMAGE_INCLUDE_DIR AND EXISTS "${FREEIMAGE_INCLUDE_DIR}/FreeImage.h")
    file(STRINGS "${FREEIMAGE_INCLUDE_DIR}/FreeImage.h" FreeImage_version_lines
        REGEX "^#define[ \t]+FREEIMAGE_(MAJOR|MINOR|RELEASE)")
    set(FreeImage_version_parts "")
    foreach(FreeImage_part MAJOR_VERSION MINOR_VERSION RELEASE_SERIAL)
        if(FreeImage_version_lines MATCHES "FREEIMAGE_${FreeImage_part}[ \t]+([0-9]+)")
            list(APPEND FreeImage_version_parts "${CMAKE_MATCH_1}")
        endif()
    endforeach()
    list(JOIN FreeImage_version_parts "." FreeImage_VERSION)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(FreeImage
    REQUIRED_VARS FREEIMAGE_LIBRARY FREEIMAGE_INCLUDE_DIR
    VERSION_VAR FreeImage_VERSION)

if(FreeImage_FOUND AND NOT TARGET FreeImage::FreeImage)
    add_library(FreeImage::FreeImage UNKNOWN IMPORTED)
    set_target_properties(FreeImage::FreeImage PROPERTIES
        IMPORTED_LOCATION "${FREEIMAGE_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${FREEIMAGE_INCLUDE_DIR}")
endif()
