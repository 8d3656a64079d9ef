#include "operations/devil_messages.h"

#include "core/error_stack.h"
#include "core/image_names.h"

namespace zarn {

namespace {

struct call_text {
    const wchar_t* start;
    const wchar_t* after_class; // null where no class is named
    devil::error reported[4];
};

const call_text& text_of(devil_call call) noexcept {
    using devil::error;
    static constexpr call_text texts[] = {
        {L"Failed to load image using ilLoadImage(). ",
         nullptr,
         {error::illegal_operation, error::invalid_parameter, error::could_not_open_file, error::invalid_extension}},
        {L"Failed to convert ",
         L" using ilConvertImage(). ",
         {error::out_of_memory, error::illegal_operation, error::invalid_conversion}},
        {L"Failed to convert ",
         L" using ilTexImage(). ",
         {error::out_of_memory, error::illegal_operation, error::invalid_parameter}},
        {L"Failed to save image using ilSaveImage(). ",
         nullptr,
         {error::illegal_operation, error::invalid_parameter, error::could_not_open_file, error::invalid_extension}},
    };
    return texts[static_cast<unsigned>(call)];
}

const wchar_t* reason_of(devil::error error) noexcept {
    switch (error) {
    case devil::error::out_of_memory:
        return L"Out of memory.";
    case devil::error::illegal_operation:
        return L"Illegal operation.";
    case devil::error::invalid_parameter:
        return L"Invalid function parameter.";
    case devil::error::could_not_open_file:
        return L"File open failed.";
    case devil::error::invalid_extension:
        return L"Invalid file extension.";
    case devil::error::invalid_conversion:
        return L"Invalid conversion.";
    case devil::error::none:
    case devil::error::other:
        break;
    }
    return L"";
}

} // namespace

unsigned int fail_devil(image_state& image, devil_call call, const wchar_t* reason) noexcept {
    const call_text& text = text_of(call);
    if (text.after_class) {
        push_error(image.errors, {text.start, image.names->image_class, text.after_class, reason});
    } else {
        push_error(image.errors, {text.start, reason});
    }
    return 0;
}

unsigned int fail_devil(image_state& image, devil_call call, devil::error error) noexcept {
    if (error == devil::error::none) return 0;
    for (const devil::error reported : text_of(call).reported) {
        if (reported == error) return fail_devil(image, call, reason_of(error));
    }
    return 0;
}

} // namespace zarn
