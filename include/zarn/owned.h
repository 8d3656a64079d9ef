// zarn_owned<Image>: the usual C++ lifetime for an image.
#pragma once

#include <utility>

/// Holds an image (or a bezier path, or any object with `free`) and calls `free` on it when it goes. Image destructors
/// keep pixels and messages alive by design; this holder is for hosts that want both released with the object.
///
///     zarn_owned<zarn_image_8> picture;
///     picture->load_file(L"wood.png");
///
/// Moves as its object does (a path by a copy); does not copy.
template <class Image>
class zarn_owned {
public:
    zarn_owned() = default;
    ~zarn_owned() { ___object.free(); }
    zarn_owned(const zarn_owned&) = delete;
    zarn_owned& operator=(const zarn_owned&) = delete;
    zarn_owned(zarn_owned&& other) noexcept
        : ___object(std::move(other.___object)) {}
    zarn_owned& operator=(zarn_owned&& other) noexcept {
        ___object = std::move(other.___object);
        return *this;
    }

    Image* operator->() { return &___object; }
    const Image* operator->() const { return &___object; }
    Image& operator*() { return ___object; }
    const Image& operator*() const { return ___object; }

private:
    Image ___object;
};
