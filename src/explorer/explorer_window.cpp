#include "explorer/explorer_window.h"

#include "core/controls.h"
#include "transport/playlist.h"
#include "transport/song_open.h"
#include "widgets/main_controls.h"

#include <QAbstractItemView>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QFile>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>
#include <filesystem>

namespace velvora::explorer {

namespace {

QString q(const std::string& s) {
    return QString::fromStdString(s);
}
// A path as the file system has it, shown whatever its encoding.
QString pathText(const std::string& path) {
    return QString::fromStdString(readablePath(path));
}

constexpr int kPathRole = Qt::UserRole;
constexpr int kTitleRole = Qt::UserRole + 1;
constexpr int kSingerRole = Qt::UserRole + 2;

} // namespace

std::string prenotaText(const QueueEntry& entry) {
    std::string text = "Next: " + entry.title;
    if (!entry.singer.empty()) text += " (" + entry.singer + ")";
    return text;
}

ExplorerWindow::ExplorerWindow(App& app, QWidget* parent) : QWidget(parent, Qt::Window), app_(app) {
    setWindowTitle("Velvora - Playlist");
    build();
    connect(&scanner_, &LibraryScanner::songsRead, this,
            [this](const std::vector<SongRecord>& songs) { model_.merge(songs); });
    connect(&scanner_, &LibraryScanner::progress, this, [this](int done, int total) {
        scanTotal_ = total;
        progress_->setMaximum(std::max(total, 1));
        progress_->setValue(done);
        showStatus();
    });
    connect(&scanner_, &LibraryScanner::problem, this,
            [this](const QString& text) { reportProblem(text.toStdString()); });
    connect(&scanner_, &LibraryScanner::finished, this, [this](int) {
        model_.sortByTitle();
        saveLibrary();
        showQueue();
        showStatus();
    });
    // The scan reads files through the engine: it ends before the program lets the engine go.
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this, [this] { stopScan(); });
}

ExplorerWindow::~ExplorerWindow() {
    scanner_.stop();
}

void ExplorerWindow::build() {
    auto* addButton = new QPushButton("Add folder...", this);
    auto* removeButton = new QPushButton("Remove folder", this);
    auto* rescanButton = new QPushButton("Scan again", this);
    folderList_ = new QListWidget(this);
    folderList_->setMaximumHeight(70);
    progress_ = new QProgressBar(this);
    progress_->setRange(0, 1);
    progress_->setValue(0);
    status_ = new QLabel(this);
    search_ = new QLineEdit(this);
    search_->setPlaceholderText("Search title, artist or file name");
    search_->setClearButtonEnabled(true);

    table_ = new QTableView(this);
    table_->setModel(&model_);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::SingleSelection);
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table_->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    table_->verticalHeader()->hide();
    table_->horizontalHeader()->setSectionResizeMode(LibraryModel::Title, QHeaderView::Stretch);
    table_->horizontalHeader()->setSectionResizeMode(LibraryModel::Artist, QHeaderView::Stretch);
    table_->setColumnWidth(LibraryModel::Kind, 50);
    table_->setColumnWidth(LibraryModel::Length, 55);
    table_->installEventFilter(this);

    singer_ = new QLineEdit(this);
    singer_->setPlaceholderText("Singer (optional)");
    auto* queueButton = new QPushButton("Add to queue", this);
    auto* playNextButton = new QPushButton("Play next", this);
    playNextButton->setShortcut(QKeySequence("Ctrl+N"));
    playNextButton->setToolTip("Open the first song of the queue (Ctrl+N)");
    auto* dropButton = new QPushButton("Remove", this);
    queueList_ = new QListWidget(this);
    queueList_->setDragDropMode(QAbstractItemView::InternalMove);
    queueList_->setDefaultDropAction(Qt::MoveAction);
    queueList_->installEventFilter(this);
    problemBox_ = new QPlainTextEdit(this);
    problemBox_->setReadOnly(true);
    problemBox_->setMaximumHeight(60);
    problemBox_->hide();

    auto* folderButtons = new QHBoxLayout;
    folderButtons->addWidget(addButton);
    folderButtons->addWidget(removeButton);
    folderButtons->addWidget(rescanButton);
    folderButtons->addStretch();
    auto* queueRow = new QHBoxLayout;
    queueRow->addWidget(singer_, 1);
    queueRow->addWidget(queueButton);
    auto* queueButtons = new QHBoxLayout;
    queueButtons->addWidget(playNextButton);
    queueButtons->addWidget(dropButton);
    queueButtons->addStretch();

    auto* left = new QWidget(this);
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    leftLayout->addLayout(folderButtons);
    leftLayout->addWidget(folderList_);
    leftLayout->addWidget(progress_);
    leftLayout->addWidget(status_);
    leftLayout->addWidget(problemBox_);
    leftLayout->addWidget(search_);
    leftLayout->addWidget(table_, 1);
    auto* right = new QWidget(this);
    auto* rightLayout = new QVBoxLayout(right);
    rightLayout->setContentsMargins(0, 0, 0, 0);
    rightLayout->addWidget(new QLabel("Queue", this));
    rightLayout->addLayout(queueRow);
    rightLayout->addWidget(queueList_, 1);
    rightLayout->addLayout(queueButtons);
    auto* split = new QSplitter(this);
    split->addWidget(left);
    split->addWidget(right);
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 2);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(split);
    resize(760, 520);

    connect(addButton, &QPushButton::clicked, this, [this] { chooseFolder(); });
    connect(removeButton, &QPushButton::clicked, this, [this] {
        if (QListWidgetItem* item = folderList_->currentItem())
            removeFolder(item->data(kPathRole).toByteArray().toStdString());
    });
    connect(rescanButton, &QPushButton::clicked, this, [this] { rescan(); });
    connect(search_, &QLineEdit::textChanged, this, [this](const QString& text) {
        model_.setQuery(text.toStdString());
        showStatus();
    });
    connect(search_, &QLineEdit::returnPressed, this, [this] { enqueueCurrent(); });
    connect(table_, &QTableView::doubleClicked, this, [this](const QModelIndex& index) {
        if (const SongRecord* s = model_.songAt(index.row())) enqueue(s->path);
    });
    connect(queueButton, &QPushButton::clicked, this, [this] { enqueueCurrent(); });
    connect(playNextButton, &QPushButton::clicked, this, [this] { playNext(); });
    connect(dropButton, &QPushButton::clicked, this, [this] { removeQueued(queueList_->currentRow()); });
    connect(queueList_->model(), &QAbstractItemModel::rowsMoved, this, [this] { takeQueueOrder(); });
}

void ExplorerWindow::showExplorer() {
    ensureLoaded();
    show();
    raise();
    if (!scanned_ && !folders_.empty()) rescan();
}

void ExplorerWindow::hideExplorer() {
    hide();
}

void ExplorerWindow::closeEvent(QCloseEvent* event) {
    // Closing the window is the Playlist button pressed while it is open.
    if (app_.s.explorerOpen)
        transport::CmdEx_Click(app_);
    else
        hide();
    event->accept();
}

void ExplorerWindow::ensureLoaded() {
    if (loaded_) return;
    loaded_ = true;
    store_ = std::make_unique<LibraryStore>(app_.appFolder);
    Library library;
    const LoadReport report = store_->load(library, queue_);
    for (const std::string& p : report.problems) reportProblem(p);
    loadProblems_ = report.problems;
    folders_ = library.folders;
    folderList_->clear();
    for (const std::string& f : folders_) {
        auto* item = new QListWidgetItem(pathText(f), folderList_);
        item->setData(kPathRole, QByteArray::fromStdString(f));
    }
    model_.setSongs(std::move(library.songs));
    showQueue();
    showStatus();
}

void ExplorerWindow::chooseFolder() {
    platform::FileDialogRequest request;
    request.title = "Add a song folder";
    request.initialFolder = folders_.empty() ? std::string() : folders_.back();
    const std::optional<std::string> folder = app_.sys.dialogs.chooseFolder(request);
    if (folder) addFolder(*folder);
}

void ExplorerWindow::addFolder(const std::string& folder) {
    ensureLoaded();
    std::string f = folder;
    while (f.size() > 1 && f.back() == '/') f.pop_back();
    if (f.empty() || std::find(folders_.begin(), folders_.end(), f) != folders_.end()) return;
    folders_.push_back(f);
    auto* item = new QListWidgetItem(pathText(f), folderList_);
    item->setData(kPathRole, QByteArray::fromStdString(f));
    saveLibrary();
    rescan();
}

void ExplorerWindow::removeFolder(const std::string& folder) {
    const auto at = std::find(folders_.begin(), folders_.end(), folder);
    if (at == folders_.end()) return;
    stopScan();
    folders_.erase(at);
    for (int i = folderList_->count() - 1; i >= 0; --i)
        if (folderList_->item(i)->data(kPathRole).toByteArray().toStdString() == folder)
            delete folderList_->takeItem(i);
    model_.removeFolder(folder);
    saveLibrary();
    if (!folders_.empty()) rescan();
    showStatus();
}

void ExplorerWindow::rescan() {
    ensureLoaded();
    std::vector<std::string> known;
    known.reserve(model_.songs().size());
    for (const SongRecord& s : model_.songs()) known.push_back(s.path);
    scanned_ = true;
    problems_.clear();
    problemBox_->clear();
    problemBox_->hide();
    for (const std::string& p : loadProblems_) reportProblem(p);
    scanner_.start(folders_, std::move(known));
    showStatus();
}

void ExplorerWindow::stopScan() {
    scanner_.stop();
    showStatus();
}

void ExplorerWindow::waitForScan() {
    scanner_.wait();
    QCoreApplication::sendPostedEvents(&scanner_);
}

void ExplorerWindow::reportProblem(const std::string& text) {
    problems_.push_back(text);
    problemBox_->appendPlainText(pathText(text));
    problemBox_->show();
}

void ExplorerWindow::showStatus() {
    QString text;
    if (scanner_.running())
        text = QString("Reading %1 of %2 songs...").arg(progress_->value()).arg(scanTotal_);
    else
        text = QString("%1 songs").arg(model_.songs().size());
    if (!model_.query().empty()) text += QString(", %1 found").arg(model_.rowCount());
    const auto missing = std::count_if(model_.songs().begin(), model_.songs().end(),
                                       [](const SongRecord& s) { return s.missing; });
    if (missing) text += QString(", %1 missing").arg(missing);
    if (!problems_.empty()) text += QString(", %1 could not be read").arg(problems_.size());
    status_->setText(text);
}

void ExplorerWindow::enqueue(const std::string& path) {
    const SongRecord* song = model_.find(path);
    QueueEntry entry{path, song ? song->title : displayName(path), singer_->text().trimmed().toStdString()};
    queue_.push_back(std::move(entry));
    queueChanged();
}

void ExplorerWindow::enqueueCurrent() {
    int row = table_->currentIndex().isValid() ? table_->currentIndex().row() : 0;
    if (const SongRecord* s = model_.songAt(row)) enqueue(s->path);
}

void ExplorerWindow::removeQueued(int row) {
    if (row < 0 || row >= static_cast<int>(queue_.size())) return;
    queue_.erase(queue_.begin() + row);
    queueChanged();
}

void ExplorerWindow::playNext() {
    if (queue_.empty()) return;
    const QueueEntry next = queue_.front();
    std::error_code ec;
    if (!std::filesystem::exists(next.path, ec)) {
        reportProblem(next.path + ": missing; it stays in the queue");
        showQueue();
        return;
    }
    if (!transport::OpenQueued(app_, next.path)) return;
    queue_.erase(queue_.begin());
    queueChanged();
}

void ExplorerWindow::takeQueueOrder() {
    std::vector<QueueEntry> order;
    for (int i = 0; i < queueList_->count(); ++i) {
        const QListWidgetItem* item = queueList_->item(i);
        order.push_back({item->data(kPathRole).toByteArray().toStdString(),
                         item->data(kTitleRole).toString().toStdString(),
                         item->data(kSingerRole).toString().toStdString()});
    }
    queue_ = std::move(order);
    queueChanged();
}

void ExplorerWindow::queueChanged() {
    showQueue();
    if (store_) {
        const std::string error = store_->saveQueue(queue_);
        if (!error.empty()) reportProblem("The queue could not be kept: " + error);
    }
}

void ExplorerWindow::showQueue() {
    queueList_->clear();
    for (const QueueEntry& e : queue_) {
        const SongRecord* song = model_.find(e.path);
        std::error_code ec;
        const bool missing = song ? song->missing : !std::filesystem::exists(e.path, ec);
        QString text = q(e.title);
        if (!e.singer.empty()) text += " - " + q(e.singer);
        if (missing) text += " (missing)";
        auto* item = new QListWidgetItem(text, queueList_);
        item->setData(kPathRole, QByteArray::fromStdString(e.path));
        item->setData(kTitleRole, q(e.title));
        item->setData(kSingerRole, q(e.singer));
        item->setToolTip(pathText(e.path));
        if (missing) item->setForeground(Qt::gray);
    }
    setCaption(app_.ui.LblPrenota, queue_.empty() ? std::string() : prenotaText(queue_.front()));
}

void ExplorerWindow::saveLibrary() {
    if (!store_) return;
    const std::string error = store_->saveLibrary(Library{folders_, model_.songs()});
    if (!error.empty()) reportProblem("The library could not be kept: " + error);
}

bool ExplorerWindow::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (watched == table_ && (key == Qt::Key_Return || key == Qt::Key_Enter)) {
            enqueueCurrent();
            return true;
        }
        if (watched == queueList_ && key == Qt::Key_Delete) {
            removeQueued(queueList_->currentRow());
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace velvora::explorer
