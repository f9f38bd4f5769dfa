// The per-thread last error that BASS_ErrorGetCode reports.
#pragma once

namespace engine {

void setError(int code);
int lastError();

// Sets the error and returns the given failure value, so that operations can end with
// `return fail(BASS_ERROR_HANDLE);`.
template <class T = int>
T fail(int code, T value = T{}) {
    setError(code);
    return value;
}

// Marks success and passes the value through.
template <class T>
T ok(T value) {
    setError(0);
    return value;
}

} // namespace engine
