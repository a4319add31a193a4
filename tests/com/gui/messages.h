// Waiting in a thread that has windows.
#pragma once

#include "server/com.h"

namespace client {

inline void handle_messages()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

/// Handles messages, or has `handle` do so, until it is as wanted; false when it is not within a minute.
template <class Wanted, class Handle = void (*)()>
[[nodiscard]] bool await_by_messages(Wanted wanted, Handle handle = &handle_messages)
{
    const ULONGLONG end = GetTickCount64() + 60'000;
    while (!wanted()) {
        if (GetTickCount64() > end) {
            return false;
        }
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
        handle();
    }
    return true;
}

}  // namespace client
