// mp3enc: converts a WAV file chosen in a dialog to MP3. Started by the player's "Wav to Mp3" entry.
#include "mp3enc/converter_window.h"
#include "platform/qt/qt_services.h"

#include <QApplication>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName("Velvora");
    QApplication::setOrganizationName("Velvora");
    platform::QtDialogs dialogs;
    platform::QtProcess process;
    velvora::mp3enc::ConverterWindow window(dialogs, process.appName());
    dialogs.setParent(&window);
    window.show();
    return QApplication::exec();
}
