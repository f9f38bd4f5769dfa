// The song explorer: a window of its own beside the main one, which the Playlist button shows
// and hides. It lists the songs of the folders the user adds (scanned in the background),
// searches them as the user types, and keeps the singers' queue whose first entry the main
// window shows in LblPrenota. "Play next" opens the first entry as the song in hand
// (transport::OpenQueued), so every rule of opening holds.
//
// Everything here runs on the UI thread; the scan's worker reaches it only through the
// scanner's queued signals. The library and the queue are kept in the program's folder
// (library_store.h) and written after each change; nothing is written anywhere else.
#pragma once

#include "core/app.h"
#include "explorer/library_model.h"
#include "explorer/library_scanner.h"
#include "explorer/library_store.h"

#include <QWidget>

#include <memory>
#include <string>
#include <vector>

class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QTableView;

namespace velvora::explorer {

class ExplorerWindow final : public QWidget {
  public:
    explicit ExplorerWindow(App& app, QWidget* parent = nullptr);
    ~ExplorerWindow() override;

    // The hooks of the Playlist button. The first show reads the kept library and queue and
    // looks at every folder again, so that songs gone since are marked missing.
    void showExplorer();
    void hideExplorer();

    // Reads the kept library and queue once; later calls do nothing.
    void ensureLoaded();
    void addFolder(const std::string& folder);
    void removeFolder(const std::string& folder);
    void rescan();
    // Stops a running scan; its results so far stay.
    void stopScan();
    // Waits for the running scan to end and takes in all it handed over (tests and shutdown).
    void waitForScan();

    // Appends the song at `path` with the singer's name in the singer box.
    void enqueue(const std::string& path);
    // The song of the table's current row (or its first) into the queue.
    void enqueueCurrent();
    void removeQueued(int row);
    // Opens the first queued song; it leaves the queue when the opening was not refused.
    void playNext();

    const std::vector<QueueEntry>& queue() const { return queue_; }
    const std::vector<std::string>& folders() const { return folders_; }
    const std::vector<std::string>& problems() const { return problems_; }
    LibraryModel& model() { return model_; }

    // The widgets, for tests.
    QLineEdit* searchBox() const { return search_; }
    QLineEdit* singerBox() const { return singer_; }
    QTableView* songTable() const { return table_; }
    QListWidget* queueList() const { return queueList_; }
    QProgressBar* progressBar() const { return progress_; }
    QLabel* statusLabel() const { return status_; }

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    void build();
    void chooseFolder();
    void reportProblem(const std::string& text);
    void showQueue();
    // Takes the queue's order back from the list after the user dragged an entry.
    void takeQueueOrder();
    void queueChanged();
    void saveLibrary();
    void showStatus();

    App& app_;
    LibraryModel model_;
    LibraryScanner scanner_;
    std::unique_ptr<LibraryStore> store_;
    std::vector<std::string> folders_;
    std::vector<QueueEntry> queue_;
    std::vector<std::string> problems_;
    // What the load of the kept files found; a new scan keeps these and drops the last scan's.
    std::vector<std::string> loadProblems_;
    bool loaded_ = false;
    // A scan has started in this run: the first show looks at the folders once.
    bool scanned_ = false;
    int scanTotal_ = 0;

    QListWidget* folderList_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QLabel* status_ = nullptr;
    QLineEdit* search_ = nullptr;
    QTableView* table_ = nullptr;
    QLineEdit* singer_ = nullptr;
    QListWidget* queueList_ = nullptr;
    QPlainTextEdit* problemBox_ = nullptr;
};

// What LblPrenota shows of a queued song: "Next: <title>", with " (<singer>)" when one was given.
std::string prenotaText(const QueueEntry& entry);

} // namespace velvora::explorer
