// The messages of an object: owned wide strings, oldest first.
#pragma once

#include <initializer_list>

#include <zarn/list.h>

namespace zarn {

using error_stack = zarn_list<wchar_t*>;

// Appends the parts as one message. A message that cannot be allocated is dropped without trace.
void push_error(error_stack& errors, std::initializer_list<const wchar_t*> parts) noexcept;

// Releases every message and the list.
void clear_errors(error_stack& errors) noexcept;

// Appends copies of another object's messages.
void append_errors(error_stack& errors, const error_stack& source) noexcept;

// Replaces the messages by copies of another object's.
void copy_errors(error_stack& errors, const error_stack& source) noexcept;

// Replaces the messages by another object's, which is left without any.
void take_errors(error_stack& errors, error_stack& source) noexcept;

} // namespace zarn
