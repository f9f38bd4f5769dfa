#include "tags/mp3_title_boxes.h"

#include "core/vb_text.h"
#include "widgets/main_controls.h"

#include <QString>

namespace velvora::tags {

Mp3Info ReadMp3Info(App& app, mMP3& module, const std::string& path) {
    module.info = Mp3Info{};
    auto& ui = app.ui;
    ui.Title->clear();
    ui.Artist->clear();
    ui.Yizear->clear();
    ui.GENERE->clear();
    // The copyright field of the last MIDI song goes into Artist and comes back as the box holds it.
    std::string& copyright = app.s.scan.fixCopyright;
    ui.Artist->setText(QString::fromStdString(vb::decodeText(copyright)));
    copyright = ui.Artist->text().toStdString();

    module.ReadEndTags(path);

    ui.Artist->setText(QString::fromStdString(vb::Trim(module.info.Artist)));
    ui.Title->setText(QString::fromStdString(vb::Trim(module.info.Title)));
    return module.info;
}

} // namespace velvora::tags
