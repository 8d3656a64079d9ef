// What every image object holds. Not for hosts: reached only through the image classes.
#pragma once

#include <zarn/list.h>

class zarn_thread_pool;

namespace zarn {

struct image_names;

struct image_state {
    void* pixels = nullptr;    // packed records in memory order, released with delete[]; null when nothing is held
    unsigned int origin = 0;   // row order code
    unsigned int width = 0;    // pixels per row
    unsigned int height = 0;   // rows
    unsigned int capacity = 0; // pixels that the array holds, where it was made longer than width x height; else 0
    const image_names* names;  // how the class and its records are called in messages
    bool borrowed = false;     // the pixels are the caller's: used, never released
    zarn_thread_pool* workers = nullptr; // owned; null when it could not be allocated
    zarn_list<wchar_t*> errors;          // owned strings, oldest first

    explicit image_state(const image_names& class_names)
        : names(&class_names) {}
};

} // namespace zarn
