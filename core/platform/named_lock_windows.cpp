#include "core/platform/named_lock.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace zarn {

namespace {

constexpr const wchar_t* names[] = {L"zarn_image_real_32::load_file", L"zarn_image_real_32::save_file",
                                    L"zarn_image_real_16::load_file", L"zarn_image_real_16::save_file"};

} // namespace

// The handle is never closed: the name lives as long as the process.
named_lock::named_lock(named_lock_id id) noexcept
    : ___handle(CreateMutexW(nullptr, TRUE, names[static_cast<unsigned>(id)])) {
    if (___handle && GetLastError() == ERROR_ALREADY_EXISTS) {
        // An abandoned lock is held by whoever waited for it.
        DWORD waited = WaitForSingleObject(___handle, INFINITE);
        while (waited != WAIT_OBJECT_0 && waited != WAIT_ABANDONED && waited != WAIT_FAILED) {
            waited = WaitForSingleObject(___handle, INFINITE);
        }
    }
}

named_lock::~named_lock() {
    if (___handle) ReleaseMutex(___handle);
}

} // namespace zarn
