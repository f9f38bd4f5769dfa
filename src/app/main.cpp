// Velvora: a karaoke player and multitrack recorder.
#include "core/startup.h"
#include "engine/api.h"
#include "explorer/explorer_window.h"
#include "platform/qt/qt_printer.h"
#include "platform/qt/qt_services.h"
#include "transport/song_argument.h"
#include "transport/transport.h"
#include "ui/main_window.h"

#include <QApplication>
#include <QDir>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName("Velvora");
    QApplication::setOrganizationName("Velvora");
    QApplication::setDesktopFileName(VELVORA_APP_ID);
    // A song to open, named before start-up moves into the program folder.
    const std::vector<std::string> song =
        velvora::transport::songArguments(argc, argv, QDir::currentPath().toStdString());

    platform::QtDialogs dialogs;
    platform::QtClock clock;
    platform::QtProcess process;
    platform::QtPrinters printers;
    platform::Services services{dialogs, clock, process, printers};

    velvora::ui::MainWindow window(services);
    dialogs.setParent(&window);
    printers.setParent(&window);
    velvora::App& app = window.app();
    if (!velvora::Form_Initialize(app)) return 1;
    velvora::Form_Load(app);
    if (process.ended()) return 1;
    // The kept queue's first entry shows in the main window from the start.
    window.explorer().ensureLoaded();
    window.show();
    // A take that a crash left in its journal is offered back before anything else.
    velvora::transport::recoverTake(app);
    velvora::transport::openSongArgument(app, song);
    const int status = QApplication::exec();
    // Whichever way the program ended, the devices are let go before the process goes.
    BASS_RecordFree();
    BASS_Free();
    return status;
}
