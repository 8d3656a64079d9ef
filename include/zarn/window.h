// The handle of a window of the host, as the clipboard operations take it.
#pragma once

#if defined(_WIN32)
/// What the Windows headers call HWND. They need not be included.
struct HWND__;
using zarn_window_handle = HWND__*;
#else
/// No window is needed here: pass null.
using zarn_window_handle = void*;
#endif
