# The library's sources, one sorted list per folder.

set(ZARN_CORE_SOURCES
    core/devil.cpp
    core/error_stack.cpp
    core/freeimage.cpp
    core/image_guard.cpp
    core/image_guard_bmp.cpp
    core/image_guard_dds.cpp
    core/image_guard_exif.cpp
    core/image_guard_exr.cpp
    core/image_guard_gif.cpp
    core/image_guard_hdr.cpp
    core/image_guard_jpeg.cpp
    core/image_guard_kinds.cpp
    core/image_guard_png.cpp
    core/image_guard_pnm.cpp
    core/image_guard_psd.cpp
    core/image_guard_rare.cpp
    core/image_guard_rows.cpp
    core/image_guard_tga.cpp
    core/image_guard_tiff.cpp
    core/image_state.cpp
    core/lifecycle.cpp
    core/lz4_stream.cpp
    core/native_file.cpp
    core/points.cpp
    core/psd_alpha.cpp
    core/thread_pool.cpp
)

set(ZARN_PLATFORM_SOURCES
    core/platform/narrow_path.cpp
)
if(WIN32)
    list(APPEND ZARN_PLATFORM_SOURCES
        core/platform/files_windows.cpp
        core/platform/memory_windows.cpp
    )
else()
    list(APPEND ZARN_PLATFORM_SOURCES
        core/platform/files_posix.cpp
        core/platform/memory_posix.cpp
    )
endif()

set(ZARN_KERNEL_SOURCES
    kernels/alpha_expansion.cpp
    kernels/area_average.cpp
    kernels/blit.cpp
    kernels/box_blur.cpp
    kernels/bspline.cpp
    kernels/depth.cpp
    kernels/export_rows.cpp
    kernels/gaussian_blur.cpp
    kernels/import_rows.cpp
    kernels/move_pixels.cpp
    kernels/normalize.cpp
    kernels/rotate.cpp
    kernels/sharpen.cpp
    kernels/tone.cpp
    kernels/trim.cpp
    kernels/vector/area_average.cpp
    kernels/vector/box_blur.cpp
    kernels/vector/bspline.cpp
    kernels/vector/gaussian_blur.cpp
    kernels/vector/rotate.cpp
    kernels/vector/sharpen.cpp
)

set(ZARN_OPERATION_SOURCES
    operations/blit.cpp
    operations/blur.cpp
    operations/devil_load.cpp
    operations/devil_messages.cpp
    operations/filters.cpp
    operations/frame.cpp
    operations/geometry.cpp
    operations/image_load.cpp
    operations/image_save.cpp
    operations/lifecycle.cpp
    operations/native_rgba.cpp
    operations/tone.cpp
)

set(ZARN_RGBA_SOURCES
    rgba/colour.cpp
    rgba/image_8_16.cpp
    rgba/rgba_image.cpp
)

set(ZARN_SOURCES
    ${ZARN_CORE_SOURCES}
    ${ZARN_PLATFORM_SOURCES}
    ${ZARN_KERNEL_SOURCES}
    ${ZARN_OPERATION_SOURCES}
    ${ZARN_RGBA_SOURCES}
)
