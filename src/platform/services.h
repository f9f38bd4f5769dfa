// The platform services the program runs on: Qt in production, scripted ones in tests.
#pragma once

#include "platform/clock.h"
#include "platform/dialogs.h"
#include "platform/printer.h"
#include "platform/process.h"

namespace platform {

struct Services {
    Dialogs& dialogs;
    Clock& clock;
    Process& process;
    Printers& printers;
};

} // namespace platform
