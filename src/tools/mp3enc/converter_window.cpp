#include "mp3enc/converter_window.h"

#include "encoding/wav_to_mp3.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace velvora::mp3enc {

namespace {

constexpr const char* kCaption = "Wav to Mp3";
constexpr int kBarSteps = 1000;

QString baseName(const std::string& path) {
    return QFileInfo(QString::fromStdString(path)).fileName();
}

} // namespace

ConverterWindow::ConverterWindow(platform::Dialogs& dialogs, std::string appName, QWidget* parent)
    : QWidget(parent), dialogs_(dialogs), appName_(std::move(appName)) {
    setWindowTitle(kCaption);
    chooseButton = new QPushButton("Choose WAV...", this);
    cancelButton = new QPushButton("Cancel", this);
    cancelButton->setEnabled(false);
    progress = new QProgressBar(this);
    progress->setRange(0, kBarSteps);
    progress->setValue(0);
    status = new QLabel("Choose a stereo 16-bit WAV file to convert to MP3 (256 kbit/s).", this);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(chooseButton);
    buttons->addStretch();
    buttons->addWidget(cancelButton);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(status);
    layout->addWidget(progress);
    layout->addLayout(buttons);
    resize(460, 130);
    connect(chooseButton, &QPushButton::clicked, this, [this] { chooseAndConvert(); });
    connect(cancelButton, &QPushButton::clicked, this, [this] { cancel_ = true; });
}

void ConverterWindow::chooseAndConvert() {
    platform::FileDialogRequest open;
    open.title = "Choose a WAV file";
    open.filter = "Wave files (*.wav)|*.wav|All files|*.*";
    open.flags = platform::ofnFileMustExist | platform::ofnHideReadOnly;
    const std::optional<std::string> wav = dialogs_.openFile(open);
    if (!wav) return;
    platform::FileDialogRequest save;
    save.title = "Save the MP3 as";
    save.filter = "MP3 files (*.mp3)|*.mp3";
    save.defaultExt = "mp3";
    save.fileName = encoding::mp3NameFor(*wav);
    save.flags = platform::ofnOverwritePrompt | platform::ofnHideReadOnly;
    const std::optional<std::string> mp3 = dialogs_.saveFile(save);
    if (!mp3) return;

    cancel_ = false;
    chooseButton->setEnabled(false);
    cancelButton->setEnabled(true);
    progress->setValue(0);
    status->setText("Converting " + baseName(*wav) + "...");
    const encoding::ConvertOutcome outcome = encoding::convertWavToMp3(
        *wav, *mp3, appName_, [this](std::int64_t done, std::int64_t total, bool& cancel) {
            progress->setValue(total > 0 ? static_cast<int>(done * kBarSteps / total) : kBarSteps);
            QCoreApplication::processEvents();
            cancel = cancel_;
        });
    chooseButton->setEnabled(true);
    cancelButton->setEnabled(false);
    switch (outcome.status) {
    case encoding::ConvertOutcome::Done:
        status->setText("Done: " + baseName(*mp3));
        break;
    case encoding::ConvertOutcome::Cancelled:
        progress->setValue(0);
        status->setText("Cancelled.");
        break;
    case encoding::ConvertOutcome::Failed:
        progress->setValue(0);
        status->setText("Not converted: " + baseName(*wav));
        dialogs_.msgBox(outcome.description, platform::vbCritical, kCaption);
        break;
    }
}

} // namespace velvora::mp3enc
