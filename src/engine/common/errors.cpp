#include "common/errors.h"

namespace engine {

namespace {
thread_local int tlsError = 0;
}

void setError(int code) {
    tlsError = code;
}
int lastError() {
    return tlsError;
}

} // namespace engine
