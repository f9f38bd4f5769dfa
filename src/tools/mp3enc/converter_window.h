// The converter's one window: a button to choose a WAV file, a progress bar and a cancel button.
// The conversion runs on the window's thread; the progress handler lets the window's events run
// between blocks, so the bar moves and Cancel is heard.
#pragma once

#include "platform/dialogs.h"

#include <QWidget>

#include <string>

class QLabel;
class QProgressBar;
class QPushButton;

namespace velvora::mp3enc {

class ConverterWindow final : public QWidget {
  public:
    ConverterWindow(platform::Dialogs& dialogs, std::string appName, QWidget* parent = nullptr);

    // Asks for a WAV file and the MP3 name, then converts, showing progress; reports a failure in
    // a message box.
    void chooseAndConvert();

    QPushButton* chooseButton = nullptr;
    QPushButton* cancelButton = nullptr;
    QProgressBar* progress = nullptr;
    QLabel* status = nullptr;

  private:
    platform::Dialogs& dialogs_;
    std::string appName_;
    bool cancel_ = false;
};

} // namespace velvora::mp3enc
