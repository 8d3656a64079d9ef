# What every target of this project is compiled with.

function(zarn_target_settings target)
    target_compile_features(${target} PRIVATE cxx_std_17)
    set_target_properties(${target} PROPERTIES
        CXX_STANDARD_REQUIRED ON
        CXX_EXTENSIONS OFF
        EXPORT_COMPILE_COMMANDS ON)
    if(MSVC)
        target_compile_options(${target} PRIVATE /W4 /utf-8 /fp:precise)
        if(ZARN_WARNINGS_AS_ERRORS)
            target_compile_options(${target} PRIVATE /WX)
        endif()
    else()
        # A fused multiply-add rounds once where the arithmetic is defined to round twice: results would depend on the
        # instruction set.
        target_compile_options(${target} PRIVATE
            -ffp-contract=off -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion)
        if(ZARN_WARNINGS_AS_ERRORS)
            target_compile_options(${target} PRIVATE -Werror)
        endif()
    endif()
endfunction()
