#include "core/error_stack.h"

#include <cstdint>
#include <cwchar>
#include <utility>

#include "core/owned_array.h"

namespace zarn {

void push_error(error_stack& errors, std::initializer_list<const wchar_t*> parts) noexcept {
    std::uint64_t length = 0;
    for (const wchar_t* part : parts) length += std::wcslen(part);
    owned_array<wchar_t> message = allocate_array<wchar_t>(length + 1);
    if (!message) return;
    wchar_t* end = message.get();
    for (const wchar_t* part : parts) {
        const std::size_t characters = std::wcslen(part);
        std::wmemcpy(end, part, characters);
        end += characters;
    }
    *end = L'\0';
    const unsigned int before = errors.count;
    errors.push_back(message.get());
    if (errors.count > before) static_cast<void>(message.release());
}

void clear_errors(error_stack& errors) noexcept {
    for (unsigned int i = 0; i < errors.count; ++i) delete[] errors[i];
    errors.clear();
}

void append_errors(error_stack& errors, const error_stack& source) noexcept {
    for (unsigned int i = 0; i < source.count; ++i) push_error(errors, {source[i]});
}

void copy_errors(error_stack& errors, const error_stack& source) noexcept {
    clear_errors(errors);
    append_errors(errors, source);
}

void take_errors(error_stack& errors, error_stack& source) noexcept {
    clear_errors(errors);
    std::swap(errors.data, source.data);
    std::swap(errors.size, source.size);
    std::swap(errors.count, source.count);
}

} // namespace zarn
