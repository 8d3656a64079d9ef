// Handing pixels of a real blit to a host's callback.
#pragma once

#include "kernels/blit.h"

namespace zarn {

// What the caller of a callback knows beside the pixels; it must outlive the blit.
template <class Callback>
struct blend_caller {
    Callback callback;
    unsigned int destination_is_grayscale;
    unsigned int source_is_grayscale;
    void* user_data;

    // The callback runs on worker threads, where an exception would end the process.
    template <class Sample>
    custom_blend blend() {
        return {[](const custom_blend& blend, float alpha, const void*, const void* source, void* result) {
                    const auto& caller = *static_cast<const blend_caller*>(blend.user_data);
                    try {
                        caller.callback(static_cast<Sample>(alpha), static_cast<Sample*>(result),
                                        static_cast<const Sample*>(source), caller.destination_is_grayscale,
                                        caller.source_is_grayscale, caller.user_data);
                    } catch (...) {}
                },
                reinterpret_cast<void (*)()>(callback), this};
    }
};

} // namespace zarn
