#include "encoding/converter_launch.h"

#include "core/files.h"

namespace velvora::encoding {

void wavp3_Click(App& app) {
    platform::Process& process = app.sys.process;
    const std::string converter = joinPath(process.programFolder(), "mp3enc");
    if (!process.startProgram(converter, {}))
        app.sys.dialogs.msgBox("Can't start " + converter, platform::vbExclamation, "Velvora");
}

} // namespace velvora::encoding
