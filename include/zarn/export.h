// Visibility of the library's exported names, by platform and by static or shared build.
//
// A host defines nothing: the CMake target `zarn::zarn` and `zarn.pc` pass ZARN_STATIC where the library is static.
// ZARN_BUILDING is defined only while the library itself is compiled.
#pragma once

#if defined(ZARN_STATIC)
    #define ZARN_API
#elif defined(_WIN32)
    #if defined(ZARN_BUILDING)
        #define ZARN_API __declspec(dllexport)
    #else
        #define ZARN_API __declspec(dllimport)
    #endif
#else
    #define ZARN_API __attribute__((visibility("default")))
#endif
