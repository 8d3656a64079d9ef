# Finds what the library needs. A static library's users need the same again: keep zarnConfig.cmake.in and the private
# lists of zarn.pc in installation.cmake in step.

find_package(Threads REQUIRED)

find_package(PkgConfig REQUIRED)
pkg_check_modules(ZARN_LZ4 REQUIRED IMPORTED_TARGET liblz4)
pkg_check_modules(ZARN_AGG REQUIRED IMPORTED_TARGET libagg)
find_package(hwy 1.0.3 CONFIG REQUIRED)

if(ZARN_WITH_DEVIL)
    find_package(DevIL REQUIRED)
endif()
if(ZARN_WITH_FREEIMAGE)
    find_package(FreeImage REQUIRED)
endif()
if(ZARN_WITH_CLIPBOARD AND NOT WIN32)
    pkg_check_modules(ZARN_XCB REQUIRED IMPORTED_TARGET xcb)
endif()

# A host needs it for the half-float headers only.
find_path(HALF_INCLUDE_DIR half.hpp PATH_SUFFIXES half REQUIRED)
mark_as_advanced(HALF_INCLUDE_DIR)

# scope: PUBLIC or PRIVATE
function(zarn_link_dependencies target scope)
    target_link_libraries(${target} ${scope} PkgConfig::ZARN_LZ4 PkgConfig::ZARN_AGG hwy::hwy Threads::Threads)
    if(ZARN_WITH_DEVIL)
        target_link_libraries(${target} ${scope} DevIL::ILU DevIL::IL) # ILU calls IL
        target_compile_definitions(${target} ${scope} ZARN_WITH_DEVIL=1)
    endif()
    if(ZARN_WITH_FREEIMAGE)
        target_link_libraries(${target} ${scope} FreeImage::FreeImage)
        target_compile_definitions(${target} ${scope} ZARN_WITH_FREEIMAGE=1)
    endif()
    if(WIN32)
        target_link_libraries(${target} ${scope} gdi32 user32) # the clipboard
    elseif(ZARN_WITH_CLIPBOARD)
        target_link_libraries(${target} ${scope} PkgConfig::ZARN_XCB)
        target_compile_definitions(${target} ${scope} ZARN_WITH_CLIPBOARD=1)
    endif()
    target_include_directories(${target} SYSTEM ${scope} "$<BUILD_INTERFACE:${HALF_INCLUDE_DIR}>")
endfunction()
